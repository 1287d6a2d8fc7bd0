#include "WindowPicture.h"

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QTimer>

#include <stdexcept>

namespace {

QWidget* shownWindow() {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->isVisible())
            return window;
    throw std::runtime_error("no window came up");
}

} // namespace

void PictureFolder::take(const QString& name, const std::function<void()>& show,
                         const std::function<void(QWidget&)>& prepare) const {
    QImage picture;
    const auto grab = [&] {
        QWidget& window = *shownWindow();
        prepare(window);
        window.setFocus(); // no blinking cursor in a field
        QApplication::processEvents();
        picture = window.grab().toImage();
        window.close();
    };
    // A modal window returns only when it is closed.
    QTimer::singleShot(0, qApp, grab);
    show();
    QApplication::processEvents();
    const QString file = path + "/" + name + ".png";
    // Without transparency, at the highest compression.
    if (!picture.convertToFormat(QImage::Format_RGB888).save(file, "PNG", 0))
        throw std::runtime_error("can't write " + file.toStdString());
}
