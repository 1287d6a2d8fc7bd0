#include "properties/ReadableText.h"

#include <QPalette>

namespace {

void setText(QPalette& palette, QPalette::ColorGroup group, const QColor& color) {
    // Items are written with the first, branch indicators drawn with the others.
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(group, role, color);
}

} // namespace

void setReadableText(QPalette& palette, const QColor& background) {
    const bool onLight = background.lightnessF() > 0.5f;
    setText(palette, QPalette::All, onLight ? QColor(26, 26, 26) : QColor(240, 240, 240));
    setText(palette, QPalette::Disabled, onLight ? QColor(100, 100, 100) : QColor(165, 165, 165));
}
