#pragma once

#include "host/DataMgr.h"
#include "host/Device.h"
#include "settings/Settings.h"
#include "zt/IZenteo.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// While it exists, collects the lines that are logged on this thread instead of passing them to the host's
// sink. The innermost capture collects.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The active capture of this thread, or null.
    static LogCapture* current();

    void add(std::string line) { collected.push_back(std::move(line)); }
    const std::vector<std::string>& lines() const { return collected; }

private:
    LogCapture* outer;
    std::vector<std::string> collected;
};

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

// Owns a filter.
using FilterPtr = std::unique_ptr<zt::IDataFilter, DestroyFilter>;

// The filters that plug-ins registered. It owns them, and destroys the last one first.
class FilterMgr final : public zt::IFilterMgr {
public:
    struct Registration {
        zt::IDev* device;
        FilterPtr filter;
    };

    FilterMgr() = default;
    ~FilterMgr();
    FilterMgr(const FilterMgr&) = delete;
    FilterMgr& operator=(const FilterMgr&) = delete;

    // In the order of registration.
    const std::vector<Registration>& registrations() const { return entries; }
    std::vector<zt::IDataFilter*> filtersOf(const zt::IDev& device) const;

    // A null filter is ignored.
    void addFilter(zt::IDev* dev, zt::IDataFilter* filter) override;

private:
    std::vector<Registration> entries;
};

// The host, as seen by plug-ins. It destroys the registered filters before the devices. Filters made by
// createNewInstance() must be destroyed before the host.
class Host final : public zt::IZenteo {
public:
    // Called with each line that is logged, from any thread.
    using LogSink = std::function<void(const std::string& line)>;

    explicit Host(LogSink logSink);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // The host owns the device. Plug-ins see the devices that exist when they are initialised.
    Device& addDevice(int type, zt::u32 width, zt::u32 height);

    DataMgr& frames() { return data; }
    FilterMgr& filters() { return registered; }

    // Passes the line to the active LogCapture of this thread, otherwise to the sink. The text is not
    // changed.
    void logLine(const std::string& line);
    // Like createSettings(), but returns the concrete type; errors go to the log.
    std::unique_ptr<Settings> openSettings(const std::string& path);

    // `format` is a finished text: it is not interpreted, including percent signs, and no argument is read.
    void log(const char* source, int flag, const char* format, ...) override;
    void devices(zt::IPtrList<zt::IDev*>* out) override;
    zt::IParamMgr* createParamMgr() override;
    zt::ISettings* createSettings(const char* path, int flag) override;
    zt::IDataMgr* dataMgr() override { return &data; }
    zt::IFilterMgr* filterMgr() override { return &registered; }

private:
    LogSink sink;
    std::vector<std::unique_ptr<Device>> ownDevices;
    DataMgr data;
    FilterMgr registered; // the last member: filters are destroyed first
};

} // namespace ombrel
