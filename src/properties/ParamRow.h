#pragma once

#include <memory>

namespace zt {
class IParam;
} // namespace zt

class QProperty;

// Creates the row of a parameter in a QParamsBrowser, by the parameter's type and flags.

// Null for an unknown type.
std::unique_ptr<QProperty> makeParamRow(const zt::IParam& param);

// Copies from the row to the parameter, unless it is read-only.
void writeParam(const QProperty& row, zt::IParam& param);

// Copies from the parameter to the row. The row is unchanged when it already has the value or its kind does
// not match the parameter's type. Returns whether views must be notified.
bool refreshParamRow(QProperty& row, const zt::IParam& param);
