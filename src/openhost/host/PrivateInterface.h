#pragma once

#include "base/Error.h"
#include "zt/IDataFilter.h"
#include "zt/IObject.h"

namespace ombrel {

// By which the filters' own interfaces are known.
inline constexpr zt::u32 flatFieldObject = 1442418610;
inline constexpr zt::u32 beamHardeningObject = 1442418600;

// A filter's interface of its own, which must be the one of that identity. Throws Error when it is not: the
// plug-in is another one than this program knows.
template <typename Interface>
Interface& privateInterface(zt::IDataFilter& filter, zt::u32 objectId) {
    auto* object = static_cast<zt::IObject*>(filter.privateInterface());
    if (!object || object->getObjectID() != objectId)
        throw Error("the plug-in's filter is not of the kind that this command knows");
    return *static_cast<Interface*>(object);
}

} // namespace ombrel
