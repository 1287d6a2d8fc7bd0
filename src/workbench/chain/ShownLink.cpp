#include "chain/ShownLink.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>

namespace ombrel::workbench {

namespace {

bool isUserEvent(QEvent::Type type) {
    return type == QEvent::MouseButtonRelease || type == QEvent::KeyRelease || type == QEvent::Drop;
}

} // namespace

ShownLink::ShownLink(PluginHostPtr pluginHost, std::shared_ptr<FilterLink> loaded, std::string path)
    : host(std::move(pluginHost)), link(std::move(loaded)), settings(std::move(path)),
      windows(std::make_unique<FilterWindows>(link->filter())) {
    soon.setSingleShot(true);
    connect(&soon, &QTimer::timeout, this, &ShownLink::takeSnapshot);
    connect(windows.get(), &FilterWindows::windowGone, this, &ShownLink::closed, Qt::QueuedConnection);
    qApp->installEventFilter(this);
}

ShownLink::~ShownLink() {
    qApp->removeEventFilter(this);
    disconnect(windows.get(), nullptr, this, nullptr);
}

void ShownLink::show() {
    isShowing = true;
    windows->show();
    isShowing = false;
    if (!windows->areOpen())
        emit closed();
}

// The classes of the filter's windows are unknown: any user action in a window other than the main one may
// have changed the settings.
bool ShownLink::eventFilter(QObject* receiver, QEvent* event) {
    if (isUserEvent(event->type()))
        if (const auto* const widget = qobject_cast<QWidget*>(receiver))
            if (!qobject_cast<QMainWindow*>(widget->window()))
                soon.start(0);
    return QObject::eventFilter(receiver, event);
}

void ShownLink::takeSnapshot() {
    std::shared_ptr<Settings> snapshot = host->host().openSettings(settings);
    link->filter().saveToSettings(snapshot.get());
    if (!snapshot->contents().groups.empty())
        emit changed(snapshot);
}

} // namespace ombrel::workbench
