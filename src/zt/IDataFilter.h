#pragma once

#include "zt/IDevMpx.h"
#include "zt/IMpxFrame.h"
#include "zt/IObject.h"
#include "zt/IParam.h"
#include "zt/ISettings.h"

namespace zt {

// A filter of frames, made for one device. Calls on one filter must not overlap; instances are independent.
class IDataFilter {
public:
    virtual int filterType() const = 0; // 1
    virtual void filterNameStr(IString* out) const = 0;
    virtual void filterDescriptionStr(IString* out) const = 0;
    virtual IDevMpx* device() const = 0;
    virtual bool isDataSupported(IData* data) const = 0;
    // A filter of the same class for the same host and device, as freshly made: no configuration is copied.
    // The caller ends it with destroy().
    virtual IDataFilter* createNewInstance() const = 0;
    // A corrected copy that the caller owns, or null on failure. The input stays as it was.
    virtual IData* filter(const IData* data) = 0;
    // Corrects in place; the frame becomes DT_DOUBLE. Some failures are logged only and return 0: a frame
    // that was refused was not converted.
    virtual int filterReplace(IData* data) = 0;
    // The filter's parameters, owned by it; may be null.
    virtual IParamMgr* parameters() const = 0;
    virtual bool hasConfigGUI() const = 0;
    virtual void showConfigGUI() = 0;
    virtual int saveToSettings(ISettings* settings) = 0;
    virtual int loadFromSettings(ISettings* settings) = 0;
    // A private interface of the filter, or null. It is an IObject, whose ID names the interface.
    virtual void* privateInterface() = 0;
    virtual void destroy() = 0;
    virtual ~IDataFilter() = default;
};

} // namespace zt
