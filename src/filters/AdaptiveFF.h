#pragma once

#include "aic/AIC.h"
#include "host/IDataFilter.h"
#include "host/IDevMpx.h"
#include "host/IMpxFrame.h"
#include "host/IParamMgr.h"
#include "host/IZenteo.h"

#include <cstddef>
#include <memory>
#include <string>

namespace PluginOmbrel {

struct AdaptiveFFSetting;

// Flat-fields a frame by the image of a calibration grid that leaves it flattest (the engine c_AIC). The
// result has the precision of float.
//
// The calibration grid lies beside the settings store, under its name with the ending ".bin". Until a store
// with such a file was loaded frames are refused, and there are no parameters. Every change of a parameter
// starts the engine anew, and so reads the grid again.
class AdaptiveFF : public zt::IDataFilter {
public:
    AdaptiveFF(zt::IZenteo* zenteo, zt::IDevMpx* device);

    int filterType() const override { return 1; }
    void filterNameStr(zt::IString* out) const override { out->set("AdaptiveFF"); }
    void filterDescriptionStr(zt::IString* out) const override { out->set("Adaptive flat-field correction"); }
    zt::IDevMpx* device() const override { return dev; }
    bool isDataSupported(zt::IData* data) const override;
    zt::IDataFilter* createNewInstance() const override { return new AdaptiveFF(host, dev); }
    zt::IData* filter(const zt::IData* data) override;
    int filterReplace(zt::IData* data) override;
    zt::IParamMgr* parameters() const override { return params; }
    bool hasConfigGUI() const override { return false; }
    void showConfigGUI() override {}
    int saveToSettings(zt::ISettings* settings) override;
    int loadFromSettings(zt::ISettings* settings) override;
    void* privateInterface() override { return nullptr; }
    void destroy() override { delete this; }
    ~AdaptiveFF() override;

    virtual zt::u32 getObjectID() const { return 0; }
    virtual const char* getObjectName() const { return "AdaptiveFFInterface"; }

    // Appends the values, each narrowed to float, and shapes the image to so many rows.
    void setAicImageData(const double* data, std::size_t cols, std::size_t rows, AICImage* image);

private:
    static int parameterChanged(zt::IParam* param, bool flag, long userData);

    void initParams();
    void createParameter(const AdaptiveFFSetting& setting);
    bool startEngine();
    // Corrects the frame, which becomes DT_DOUBLE; false, with the pixels as they were, when the engine
    // fails.
    bool correct(zt::IMpxFrame& frame);
    template <typename T>
    T logError(T value, const char* format, ...) const;

    zt::IZenteo* host;
    zt::IDevMpx* dev;
    zt::IParamMgr* params = nullptr;
    std::string settingsPath;
    std::unique_ptr<c_AIC> engine;
    std::unique_ptr<c_AIC::AICCfg> config;
    bool loaded = false;
};

} // namespace PluginOmbrel
