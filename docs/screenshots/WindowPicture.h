#pragma once

#include <QString>
#include <QWidget>

#include <functional>

// Where the pictures of windows go.
struct PictureFolder {
    QString path;

    // Calls `show`, which opens a window, modal or not; hands the window to `prepare`, writes it to NAME.png
    // as it is shown, and closes it. Throws std::runtime_error when the picture can't be written.
    void take(
        const QString& name, const std::function<void()>& show,
        const std::function<void(QWidget&)>& prepare = [](QWidget&) {}) const;
};
