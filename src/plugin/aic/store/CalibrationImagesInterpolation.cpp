#include "store/CalibrationImages.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
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
    for (std::size_t i = 0; i < c.size(); ++i)
        c[i] = (b[i] - a[i]) * factor + a[i];
    return result;
}

} // namespace

// The images on both sides of a grid point, and the cost of interpolating between them.
struct c_CalibrationImages::AxisBase {
    static constexpr float unreachable = std::numeric_limits<float>::max();

    void note(bool nextFound, bool previousFound) {
        found = nextFound && previousFound;
        cost =
            found ? std::fabs(parameter(*next, axis)) + std::fabs(parameter(*previous, axis)) : unreachable;
    }

    ParamType axis;
    Position next{};
    Position previous{};
    bool found = false;
    float cost = unreachable;
};

// The nearest images of the grid points, for a pass that visits all of them in list order. A walk from each
// point would take quadratic time on a grid with many holes: instead, each axis stores the previous and the
// next image for all points that are a whole number of steps apart.
class c_CalibrationImages::NearestImages {
public:
    static AxisBases onAllAxes() { return {{{ParamV}, {ParamT}, {ParamE}}}; }

    NearestImages(c_CalibrationImages& grid, bool interpolatedToo)
        : store(grid), includeInterpolated(interpolatedToo) {
        for (std::size_t i = 0; i < axes.size(); ++i) {
            int step = 0;
            store.GetImageStep(bases[i].axis, &step);
            axes[i].step = std::min<std::ptrdiff_t>(std::max(step, 1), count());
            axes[i].previous.assign(static_cast<std::size_t>(axes[i].step), nowhere);
            axes[i].next.assign(static_cast<std::size_t>(axes[i].step), nowhere);
        }
    }

    const AxisBases& around(Position point) {
        const std::ptrdiff_t place = point - store.Images.begin();
        for (std::size_t i = 0; i < axes.size(); ++i) {
            AxisBase& base = bases[i];
            const bool next = store.isOnLine(point, nextOn(axes[i], place), base.axis, base.next);
            base.note(next, store.isOnLine(point, axes[i].previous[axes[i].offset(place)], base.axis,
                                           base.previous));
        }
        return bases;
    }

    // An image interpolated at this point is used for all later points.
    void leave(Position point) {
        if (store.isBase(*point, includeInterpolated)) {
            const std::ptrdiff_t place = point - store.Images.begin();
            for (Axis& axis : axes)
                axis.previous[axis.offset(place)] = place;
        }
    }

private:
    static constexpr std::ptrdiff_t nowhere = -1;

    // Indexed by the offset within a step.
    struct Axis {
        std::size_t offset(std::ptrdiff_t place) const { return static_cast<std::size_t>(place % step); }

        std::ptrdiff_t step = 1;
        std::vector<std::ptrdiff_t> previous;
        std::vector<std::ptrdiff_t> next;
    };

    std::ptrdiff_t count() const { return static_cast<std::ptrdiff_t>(store.Images.size()); }

    std::ptrdiff_t nextOn(Axis& axis, std::ptrdiff_t place) const {
        std::ptrdiff_t& next = axis.next[axis.offset(place)];
        if (next <= place) {
            next = place + axis.step;
            while (next < count() &&
                   !store.isBase(store.Images[static_cast<std::size_t>(next)], includeInterpolated))
                next += axis.step;
        }
        return next;
    }

    c_CalibrationImages& store;
    const bool includeInterpolated;
    std::array<Axis, 3> axes;
    AxisBases bases = onAllAxes();
};

int c_CalibrationImages::findBases(Position point, bool includeInterpolated, AxisBases& bases) {
    for (AxisBase& base : bases) {
        ResultType next = ResultError;
        ResultType previous = ResultError;
        if (GetNextImage(point, base.next, base.axis, &next, includeInterpolated) != 0 ||
            GetPreviousImage(point, base.previous, base.axis, &previous, includeInterpolated) != 0)
            return fail("c_CalibrationImages::GetBaseImage problem searching previous/next imagaes");
        base.note(next == ResultOk, previous == ResultOk);
    }
    return 0;
}
// With equal costs the earlier axis wins. If costs are NaN, no axis is chosen.
std::optional<c_CalibrationImages::ParamType> c_CalibrationImages::chooseAxis(const AxisBases& bases) {
    const auto& [v, t, e] = bases;
    const AxisBase* const cheapest = t.cost >= v.cost && e.cost >= v.cost   ? &v
                                     : v.cost >= t.cost && e.cost >= t.cost ? &t
                                     : v.cost >= e.cost && t.cost >= e.cost ? &e
                                                                            : nullptr;
    if (cheapest == nullptr)
        return std::nullopt;
    const auto isUnreachable = [](const AxisBase& base) { return base.cost == AxisBase::unreachable; };
    // If the other costs are infinite, an axis without images can be the cheapest.
    return std::ranges::all_of(bases, isUnreachable) || !cheapest->found ? ParamNone : cheapest->axis;
}

int c_CalibrationImages::GetBaseImages(Position point, Position& next, Position& previous, ParamType* axis,
                                       bool includeInterpolated) {
    AxisBases bases = NearestImages::onAllAxes();
    if (const int status = findBases(point, includeInterpolated, bases); status != 0)
        return status;
    const std::optional<ParamType> chosen = chooseAxis(bases);
    *axis = chosen.value_or(*axis);
    if (chosen && *chosen != ParamNone) {
        next = bases[*chosen].next;
        previous = bases[*chosen].previous;
    }
    return 0;
}

int c_CalibrationImages::GetLinearInterpolatedImage1D(Position point, bool* done, bool includeInterpolated) {
    *done = false;
    AxisBases bases = NearestImages::onAllAxes();
    if (findBases(point, includeInterpolated, bases) != 0)
        return fail("c_CalibrationImages::GetLinearInterpolatedImage1D getting next/previous image failed");
    return interpolate(point, bases, done);
}

int c_CalibrationImages::interpolate(Position point, const AxisBases& bases, bool* done) {
    const ParamType axis = chooseAxis(bases).value_or(ParamNone);
    if (axis == ParamNone)
        return 0;
    if (CombineLinear1D(bases[axis].next, bases[axis].previous, point, axis) != 0) {
        return fail(
            "c_CalibrationImages::GetLinearInterpolatedImage1D error counting linear combination of images");
    }
    *done = true;
    return 0;
}

int c_CalibrationImages::CombineLinear1D(Position next, Position previous, Position point, ParamType axis) {
    int status = 0;
    if (axis != ParamV && axis != ParamT && axis != ParamE)
        status = fail("c_CalibrationImages::CombineLinear1D setting vector type step error");
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
    if (status != 0)
        writeLog("c_CalibrationImages::GenerateInterpolatedImages error runing interpolation");
    return status;
}

// Three passes: from images of the file only; then also from images interpolated so far; then the points that
// were not ready in the second pass.
int c_CalibrationImages::GenerateLinearInterpolatedImages1D() {
    for (const bool includeInterpolated : {false, true, true}) {
        NearestImages nearest(*this, includeInterpolated);
        for (Position point = Images.begin(); point != Images.end(); ++point) {
            Current = point;
            bool done = false;
            const int status = hasImage(*point) ? 0 : interpolate(point, nearest.around(point), &done);
            if (status != 0) {
                writeLog("c_CalibrationImages::GenerateLinearInterpolatedImages1D error runing "
                         "GetLinearInterpolatedImage1D");
                return status;
            }
            nearest.leave(point);
        }
    }
    return 0;
}
