#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// The fields of one line of comma-separated values, without the blanks around them. A field may stand in
// double quotes, which keeps its commas and blanks; two quotes in it stand for one. Nothing when a quote is
// not closed or text follows it.
std::optional<std::vector<std::string>> splitCsvLine(std::string_view line);

} // namespace ombrel
