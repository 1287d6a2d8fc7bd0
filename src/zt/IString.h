#pragma once

namespace zt {

// A text that crosses the border: the callee fills it, the caller owns it.
class IString {
public:
    // Replaces the text by a copy of `value` up to its terminating zero.
    virtual void set(const char* value) = 0;
    // Never null; valid until the next set().
    virtual const char* get() const = 0;
};

} // namespace zt
