#include "frame/ImageTags.h"

#include <QJsonArray>

#include <algorithm>

namespace ombrel {

namespace {

QJsonArray jsonOf(Ratio ratio) {
    return {static_cast<qint64>(ratio.numerator), static_cast<qint64>(ratio.denominator)};
}

Ratio ratioFrom(const QJsonValue& json) {
    return {static_cast<zt::u32>(json[0].toInteger()), static_cast<zt::u32>(json[1].toInteger())};
}

} // namespace

const std::string& ImageTags::text(ImageText kind, zt::u64 frame) const {
    static const std::string none;
    const auto& all = texts[static_cast<std::size_t>(kind)];
    return all.empty() ? none : all[std::min<zt::u64>(frame, all.size() - 1)];
}

QJsonObject ImageTags::toJson() const {
    QJsonObject json;
    if (resolution)
        json.insert("resolution", QJsonObject{{"x", jsonOf(resolution->x)},
                                              {"y", jsonOf(resolution->y)},
                                              {"unit", resolution->unit},
                                              {"width", static_cast<qint64>(resolution->width)},
                                              {"height", static_cast<qint64>(resolution->height)}});
    for (std::size_t kind = 0; kind < imageTexts; ++kind) {
        QJsonArray list;
        for (const std::string& text : texts[kind]) // bytes of any encoding
            list.append(QString::fromLatin1(QByteArray::fromStdString(text)));
        if (!list.isEmpty())
            json.insert(imageTextNames[kind], list);
    }
    return json;
}

ImageTags ImageTags::fromJson(const QJsonObject& json) {
    ImageTags tags;
    if (const QJsonValue resolution = json["resolution"]; resolution.isObject())
        tags.resolution = Resolution{ratioFrom(resolution["x"]), ratioFrom(resolution["y"]),
                                     static_cast<zt::u16>(resolution["unit"].toInteger()),
                                     static_cast<zt::u32>(resolution["width"].toInteger()),
                                     static_cast<zt::u32>(resolution["height"].toInteger())};
    for (std::size_t kind = 0; kind < imageTexts; ++kind)
        for (const QJsonValue& text : json[imageTextNames[kind]].toArray())
            tags.texts[kind].push_back(text.toString().toLatin1().toStdString());
    return tags;
}

} // namespace ombrel
