#pragma once

#include "filters/BHFilter.h"
#include "fixtures/FileText.h"
#include "fixtures/TemporaryFolder.h"
#include "standalone/Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FilterWindows.h"

using Values = std::vector<double>;

// A host with a device of 4 x 3 pixels and a fresh filter for it.
class BHFilterFixture : public testing::Test {
protected:
    struct Destroy {
        void operator()(zt::IDataFilter* made) const { made->destroy(); }
    };
    using Filter = std::unique_ptr<PluginOmbrel::BHFilter, Destroy>;

    static ombrel::FramePtr frameOf(const Values& pixels, zt::u32 width = 4) {
        return typedFrame<double>(zt::DT_DOUBLE, {pixels.begin(), pixels.end()}, width);
    }
    template <typename T>
    static ombrel::FramePtr typedFrame(zt::u8 type, const std::vector<T>& pixels, zt::u32 width = 4) {
        auto frame = ombrel::Frame::create(width, static_cast<zt::u32>(pixels.size()) / width, type);
        std::ranges::copy(pixels, frame->template pixels<T>().begin());
        return frame;
    }

    static Values pixelsOf(const ombrel::Frame& frame) {
        EXPECT_EQ(frame.frameDataType(), zt::DT_DOUBLE);
        const auto pixels = frame.pixels<double>();
        return {pixels.begin(), pixels.end()};
    }

    Filter newFilter() { return Filter(new PluginOmbrel::BHFilter(&host, &device)); }

    int addMask(const Values& pixels, double thickness, double time = 1) {
        return filter->addMaskFromFrame(frameOf(pixels).get(), thickness, time);
    }
    // Two masks at which a rate of e^-k is the thickness k.
    void addTwoMasks() {
        EXPECT_EQ(addMask(Values(12, std::exp(-1.0)), 1), 0);
        EXPECT_EQ(addMask(Values(12, std::exp(-2.0)), 2), 0);
    }

    // Empty when the filter refuses.
    static Values corrected(zt::IDataFilter& by, const ombrel::Frame& frame) {
        const ombrel::FramePtr result(static_cast<ombrel::Frame*>(by.filter(&frame)));
        return result ? pixelsOf(*result) : Values{};
    }

    // The bad pixels as the filter writes them, line by line.
    std::string badPixelText() {
        const std::string path = folder / "bad.txt";
        EXPECT_EQ(filter->saveBadPixelsToFile(path.c_str()), 0);
        return fileText(path);
    }

    std::vector<std::string> takeLog() { return std::exchange(log, {}); }

    TemporaryFolder folder;
    std::vector<std::string> log;
    ombrel::Host host{[this](const std::string& line) { log.push_back(line); }};
    ombrel::Device& device = host.addDevice(1, 4, 3);
    Filter filter = newFilter();
};
