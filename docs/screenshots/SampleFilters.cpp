#include "SampleFilters.h"

#include "host/Session.h"
#include "zt/IPrivateFilters.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr zt::u32 side = 64;
constexpr zt::u32 flatFieldObject = 1442418610;
constexpr zt::u32 beamHardeningObject = 1442418600;

ombrel::FramePtr evenFrame(double value) {
    auto frame = ombrel::Frame::create(side, side, zt::DT_DOUBLE);
    std::ranges::fill(frame->pixels<double>(), value);
    return frame;
}

} // namespace

SampleFilters::SampleFilters()
    : host([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }),
      device(host.addDevice(1, side, side)), library(ombrel::PluginLibrary::find({})) {
    library.start(host);
}

void SampleFilters::fillFlatField(zt::IDataFilter& filter) {
    const char* const name = "<Multiple files>";
    host.frames().defineFrame(name, evenFrame(100));
    ombrel::filterInterface<IFFFilter>(filter, flatFieldObject).loadCoefficientsFromFile(name, false);
}

void SampleFilters::fillBeamHardening(zt::IDataFilter& filter) {
    auto& masks = ombrel::filterInterface<IBHFilter>(filter, beamHardeningObject);
    for (const double thickness : {0.5, 1.0, 2.0, 4.0, 0.0}) {
        host.frames().defineFrame("mask", evenFrame(1e4 * std::exp(-thickness)));
        masks.addMaskFromFile("mask", thickness, thickness == 0 ? 2.5 : 5);
    }
}
