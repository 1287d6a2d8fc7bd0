#pragma once

#include "FilterWindows.h"
#include "filters/FFFilter.h"
#include "fixtures/FilterTests.h"

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
