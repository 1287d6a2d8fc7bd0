// A host for the plug-in: loads it, passes one frame through "Binning 2x2" and prints the frame before and
// after.
//     ombrel-host-example PATH/libombrel.so
#include "values.h"
#include "zt/String.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <vector>

namespace example {

// Every pixel works.
class PixelCfg final : public zt::IPixelCfg {
public:
    explicit PixelCfg(u64 pixels) : count(pixels) {}
    void maskData(zt::IByteBuff* out, int) override {
        out->resizeByte(count);
        std::fill_n(out->dataByte(), count, u8{1});
    }
    u64 pixelCount() const override { return count; }

private:
    u64 count;
};

// A detector that has measured nothing yet.
class Device final : public zt::IDevMpx {
public:
    int deviceType() const override { return 1; }
    int acqFrameCount() const override { return 0; }
    int acqFrameCountAll() const override { return 0; }
    zt::IMpxFrame* lastAcqFrame() override { return nullptr; }
    zt::IMpxFrame* acqFrame(u32) override { return nullptr; }
    zt::IPixelCfg* pixelCfg() override { return &pixels; }
    u32 width() const override { return 4; }
    u32 height() const override { return 4; }
    u32 pixelCount() const override { return width() * height(); }

private:
    PixelCfg pixels{16};
};

// It offers neither settings nor files of frames: binning asks for neither.
class Host final : public zt::IZenteo, public zt::IFilterMgr {
public:
    void log(const char* source, int, const char* text, ...) override {
        std::fprintf(stderr, "%s: %s\n", source, text); // finished text, never a format
    }
    void devices(zt::IPtrList<zt::IDev*>* out) override { out->add(&device); }
    zt::IParamMgr* createParamMgr() override { return new Params; }
    zt::ISettings* createSettings(const char*, int) override { return nullptr; }
    zt::IDataMgr* dataMgr() override { return nullptr; }
    zt::IFilterMgr* filterMgr() override { return this; }
    void addFilter(zt::IDev*, zt::IDataFilter* filter) override { filters.push_back(filter); }

    ~Host() {
        for (zt::IDataFilter* filter : filters)
            filter->destroy();
    }

    zt::IDataFilter* find(const std::string& wanted) const {
        for (zt::IDataFilter* filter : filters) {
            zt::String name;
            filter->filterNameStr(&name);
            if (wanted == name.get())
                return filter;
        }
        return nullptr;
    }

private:
    Device device; // outlives its filters
    std::vector<zt::IDataFilter*> filters;
};

void print(const char* title, zt::IMpxFrame& frame) {
    std::printf("%s\n", title);
    for (u32 y = 0; y < frame.height(); ++y) {
        for (u32 x = 0; x < frame.width(); ++x)
            std::printf(" %4.0f", frame.doubleData(0)[y * frame.width() + x]);
        std::printf("\n");
    }
}

int binOneFrame(zt::IZtPlugin& plugin) {
    Host host;
    plugin.initialize(&host);
    zt::IDataFilter* const binning = host.find("Binning 2x2");
    if (!binning) {
        std::fprintf(stderr, "the plug-in has no filter \"Binning 2x2\"\n");
        return 1;
    }
    Frame frame(4, 4);
    for (u64 i = 0; i < frame.size(); ++i)
        frame.doubleData(0)[i] = static_cast<double>(i);
    zt::IData* const binned = binning->filter(&frame);
    if (!binned)
        return 1; // the reason is in the log
    print("raw", frame);
    print("binned", static_cast<zt::IMpxFrame&>(*binned));
    binned->release();
    return 0;
}

} // namespace example

int main(int argc, char** argv) {
    void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* const entry = library ? dlsym(library, "ztGetPlugin") : nullptr;
    if (!entry) {
        std::fprintf(stderr, "usage: %s PATH/libombrel.so\n%s\n", argv[0], argc == 2 ? dlerror() : "");
        return 2;
    }
    return example::binOneFrame(*reinterpret_cast<zt::GetPluginFunction>(entry)());
}
