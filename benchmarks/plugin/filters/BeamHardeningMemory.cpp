// The memory that the beam-hardening filter uses with 20 masks of 4096 x 4096 pixels, loaded from a store and
// after a frame.
#include "filters/BHFilter.h"
#include "host/Host.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int maskCount = 20;
constexpr zt::u32 side = 4096;
constexpr double mebibyte = 1024 * 1024;

// A store that generates its masks on request, so that it needs no memory itself.
class MadeUpStore final : public zt::ISettings {
public:
    void load() override {}
    void save() override {}
    void setString(const char*, const char*, const char*) override {}
    void setInt(const char*, const char*, int) override {}
    void setDouble(const char*, const char*, double) override {}
    void setBool(const char*, const char*, bool) override {}
    void setBlob(const char*, const char*, const void*, zt::u64) override {}
    void getString(const char*, const char*, const char* defaultValue, zt::IString* out) override {
        out->set(defaultValue);
    }
    int getInt(const char*, const char* key, int defaultValue) override {
        const std::string name = key;
        return name == "MaskCount"                   ? maskCount
               : name == "Size"                      ? static_cast<int>(side * side)
               : name == "Width" || name == "Height" ? static_cast<int>(side)
                                                     : defaultValue;
    }
    double getDouble(const char* group, const char* key, double defaultValue) override {
        return std::strcmp(key, "Thickness") == 0 ? indexOf(group) : defaultValue;
    }
    bool getBool(const char*, const char*, bool defaultValue) override { return defaultValue; }
    void getBlob(const char* group, const char*, void* buffer, zt::u64* byteSize) override {
        auto* const values = static_cast<double*>(buffer);
        for (zt::u64 i = 0; i < *byteSize / sizeof(double); ++i)
            values[i] = (maskCount - indexOf(group)) * 1000.0 + static_cast<double>(i % 100);
    }
    void getFilePath(zt::IString* out) const override { out->set(""); }
    void destroy() override {}

private:
    static int indexOf(const char* group) { return std::stoi(group + std::strlen("Mask")); }
};

// "VmRSS" now or "VmHWM" at most, in MiB.
double memory(const char* what) {
    std::FILE* const status = std::fopen("/proc/self/status", "r");
    char line[256];
    double kibibytes = 0;
    while (std::fgets(line, sizeof line, status))
        if (std::strncmp(line, what, std::strlen(what)) == 0)
            kibibytes = std::strtod(line + std::strlen(what) + 1, nullptr);
    std::fclose(status);
    return kibibytes / 1024;
}

} // namespace

int main() {
    ombrel::Host host([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    auto* const filter = new PluginOmbrel::BHFilter(&host, &host.addDevice(1, side, side));
    const ombrel::FramePtr frame = ombrel::Frame::create(side, side, zt::DT_DOUBLE);
    for (double& pixel : frame->pixels<double>())
        pixel = 5500;
    const double before = memory("VmRSS");

    MadeUpStore store;
    filter->loadFromSettings(&store);
    const double loaded = memory("VmRSS") - before;
    filter->filterReplace(frame.get());
    const double filtered = memory("VmRSS") - before;
    const double most = memory("VmHWM") - before;

    const double frameSize = side * side * sizeof(double) / mebibyte;
    const double bar = (maskCount + 1) * frameSize + maskCount * side * sizeof(double) / mebibyte;
    std::printf("20 masks of 4096 x 4096: %.0f MiB; bar, with one frame more: %.0f MiB\n",
                maskCount * frameSize, bar);
    std::printf("loaded %.0f MiB, after a frame %.0f MiB, most %.0f MiB; pixel 0: %g\n", loaded, filtered,
                most, frame->pixels<double>()[0]);
    filter->destroy();
    return most <= bar ? 0 : 1;
}
