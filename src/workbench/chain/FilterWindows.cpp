#include "chain/FilterWindows.h"

#include "base/Error.h"
#include "chain/Configure.h"
#include "host/Session.h"

#include <QApplication>
#include <QEvent>
#include <QEventLoop>

#include <algorithm>
#include <exception>
#include <memory>

namespace ombrel::workbench {

namespace {

using Windows = std::vector<QPointer<QWidget>>;

// Tool tips, menus and the like belong to the toolkit.
bool isWindow(const QWidget& widget) {
    return widget.windowType() == Qt::Window || widget.windowType() == Qt::Dialog;
}

// Guarded pointers: a new window at the address of a deleted one must not be mistaken for it.
Windows presentWindows() {
    const QWidgetList all = QApplication::topLevelWidgets();
    return {all.begin(), all.end()};
}

} // namespace

FilterWindows::~FilterWindows() {
    for (const QPointer<QWidget>& window : windows) {
        if (!window)
            continue;
        disconnect(window, nullptr, this, nullptr);
        window->close();
        std::unique_ptr<QWidget>{window.data()}.reset();
    }
}

void FilterWindows::show() {
    if (filter.hasConfigGUI()) {
        showOwnWindow();
        return;
    }
    if (windows.empty())
        note(std::make_unique<ParamsWindow>(filter).release());
    windows.front()->show();
    windows.front()->activateWindow();
}

void FilterWindows::showOwnWindow() {
    const Windows before = presentWindows();
    try {
        filter.showConfigGUI();
    } catch (const std::exception& error) {
        throw Error(filterName(filter) + ": its settings window failed: " + error.what());
    } catch (...) {
        throw Error(filterName(filter) + ": its settings window failed");
    }
    const auto isNew = [&](const QWidget* window) {
        return std::ranges::none_of(before, [=](const auto& known) { return known == window; });
    };
    for (QWidget* const window : QApplication::topLevelWidgets())
        if (isWindow(*window) && isNew(window))
            note(window);
}

void FilterWindows::note(QWidget* window) {
    windows.emplace_back(window);
    window->installEventFilter(this);
    connect(window, &QObject::destroyed, this, &FilterWindows::windowGone);
}

bool FilterWindows::eventFilter(QObject* window, QEvent* event) {
    if (event->type() == QEvent::Hide)
        emit windowGone();
    return QObject::eventFilter(window, event);
}

bool FilterWindows::areOpen() const {
    return std::ranges::any_of(
        windows, [](const auto& window) { return window && window->isVisible(); });
}

void FilterWindows::waitUntilClosed() {
    QEventLoop loop;
    connect(this, &FilterWindows::windowGone, &loop, &QEventLoop::quit);
    // exec() returns non-zero when it did not start: the application is about to end.
    while (areOpen() && loop.exec() == 0)
        continue;
}

} // namespace ombrel::workbench
