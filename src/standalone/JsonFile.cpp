#include "standalone/JsonFile.h"

#include "standalone/AtomicFile.h"

#include <QJsonDocument>

#include <span>

namespace ombrel {

void writeJsonFile(const std::string& path, const QJsonObject& json) {
    const QByteArray text = QJsonDocument(json).toJson();
    AtomicFile file(path);
    file.write(std::as_bytes(std::span(text.data(), static_cast<std::size_t>(text.size()))));
    file.commit();
}

} // namespace ombrel
