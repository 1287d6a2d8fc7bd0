#pragma once

#include "zt/IString.h"

#include <string>

namespace zt {

// The owner of a text that an interface fills. Empty when new; null sets it empty.
class String : public IString {
public:
    void set(const char* value) override { text = value ? value : ""; }
    const char* get() const override { return text.c_str(); }

private:
    std::string text;
};

} // namespace zt
