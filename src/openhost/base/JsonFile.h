#pragma once

#include <QJsonObject>

#include <string>

namespace ombrel {

// Replaces the file by the object as indented text, in one step. Throws Error.
void writeJsonFile(const std::string& path, const QJsonObject& json);

} // namespace ombrel
