#pragma once

#include "FilterWindows.h"
#include "filters/BHFilter.h"
#include "fixtures/FilterTests.h"

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
