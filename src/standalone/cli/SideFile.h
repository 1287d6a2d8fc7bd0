#pragma once

#include <functional>
#include <string>

namespace ombrel::cli {

// Lets someone else write a file, who may fail half-way: `write` gets a path beside the file's own, which
// takes its place only when that went well. Throws Error, with the file as it was, when `write` returns
// false.
void writeThroughSideFile(const std::string& path, const std::function<bool(const std::string& side)>& write);

} // namespace ombrel::cli
