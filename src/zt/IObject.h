#pragma once

#include "zt/Types.h"

namespace zt {

// The identity by which another program recognises a private interface.
class IObject {
public:
    virtual u32 getObjectID() const = 0;
    virtual const char* getObjectName() const = 0;
};

// A text that crosses the border: the callee fills it, the caller owns it.
class IString {
public:
    // Replaces the text by a copy of `value` up to its terminating zero.
    virtual void set(const char* value) = 0;
    // Never null; valid until the next set().
    virtual const char* get() const = 0;
};

} // namespace zt
