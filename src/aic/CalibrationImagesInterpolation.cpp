#include "aic/CalibrationImages.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace {

float parameter(const ImageContainer& point, c_CalibrationImages::ParamType axis) {
    switch (axis) {
    case c_CalibrationImages::ParamV:
        return point.V;
    case c_CalibrationImages::ParamT:
        return point.T;
    case c_CalibrationImages::ParamE:
        return point.E;
    default:
        return 0;
    }
}

// next + (previous - next) * factor, each step rounded to float.
AICImage combineLinear(const AICImage& next, const AICImage& previous, float factor) {
    AICImage result = AICImage::uninitialized(previous.cols(), previous.rows());
    const std::span<const float> a = next.pixels();
    const std::span<const float> b = previous.pixels();
    const std::span<float> c = result.pixels();
    for (std::size_t i = 0; i < c.size(); ++i) {
        c[i] = (b[i] - a[i]) * factor + a[i];
    }
    return result;
}

} // namespace

// The images on both sides of a grid point, and what it costs to interpolate between them.
struct c_CalibrationImages::AxisBase {
    static constexpr float unreachable = std::numeric_limits<float>::max();

    ParamType axis;
    Position next{};
    Position previous{};
    bool found = false;
    float cost = unreachable;
};

int c_CalibrationImages::findBase(Position point, bool includeInterpolated, AxisBase& base) {
    ResultType next = ResultError;
    ResultType previous = ResultError;
    if (GetNextImage(point, base.next, base.axis, &next, includeInterpolated) != 0 ||
        GetPreviousImage(point, base.previous, base.axis, &previous, includeInterpolated) != 0) {
        return fail("c_CalibrationImages::GetBaseImage problem searching previous/next imagaes");
    }
    base.found = next == ResultOk && previous == ResultOk;
    if (base.found) {
        base.cost =
            std::fabs(parameter(*base.next, base.axis)) + std::fabs(parameter(*base.previous, base.axis));
    }
    return 0;
}

int c_CalibrationImages::GetBaseImages(Position point, Position& next, Position& previous, ParamType* axis,
                                       bool includeInterpolated) {
    AxisBase v{ParamV};
    AxisBase t{ParamT};
    AxisBase e{ParamE};
    for (AxisBase* const base : {&v, &t, &e}) {
        if (const int status = findBase(point, includeInterpolated, *base); status != 0) {
            return status;
        }
    }
    const bool nowhere =
        v.cost == AxisBase::unreachable && t.cost == AxisBase::unreachable && e.cost == AxisBase::unreachable;
    // Of equal costs the earlier axis wins. Costs that are NaN leave no choice, and `axis` as it was.
    const AxisBase* const cheapest = t.cost >= v.cost && e.cost >= v.cost   ? &v
                                     : v.cost >= t.cost && e.cost >= t.cost ? &t
                                     : v.cost >= e.cost && t.cost >= e.cost ? &e
                                                                            : nullptr;
    if (cheapest == nullptr) {
        return 0;
    }
    // Beside infinite costs an axis without images can be the cheapest.
    if (nowhere || !cheapest->found) {
        *axis = ParamNone;
        return 0;
    }
    next = cheapest->next;
    previous = cheapest->previous;
    *axis = cheapest->axis;
    return 0;
}

int c_CalibrationImages::GetLinearInterpolatedImage1D(Position point, bool* done, bool includeInterpolated) {
    *done = false;
    Position next;
    Position previous;
    ParamType axis = ParamNone;
    if (GetBaseImages(point, next, previous, &axis, includeInterpolated) != 0) {
        return fail("c_CalibrationImages::GetLinearInterpolatedImage1D getting next/previous image failed");
    }
    if (axis == ParamNone) {
        return 0;
    }
    if (CombineLinear1D(next, previous, point, axis) != 0) {
        return fail(
            "c_CalibrationImages::GetLinearInterpolatedImage1D error counting linear combination of images");
    }
    *done = true;
    return 0;
}

int c_CalibrationImages::CombineLinear1D(Position next, Position previous, Position point, ParamType axis) {
    int status = 0;
    if (axis != ParamV && axis != ParamT && axis != ParamE) {
        status = fail("c_CalibrationImages::CombineLinear1D setting vector type step error");
    }
    const AICImage& a = next->Image;
    const AICImage& b = previous->Image;
    if (a.empty() || b.empty() || a.pixels().size() < b.pixels().size()) {
        writeLog("c_CalibrationImages::CombineLinear1D problem getting image size");
        return status;
    }
    const float pa = parameter(*next, axis);
    const float pb = parameter(*previous, axis);
    const float factor = (parameter(*point, axis) - pa) / (pb - pa);
    point->Image = combineLinear(a, b, factor);
    return status;
}

int c_CalibrationImages::GenerateInterpolatedImages() {
    int status = -1;
    switch (Interpolation) {
    case InterpolationNone:
        return 0;
    case InterpolationLinear1D:
        status = GenerateLinearInterpolatedImages1D();
        break;
    default:
        writeLog("c_CalibrationImages::GenerateInterpolatedImages interpolation mismatch");
    }
    if (status != 0) {
        writeLog("c_CalibrationImages::GenerateInterpolatedImages error runing interpolation");
    }
    return status;
}

// Three passes: from images of the file alone; then also from what was interpolated before; then what was not
// ready in the second.
int c_CalibrationImages::GenerateLinearInterpolatedImages1D() {
    for (const bool includeInterpolated : {false, true, true}) {
        for (Position point = Images.begin(); point != Images.end(); ++point) {
            Current = point;
            bool done = false;
            if (hasImage(*point)) {
                continue;
            }
            if (const int status = GetLinearInterpolatedImage1D(point, &done, includeInterpolated);
                status != 0) {
                writeLog("c_CalibrationImages::GenerateLinearInterpolatedImages1D error runing "
                         "GetLinearInterpolatedImage1D");
                return status;
            }
        }
    }
    return 0;
}
