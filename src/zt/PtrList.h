#pragma once

#include "zt/IPtrList.h"

#include <vector>

namespace zt {

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
