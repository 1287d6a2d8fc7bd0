#include "PlainGridWalk.h"

#include <cmath>
#include <limits>

namespace plain {

using Store = c_CalibrationImages;

float& Walk::parameter(int point, Store::ParamType axis) const {
    ImageContainer& entry = store.Images.at(static_cast<std::size_t>(point));
    return axis == Store::ParamV ? entry.V : axis == Store::ParamT ? entry.T : entry.E;
}

int Walk::neighbour(int start, Store::ParamType axis, int direction) const {
    const int step = axis == Store::ParamV ? store.StepV : axis == Store::ParamT ? store.StepT : store.StepE;
    const int count = static_cast<int>(store.Images.size());
    int counter = step;
    for (int candidate = start + direction; 0 <= candidate && candidate < count; candidate += direction) {
        if (counter >= 2) {
            --counter;
            continue;
        }
        counter = step;
        const ImageContainer& entry = store.Images.at(static_cast<std::size_t>(candidate));
        if (!store.hasImage(entry) || (!includeInterpolated && entry.Interpolated)) {
            continue;
        }
        const auto same = [&](Store::ParamType other) {
            return parameter(candidate, other) == parameter(start, other);
        };
        const bool sameLine = axis == Store::ParamV   ? true
                              : axis == Store::ParamT ? same(Store::ParamV)
                                                      : same(Store::ParamV) && same(Store::ParamT);
        return sameLine ? candidate : -1;
    }
    return -1;
}

void Walk::interpolate(int point) const {
    int next[3];
    int previous[3];
    float cost[3];
    for (const auto axis : {Store::ParamV, Store::ParamT, Store::ParamE}) {
        next[axis] = neighbour(point, axis, 1);
        previous[axis] = neighbour(point, axis, -1);
        cost[axis] = next[axis] < 0 || previous[axis] < 0 ? std::numeric_limits<float>::max()
                                                          : std::fabs(parameter(next[axis], axis)) +
                                                                std::fabs(parameter(previous[axis], axis));
    }
    Store::ParamType axis = Store::ParamNone;
    if (cost[1] >= cost[0] && cost[2] >= cost[0]) {
        axis = Store::ParamV;
    } else if (cost[0] >= cost[1] && cost[2] >= cost[1]) {
        axis = Store::ParamT;
    } else if (cost[0] >= cost[2] && cost[1] >= cost[2]) {
        axis = Store::ParamE;
    }
    if (axis == Store::ParamNone || next[axis] < 0 || previous[axis] < 0) {
        return;
    }
    const AICImage& a = store.Images.at(static_cast<std::size_t>(next[axis])).Image;
    const AICImage& b = store.Images.at(static_cast<std::size_t>(previous[axis])).Image;
    const float pa = parameter(next[axis], axis);
    AICImage c(b.cols(), b.rows());
    AICImage::sub(b, a, &c);
    c.mul((parameter(point, axis) - pa) / (parameter(previous[axis], axis) - pa));
    c.add(a);
    store.Images.at(static_cast<std::size_t>(point)).Image = c;
}

void interpolateGrid(Store& store) {
    for (const bool includeInterpolated : {false, true, true}) {
        for (int point = 0; point < static_cast<int>(store.Images.size()); ++point) {
            if (!store.hasImage(store.Images.at(static_cast<std::size_t>(point)))) {
                Walk{store, includeInterpolated}.interpolate(point);
            }
        }
    }
}

} // namespace plain
