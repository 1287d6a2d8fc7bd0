#pragma once

#include "zt/IObject.h"
#include "zt/IStrList.h"

#include <string>
#include <vector>

namespace zt {

// The owner of a text that an interface fills. Empty when new; null sets it empty.
class String : public IString {
public:
    void set(const char* value) override { text = value ? value : ""; }
    const char* get() const override { return text.c_str(); }

private:
    std::string text;
};

class StrList : public IStrList {
public:
    unsigned int size() const override { return static_cast<unsigned int>(items.size()); }
    const char* get(unsigned int index) const override { return items[index].c_str(); }
    void add(const char* value) override { items.emplace_back(value); }
    void insert(int index, const char* value) override { items.insert(items.begin() + index, value); }

    int erase(unsigned int index) override {
        if (index >= items.size())
            return -1;
        items.erase(items.begin() + index);
        return 0;
    }

    void clear() override { items.clear(); }

private:
    std::vector<std::string> items;
};

template <typename T>
class PtrList : public IPtrList<T> {
public:
    unsigned int size() const override { return static_cast<unsigned int>(items.size()); }
    T get(unsigned int index) const override { return items[index]; }
    void add(T value) override { items.push_back(value); }
    void insert(int index, T value) override { items.insert(items.begin() + index, value); }

    int erase(unsigned int index) override {
        if (index >= items.size())
            return -1;
        items.erase(items.begin() + index);
        return 0;
    }

    void clear() override { items.clear(); }

private:
    std::vector<T> items;
};

} // namespace zt
