#include "filters/AdaptiveFF.h"

#include "aic/SearchRecord.h"
#include "filters/AdaptiveFFSettings.h"
#include "filters/DeviceFilter.h"
#include "zt/Types.h"

#include <algorithm>
#include <span>
#include <utility>

namespace PluginOmbrel {

namespace {

constexpr const char* notAFrame = "Cannot filter data that is not of type IMpxFrame";
constexpr const char* notLoaded = "No adaptive correction loaded";
constexpr const char* notCorrected = "Cannot filter data - compensation error";

} // namespace

AdaptiveFF::AdaptiveFF(zt::IZenteo* zenteo, zt::IDevMpx* device)
    : DeviceFilter(zenteo, device, zenteo->createParamMgr(), 1), engine(std::make_unique<c_AIC>()),
      config(std::make_unique<c_AIC::AICCfg>()) {}

zt::IData* AdaptiveFF::filter(const zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError<zt::IData*>(nullptr, notAFrame);
    if (!loaded)
        return logError<zt::IData*>(nullptr, notLoaded);
    ClonedFrame copy = cloneFrame(*data);
    if (!correct(*copy)) {
        copy.reset();
        return logError<zt::IData*>(nullptr, notCorrected);
    }
    return copy.release();
}

int AdaptiveFF::filterReplace(zt::IData* data) {
    if (data->type() != zt::IData::TYPE_FRAME)
        return logError<int>(zt::ERR_NONE, notAFrame);
    if (!loaded)
        return logError<int>(zt::ERR_NONE, notLoaded);
    if (!correct(static_cast<zt::IMpxFrame&>(*data)))
        return logError<int>(zt::ERR_CANNOT_CORRECT, notCorrected);
    return zt::ERR_NONE;
}

bool AdaptiveFF::correct(zt::IMpxFrame& frame) {
    frame.convertToType(zt::DT_DOUBLE);
    const std::span pixels(frame.doubleData(0.0), frame.size());
    AICImage image;
    setAicImageData(pixels.data(), frame.width(), frame.height(), &image);

    ImageContainer result;
    float quality = 0;
    if (engine->CompensateImage(std::move(image), &result, &quality, "", true) != 0)
        return false;
    // If no candidate won the search, the image has no pixels.
    const std::span<const float> corrected = std::as_const(result.Image).pixels();
    if (corrected.empty())
        log(engine->whyWithoutWinner());
    if (corrected.empty() || corrected.size() < pixels.size())
        return false;
    std::copy_n(corrected.begin(), pixels.size(), pixels.begin());
    return true;
}

std::size_t AdaptiveFF::candidateCount() const {
    const SearchRecord* const search = engine->lastSearch();
    return search != nullptr ? search->candidates.size() : 0;
}

IGridScores::Point AdaptiveFF::candidate(std::size_t index) const {
    const ImageContainer& point = *engine->lastSearch()->candidates.at(index).point;
    return {point.V, point.T, point.E};
}

std::size_t AdaptiveFF::best() const {
    const SearchRecord* const search = engine->lastSearch();
    return search != nullptr ? search->least().value_or(none) : none;
}

std::size_t AdaptiveFF::secondBest() const {
    const SearchRecord* const search = engine->lastSearch();
    const auto least = search != nullptr ? search->least() : std::nullopt;
    return least ? search->least(least).value_or(none) : none;
}

void AdaptiveFF::setAicImageData(const double* data, std::size_t cols, std::size_t rows, AICImage* image) {
    const std::span values(data, cols * rows);
    const auto narrowed = [](double pixel) { return static_cast<float>(pixel); };
    if (image->pixels().empty()) {
        image->resize(static_cast<int>(values.size()), 1);
        std::ranges::transform(values, image->pixels().begin(), narrowed);
    } else {
        for (const double pixel : values)
            image->push_back(narrowed(pixel));
    }
    image->reshape_r(static_cast<int>(rows));
}

} // namespace PluginOmbrel
