#pragma once

#include "filters/BHFilter.h"
#include "filters/FFFilter.h"
#include "fixtures/FilterTests.h"

// What answers in place of the windows that filters open: these tests run without a window system.
namespace filterwindows {

// Gets the label and returns the index of the sub-frame, or -1.
inline std::function<int(const std::string& label)> subFrameAnswer = [](const std::string&) { return -1; };

} // namespace filterwindows

class BHFilterFixture : public FilterTests<4, 3> {
protected:
    using Filter = std::unique_ptr<PluginOmbrel::BHFilter, Destroy>;

    Filter newFilter() { return Filter(new PluginOmbrel::BHFilter(&host, &device)); }

    int addMask(const Values& pixels, double thickness, double time = 1) {
        return filter->addMaskFromFrame(frameOf(pixels).get(), thickness, time);
    }
    // Two masks at which a rate of e^-k is the thickness k.
    void addTwoMasks() {
        EXPECT_EQ(addMask(Values(12, std::exp(-1.0)), 1), 0);
        EXPECT_EQ(addMask(Values(12, std::exp(-2.0)), 2), 0);
    }

    // The bad pixels as the filter writes them, line by line.
    std::string badPixelText() {
        const std::string path = folder / "bad.txt";
        EXPECT_EQ(filter->saveBadPixelsToFile(path.c_str()), 0);
        return fileText(path);
    }

    Filter filter = newFilter();
};

class FFFilterFixture : public FilterTests<3, 2> {
protected:
    using Filter = std::unique_ptr<PluginOmbrel::FFFilter, Destroy>;

    Filter newFilter() { return Filter(new PluginOmbrel::FFFilter(&host, &device)); }

    // A filter that multiplies by these, and leaves bad pixels alone.
    Filter filterWith(const Values& coefficients) {
        const std::string path = writtenTable("coefficients.ffc", coefficients);
        Filter made = newFilter();
        EXPECT_EQ(made->loadCoefficientsFromFile(path.c_str(), false), 0);
        made->setInterpolateBadMaskedPixels(false);
        return made;
    }

    std::string writtenTable(const std::string& name, const Values& values) const {
        writeFileText(folder / name, std::string(reinterpret_cast<const char*>(values.data()),
                                                 values.size() * sizeof(double)));
        return folder / name;
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

    Filter filter = newFilter();
};
