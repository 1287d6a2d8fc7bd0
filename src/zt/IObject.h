#pragma once

#include "zt/Types.h"

namespace zt {

// The identity by which another program recognises a private interface.
class IObject {
public:
    virtual u32 getObjectID() const = 0;
    virtual const char* getObjectName() const = 0;
};

} // namespace zt
