#include "standalone/XmlFeed.h"

#include <QByteArray>

#include <algorithm>
#include <span>

namespace ombrel {

bool XmlFeed::feed() {
    const std::string_view text = unread();
    if (text.empty())
        return false;
    const std::size_t close = text.find('>');
    const std::size_t count = close == std::string_view::npos ? text.size() : close + 1;
    reader.addData(QByteArray(text.data(), static_cast<qsizetype>(count)));
    beforeLast = count > 1 ? text[count - 2] : last;
    last = text[count - 1];
    begin += count;
    return true;
}

std::string_view XmlFeed::nextText() {
    const std::string_view text = unread();
    return text.substr(0, text.find('<'));
}

void XmlFeed::skip(std::size_t count) {
    const auto lines = std::count(buffer.begin() + begin, buffer.begin() + begin + count, '\n');
    reader.addData(QByteArray(lines, '\n'));
    begin += count;
}

std::string_view XmlFeed::unread() {
    if (begin == end) {
        const zt::u64 left = file.size() - std::min(offset, file.size());
        begin = 0;
        end = static_cast<std::size_t>(std::min<zt::u64>(left, buffer.size()));
        file.readAt(offset, std::as_writable_bytes(std::span(buffer).first(end)));
        offset += end;
    }
    return {buffer.data() + begin, end - begin};
}

} // namespace ombrel
