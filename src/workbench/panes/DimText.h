#pragma once

#include <QPalette>
#include <QWidget>

namespace ombrel::workbench {

// Text that explains is paler than text that says something, but can be read.
inline void dimText(QWidget& widget) {
    QPalette palette = widget.palette();
    QColor text = palette.color(QPalette::WindowText);
    text.setAlphaF(0.62f);
    palette.setColor(QPalette::WindowText, text);
    widget.setPalette(palette);
}

} // namespace ombrel::workbench
