#pragma once

#include "aic/AIC.h"
#include "filters/DeviceFilter.h"
#include "zt/IMpxFrame.h"
#include "zt/IPrivateFilters.h"

#include <cstddef>
#include <memory>
#include <string>

namespace PluginOmbrel {

struct AdaptiveFFSetting;

// Flat-fields a frame with the image of a calibration grid that makes it flattest (the engine c_AIC). The
// result has the precision of float.
//
// The calibration grid is in a file beside the settings store, with the same name and the suffix ".bin".
// Until a store with such a file was loaded, frames are refused and the filter has no parameters. Every
// change of a parameter restarts the engine, which reads the grid again.
class AdaptiveFF : public DeviceFilter, public IGridScores {
public:
    AdaptiveFF(zt::IZenteo* zenteo, zt::IDevMpx* device);
    ~AdaptiveFF() override { endParameters(); }

    void filterNameStr(zt::IString* out) const override { out->set("AdaptiveFF"); }
    void filterDescriptionStr(zt::IString* out) const override { out->set("Adaptive flat-field correction"); }
    zt::IDataFilter* createNewInstance() const override { return new AdaptiveFF(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    bool hasConfigGUI() const override { return false; }
    void showConfigGUI() override {}
    int saveToSettings(zt::ISettings* settings) override;
    int loadFromSettings(zt::ISettings* settings) override;
    void* privateInterface() override { return nullptr; }

    virtual zt::u32 getObjectID() const { return 0; }
    virtual const char* getObjectName() const { return "AdaptiveFFInterface"; }

    std::size_t candidateCount() const override;
    Point candidate(std::size_t index) const override;
    std::size_t best() const override;
    std::size_t secondBest() const override;
    float score(std::size_t index) override { return engine->scoreOf(index); }

    // Appends the values, each narrowed to float, and reshapes the image, with its previous pixels, to that
    // many rows.
    void setAicImageData(const double* data, std::size_t cols, std::size_t rows, AICImage* image);

private:
    static int parameterChanged(zt::IParam* param, bool flag, long userData);

    void initParams();
    void createParameter(const AdaptiveFFSetting& setting);
    bool startEngine();
    // Corrects the frame, which becomes DT_DOUBLE. Returns false, with the pixels unchanged, when the engine
    // fails.
    bool correct(zt::IMpxFrame& frame);

    std::unique_ptr<c_AIC> engine;
    std::unique_ptr<c_AIC::AICCfg> config;
    bool loaded = false;
};

} // namespace PluginOmbrel
