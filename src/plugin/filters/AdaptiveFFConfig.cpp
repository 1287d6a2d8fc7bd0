// The configuration of AdaptiveFF: its store, its parameters, and starting the engine with it.

#include "filters/AdaptiveFF.h"
#include "filters/AdaptiveFFSettings.h"
#include "support/Files.h"

#include <string>
#include <sys/stat.h>
#include <variant>

namespace PluginOmbrel {

namespace {

constexpr const char* group = "Settings";

using Cfg = c_AIC::AICCfg;

// A visitor for the fields, made of one lambda for each kind.
template <typename... Kinds>
struct ForEachKind : Kinds... {
    using Kinds::operator()...;
};
template <typename... Kinds>
ForEachKind(Kinds...) -> ForEachKind<Kinds...>;

void writeSetting(const AdaptiveFFSetting& setting, const Cfg& cfg, zt::ISettings& store) {
    const char* key = setting.key;
    std::visit(
        ForEachKind{
            [&](int Cfg::*field) { store.setInt(group, key, cfg.*field); },
            [&](bool Cfg::*field) { store.setBool(group, key, cfg.*field); },
            [&](std::string Cfg::*field) { store.setString(group, key, (cfg.*field).c_str()); },
            [&](RatioField ratio) { store.setDouble(group, key, cfg.*ratio.field); },
            [&](WholeField whole) { store.setInt(group, key, cutToInt(cfg.*whole.field)); },
            [&](KernelField kernel) { store.setString(group, key, kernelText(cfg.*kernel.field).c_str()); },
        },
        setting.field);
}

// If the kernel in the store has no numbers, the default kernel is used.
std::vector<float> readKernel(zt::ISettings& store, const char* key, const std::vector<float>& present) {
    const std::vector<float> kernel = parseKernel(store.getString(group, key, kernelText(present).c_str()));
    return kernel.empty() ? Cfg().Kernel : kernel;
}

void readSetting(const AdaptiveFFSetting& setting, zt::ISettings& store, Cfg& cfg) {
    const char* key = setting.key;
    std::visit(
        ForEachKind{
            [&](int Cfg::*field) { cfg.*field = store.getInt(group, key, cfg.*field); },
            [&](bool Cfg::*field) { cfg.*field = store.getBool(group, key, cfg.*field); },
            [&](std::string Cfg::*field) { cfg.*field = store.getString(group, key, (cfg.*field).c_str()); },
            [&](RatioField ratio) {
                cfg.*ratio.field = static_cast<float>(store.getDouble(group, key, cfg.*ratio.field));
            },
            [&](WholeField whole) {
                cfg.*whole.field = static_cast<float>(store.getInt(group, key, cutToInt(cfg.*whole.field)));
            },
            [&](KernelField kernel) { cfg.*kernel.field = readKernel(store, key, cfg.*kernel.field); },
        },
        setting.field);
}

// Unlike the store, a parameter without numbers in its kernel sets an empty kernel.
void readParameter(const AdaptiveFFSetting& setting, const zt::IParam& param, Cfg& cfg) {
    std::visit(ForEachKind{
                   [&](int Cfg::*field) { cfg.*field = param.getInt(); },
                   [&](bool Cfg::*field) { cfg.*field = param.getBool(); },
                   [&](std::string Cfg::*field) { cfg.*field = param.getString(); },
                   [&](RatioField ratio) { cfg.*ratio.field = static_cast<float>(param.getDouble()); },
                   [&](WholeField whole) { cfg.*whole.field = static_cast<float>(param.getInt()); },
                   [&](KernelField kernel) { cfg.*kernel.field = parseKernel(param.getString()); },
               },
               setting.field);
}

bool fileExists(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

} // namespace

int AdaptiveFF::saveToSettings(zt::ISettings* settings) {
    for (const AdaptiveFFSetting& setting : adaptiveFFSettings())
        writeSetting(setting, *config, *settings);
    return 0;
}

int AdaptiveFF::loadFromSettings(zt::ISettings* settings) {
    settingsFilePath = settings->getFilePath();
    const std::string dataFile = getFileNameWithoutExt(settingsFilePath.c_str()) + ".bin";
    if (!fileExists(dataFile))
        return logError(0, "Cannot open data file");

    config->DataFile = dataFile;
    for (const AdaptiveFFSetting& setting : adaptiveFFSettings())
        readSetting(setting, *settings, *config);

    // After the first load the settings count as loaded even if the engine did not start; a later load that
    // cannot start it does not change that.
    if (params->paramCount() == 0) {
        initParams();
        loaded = true;
    } else if (startEngine()) {
        loaded = true;
    }
    return 0;
}

void AdaptiveFF::initParams() {
    params->createString("Version", "Version", "1.5", nullptr, nullptr, zt::PARAM_CREATE_READ_ONLY);
    for (const AdaptiveFFSetting& setting : adaptiveFFSettings())
        createParameter(setting);
    startEngine();
}

void AdaptiveFF::createParameter(const AdaptiveFFSetting& setting) {
    const auto create = [&](auto make, auto value) {
        (params->*make)(setting.parameter, setting.description, value, &AdaptiveFF::parameterChanged, this,
                        zt::PARAM_CREATE_EDITABLE);
    };
    std::visit(
        ForEachKind{
            [&](int Cfg::*field) { create(&zt::IParamMgr::createInt, (*config).*field); },
            [&](bool Cfg::*field) { create(&zt::IParamMgr::createBool, (*config).*field); },
            [&](std::string Cfg::*field) {
                create(&zt::IParamMgr::createString, ((*config).*field).c_str());
            },
            [&](RatioField ratio) { create(&zt::IParamMgr::createDouble, double{(*config).*ratio.field}); },
            [&](WholeField whole) { create(&zt::IParamMgr::createInt, cutToInt((*config).*whole.field)); },
            [&](KernelField kernel) {
                create(&zt::IParamMgr::createString, kernelText((*config).*kernel.field).c_str());
            },
        },
        setting.field);
}

bool AdaptiveFF::startEngine() {
    if (engine->Init(*config, true) == 0)
        return true;
    return logError(false, "Cannot initialize adaptive FF filter");
}

int AdaptiveFF::parameterChanged(zt::IParam* param, bool flag, long userData) {
    if (flag)
        return 0;
    auto* self = reinterpret_cast<AdaptiveFF*>(userData);
    const std::string name = param->name();
    for (const AdaptiveFFSetting& setting : adaptiveFFSettings())
        if (name == setting.parameter)
            readParameter(setting, *param, *self->config);
    self->startEngine();
    return 0;
}

} // namespace PluginOmbrel
