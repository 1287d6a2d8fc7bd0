#pragma once

#include "zt/IDataMgr.h"
#include "zt/IDev.h"
#include "zt/IFilterMgr.h"
#include "zt/IParamMgr.h"
#include "zt/IPtrList.h"
#include "zt/ISettings.h"

namespace zt {

// The host. It outlives every filter. None of the operations that return a pointer returns null.
class IZenteo {
public:
    // Writes a line to the host's log. `source` is the plug-in's name. The plug-in passes its finished text
    // as `format` and no arguments, so a host that formats it reads percent signs of the text again.
    virtual void log(const char* source, int flag, const char* format, ...) = 0;
    // Appends every known device. The host keeps owning them.
    virtual void devices(IPtrList<IDev*>* out) = 0;
    // A new empty manager that the caller owns.
    virtual IParamMgr* createParamMgr() = 0;
    // A store on `path`, which the caller owns. It is empty until it is loaded. The plug-in passes flag 1.
    virtual ISettings* createSettings(const char* path, int flag) = 0;
    virtual IDataMgr* dataMgr() = 0;
    virtual IFilterMgr* filterMgr() = 0;
};

} // namespace zt
