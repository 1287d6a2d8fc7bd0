#pragma once

// The columns of a property tree.
namespace PropertyColumn {

enum Column : int { Name = 0, Value = 1, Description = 2 };

} // namespace PropertyColumn

// The role that gives the value as it is stored where the display role gives a text for it: the boolean
// itself of a QBoolProperty.
inline constexpr int StoredValueRole = -1;
