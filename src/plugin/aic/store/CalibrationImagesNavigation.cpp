#include "store/CalibrationImages.h"

#include <algorithm>
#include <cstddef>

namespace {

// Along V a step never leaves the line; a NaN is not on any line.
bool onSameLine(const ImageContainer& a, const ImageContainer& b, c_CalibrationImages::ParamType axis) {
    const bool sameV = axis == c_CalibrationImages::ParamV || a.V == b.V;
    const bool sameT = axis != c_CalibrationImages::ParamE || a.T == b.T;
    return sameV && sameT;
}

} // namespace

int c_CalibrationImages::ResetToFirstImage() {
    Current = Images.begin();
    return 0;
}

int c_CalibrationImages::GetFirstImage(Position& found, ResultType* result) {
    Current = Images.begin();
    return GetCurrentImage(found, result);
}

int c_CalibrationImages::GetCurrentImage(Position& found, ResultType* result) {
    *result = ResultNotFound;
    if (Current != Images.end()) {
        found = Current;
        *result = ResultOk;
    }
    return 0;
}

int c_CalibrationImages::GetNextImage(Position& found, ResultType* result, bool includeEmpty) {
    *result = ResultNoNext;
    if (Current == Images.end())
        return 0;
    const auto next = std::find_if(Current + 1, Images.end(), [&](const ImageContainer& point) {
        return includeEmpty || hasImage(point);
    });
    if (next != Images.end()) {
        Current = next;
        found = next;
        *result = ResultOk;
    }
    return 0;
}

int c_CalibrationImages::GetImageStep(ParamType axis, int* step) const {
    *step = 1;
    switch (axis) {
    case ParamV:
        *step = StepV;
        return 0;
    case ParamT:
        *step = StepT;
        return 0;
    case ParamE:
        *step = StepE;
        return 0;
    default:
        return fail("c_CalibrationImages::getImageStep setting vector type step error");
    }
}

int c_CalibrationImages::GetNextImage(Position start, Position& found, ParamType axis, ResultType* result,
                                      bool includeInterpolated) {
    *result = ResultError;
    int step = 0;
    if (const int status = GetImageStep(axis, &step); status != 0) {
        writeLog("c_CalibrationImages::GetNextImage setting vector type step error");
        return status;
    }
    const bool ok = findOnLine(start, std::max(step, 1), axis, includeInterpolated, found);
    *result = ok ? ResultOk : ResultNoNext;
    return 0;
}

int c_CalibrationImages::GetPreviousImage(Position start, Position& found, ParamType axis, ResultType* result,
                                          bool includeInterpolated) {
    *result = ResultError;
    int step = 0;
    if (const int status = GetImageStep(axis, &step); status != 0) {
        writeLog("c_CalibrationImages::GetPreviousImage setting vector type step error");
        return status;
    }
    const bool ok = findOnLine(start, -std::max(step, 1), axis, includeInterpolated, found);
    *result = ok ? ResultOk : ResultNoPrevious;
    return 0;
}

bool c_CalibrationImages::isBase(const ImageContainer& point, bool includeInterpolated) const {
    return hasImage(point) && (includeInterpolated || !point.Interpolated);
}

bool c_CalibrationImages::findOnLine(Position start, std::ptrdiff_t stride, ParamType axis,
                                     bool includeInterpolated, Position& found) {
    const auto count = static_cast<std::ptrdiff_t>(Images.size());
    std::ptrdiff_t place = start - Images.begin() + stride;
    while (0 <= place && place < count &&
           !isBase(Images[static_cast<std::size_t>(place)], includeInterpolated))
        place += stride;
    return isOnLine(start, place, axis, found);
}

bool c_CalibrationImages::isOnLine(Position start, std::ptrdiff_t place, ParamType axis, Position& found) {
    const bool inside = 0 <= place && place < static_cast<std::ptrdiff_t>(Images.size());
    if (!inside || start == Images.end() ||
        !onSameLine(*start, Images[static_cast<std::size_t>(place)], axis))
        return false;
    found = Images.begin() + place;
    return true;
}
