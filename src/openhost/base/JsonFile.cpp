#include "base/JsonFile.h"

#include "base/AtomicFile.h"

#include <QJsonDocument>

namespace ombrel {

void writeJsonFile(const std::string& path, const QJsonObject& json) {
    const QByteArray text = QJsonDocument(json).toJson();
    replaceFile(path, {text.data(), static_cast<std::size_t>(text.size())});
}

} // namespace ombrel
