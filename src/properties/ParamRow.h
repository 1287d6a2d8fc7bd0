#pragma once

#include <memory>

namespace zt {
class IParam;
} // namespace zt

class QProperty;

// The row of a parameter in a QParamsBrowser, by the parameter's type and flags.

// Null for a type that is unknown.
std::unique_ptr<QProperty> makeParamRow(const zt::IParam& param);

// From the row to the parameter, unless that is read-only.
void writeParam(const QProperty& row, zt::IParam& param);

// From the parameter to the row, which stays when it shows the value already or is of another kind than the
// parameter's type. True when views must be told.
bool refreshParamRow(QProperty& row, const zt::IParam& param);
