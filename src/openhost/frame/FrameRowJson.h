#pragma once

#include "frame/FrameRow.h"

#include <QJsonObject>

namespace ombrel {

// A row as JSON: hashes as hexadecimal digits, and no key for what there is not (a number that is none, the
// output of a failed frame, a grid point where no grid was searched).
QJsonObject toJson(const FrameRow& row);
FrameRow frameRowFromJson(const QJsonObject& json);

} // namespace ombrel
