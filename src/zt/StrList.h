#pragma once

#include "zt/IStrList.h"

#include <string>
#include <vector>

namespace zt {

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

} // namespace zt
