#include "Threshold.h"

#include "zt/DataBuff.h"
#include "zt/IMpxFrame.h"

namespace PluginOmbrel {

namespace {

constexpr const char* group = "Threshold";
constexpr const char* limitKey = "Limit";
constexpr const char* notAFrame = "Cannot filter data that is not of type IMpxFrame";

} // namespace

Threshold::Threshold(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : DeviceFilter(zenteo, device, zenteo->createParamMgr(), 0) {
    limitParam = params->createDouble("Limit", "Pixels below it become 0", limit, &Threshold::limitChanged,
                                      this, zt::PARAM_CREATE_EDITABLE);
}

int Threshold::limitChanged(zt::IParam* param, bool flag, long self) {
    if (!flag)
        reinterpret_cast<Threshold*>(self)->limit = param->getDouble();
    return 0;
}

void Threshold::apply(zt::IMpxFrame& frame) const {
    frame.convertToType(zt::DT_DOUBLE);
    double* const pixels = frame.doubleData(0.0);
    for (zt::u64 i = 0; i < frame.size(); ++i)
        if (pixels[i] < limit)
            pixels[i] = 0;
}

zt::IData* Threshold::filter(const zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError<zt::IData*>(nullptr, notAFrame);
    ClonedFrame copy = cloneFrame(*data);
    apply(*copy);
    return copy.release();
}

int Threshold::filterReplace(zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError(0, notAFrame);
    apply(static_cast<zt::IMpxFrame&>(*data));
    return 0;
}

int Threshold::saveToSettings(zt::ISettings* settings) {
    settings->setDouble(group, limitKey, limit);
    return 0;
}

int Threshold::loadFromSettings(zt::ISettings* settings) {
    limitParam->setDouble(settings->getDouble(group, limitKey, limit));
    return 0;
}

} // namespace PluginOmbrel
