#pragma once

#include "filters/FFFilter.h"
#include "fixtures/TemporaryFolder.h"
#include "standalone/Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FilterWindows.h"

using Values = std::vector<double>;

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

// A host with a device of 3 x 2 pixels and a fresh filter for it.
class FFFilterFixture : public testing::Test {
protected:
    using Filter = std::unique_ptr<PluginOmbrel::FFFilter, DestroyFilter>;

    template <typename T>
    static ombrel::FramePtr frameOf(zt::u8 type, const std::vector<T>& pixels, zt::u32 width = 3) {
        auto frame = ombrel::Frame::create(width, static_cast<zt::u32>(pixels.size()) / width, type);
        std::ranges::copy(pixels, frame->template pixels<T>().begin());
        return frame;
    }

    static ombrel::FramePtr frameOf(const Values& pixels, zt::u32 width = 3) {
        return frameOf(zt::DT_DOUBLE, pixels, width);
    }

    static Values pixelsOf(const ombrel::Frame& frame) {
        EXPECT_EQ(frame.frameDataType(), zt::DT_DOUBLE);
        const auto pixels = frame.pixels<double>();
        return {pixels.begin(), pixels.end()};
    }

    Filter newFilter() { return Filter(new PluginOmbrel::FFFilter(&host, &device)); }

    // A filter that multiplies by these, and leaves bad pixels alone.
    Filter filterWith(const Values& coefficients) {
        const std::string path = folder / "coefficients.ffc";
        EXPECT_EQ(writeTable(path, coefficients), 0);
        Filter made = newFilter();
        EXPECT_EQ(made->loadCoefficientsFromFile(path.c_str(), false), 0);
        made->setInterpolateBadMaskedPixels(false);
        return made;
    }

    static int writeTable(const std::string& path, const Values& values) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        const bool whole = std::fwrite(values.data(), sizeof(double), values.size(), file) == values.size();
        return std::fclose(file) == 0 && whole ? 0 : -1;
    }

    // Empty when the filter refuses.
    static Values corrected(zt::IDataFilter& filter, const ombrel::Frame& frame) {
        const ombrel::FramePtr result(static_cast<ombrel::Frame*>(filter.filter(&frame)));
        return result ? pixelsOf(*result) : Values{};
    }

    // What the filter multiplies the pixels of a frame of that many by.
    static Values coefficientsOf(PluginOmbrel::FFFilter& filter, std::size_t count = 6,
                                 bool ofColumns = false) {
        const bool interpolate = filter.interpolateBadAndMaskedPixels();
        const bool tdi = filter.isUsingTDI();
        filter.setInterpolateBadMaskedPixels(false);
        filter.useTDI(ofColumns);
        const Values coefficients =
            corrected(filter, *frameOf(Values(count, 1.0), static_cast<zt::u32>(count)));
        filter.setInterpolateBadMaskedPixels(interpolate);
        filter.useTDI(tdi);
        return coefficients;
    }

    std::vector<std::string> takeLog() { return std::exchange(log, {}); }

    TemporaryFolder folder;
    std::vector<std::string> log;
    ombrel::Host host{[this](const std::string& line) { log.push_back(line); }};
    ombrel::Device& device = host.addDevice(1, 3, 2);
    Filter filter = newFilter();
};
