#pragma once

#include "chain/FilterWindows.h"
#include "host/Chain.h"
#include "worker/PluginHost.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <string>

namespace ombrel::workbench {

// A filter instance whose settings window is open. It corrects no frames: after each user action the window's
// settings are passed on as a snapshot, from which the instance that corrects frames is loaded.
class ShownLink final : public QObject {
    Q_OBJECT
public:
    // `loaded` has the settings of `path`; its window saves to that file.
    ShownLink(PluginHostPtr pluginHost, std::shared_ptr<FilterLink> loaded, std::string path);
    ~ShownLink() override;

    // Returns immediately, or for a modal window when it is closed. Throws Error when the filter throws.
    void show();
    bool isModalOpen() const { return isShowing; }
    const std::string& settingsPath() const { return settings; }

signals:
    void changed(const std::shared_ptr<ombrel::Settings>& snapshot);
    // The window has saved and closed.
    void closed();

private:
    bool eventFilter(QObject* receiver, QEvent* event) override;
    void takeSnapshot();

    PluginHostPtr host; // first member: the filter ends before the host
    std::shared_ptr<FilterLink> link;
    std::string settings;
    std::unique_ptr<FilterWindows> windows;
    QTimer soon; // fires after the window itself has handled the event
    bool isShowing = false;
};

} // namespace ombrel::workbench
