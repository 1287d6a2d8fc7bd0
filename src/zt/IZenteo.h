#pragma once

#include "zt/IDataFilter.h"
#include "zt/IDevMpx.h"
#include "zt/IMpxFrame.h"
#include "zt/IParam.h"
#include "zt/ISettings.h"
#include "zt/IStrList.h"
#include "zt/Types.h"

namespace zt {

// Makes frames and reads them from files. Every frame comes with one reference for the caller, or is null.
class IDataMgr {
public:
    virtual IMpxFrame* createFrame(u32 width, u32 height, u8 dataType) = 0;
    virtual IMpxFrame* loadFrame(const char* path, u32 frameIndex) = 0;
    virtual u32 frameCountInFile(const char* path) = 0;
    // False makes the caller read the file as an ASCII matrix.
    virtual bool isFrameFile(const char* path) = 0;
};

class IFilterMgr {
public:
    // Registers the filter for the device and takes ownership: the host ends it with destroy().
    virtual void addFilter(IDev* dev, IDataFilter* filter) = 0;
};

// The host. It outlives every filter. None of the operations that return a pointer returns null.
class IZenteo {
public:
    // Writes a line to the host's log. `source` is the plug-in's name. The plug-in passes its finished text
    // as `format` and no arguments, so a host that formats it reads percent signs of the text again.
    virtual void log(const char* source, int flag, const char* format, ...) = 0;
    // Appends every known device. The host keeps ownership.
    virtual void devices(IPtrList<IDev*>* out) = 0;
    // A new empty manager that the caller owns.
    virtual IParamMgr* createParamMgr() = 0;
    // A store on `path`, which the caller owns. It is empty until it is loaded. The plug-in passes flag 1.
    virtual ISettings* createSettings(const char* path, int flag) = 0;
    virtual IDataMgr* dataMgr() = 0;
    virtual IFilterMgr* filterMgr() = 0;
};

// What the exported entry of a plug-in returns. The object lives as long as the library is loaded.
class IZtPlugin {
public:
    // Registers a set of filters for every pixel detector that the host knows now. Returns 0.
    virtual int initialize(IZenteo* host) = 0;
    virtual void onStart() = 0;
    virtual void onClose() = 0;
    virtual const char* name() const = 0;
    virtual const char* description() const = 0;
    virtual void* privateInterface() = 0;
    virtual ~IZtPlugin() = default;
};

// The type of the exported entry "ztGetPlugin".
using GetPluginFunction = IZtPlugin* (*)();

} // namespace zt
