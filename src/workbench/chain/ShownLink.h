#pragma once

#include "chain/FilterWindows.h"
#include "host/Chain.h"
#include "worker/PluginHost.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <string>

namespace ombrel::workbench {

// A filter instance whose own settings window stands open. No frame goes through it: what the user does in
// the window is handed on as a snapshot of its settings, from which the instance that corrects frames is
// loaded.
class ShownLink final : public QObject {
    Q_OBJECT
public:
    // `loaded` has the settings of `path`, to which its window saves.
    ShownLink(PluginHostPtr pluginHost, std::shared_ptr<FilterLink> loaded, std::string path);
    ~ShownLink() override;

    // Returns at once, or when a modal window is closed. Throws Error when the filter throws.
    void show();
    bool isModalOpen() const { return isShowing; }
    const std::string& settingsPath() const { return settings; }

signals:
    void changed(const std::shared_ptr<ombrel::Settings>& snapshot);
    // The window was closed, after it saved.
    void closed();

private:
    bool eventFilter(QObject* receiver, QEvent* event) override;
    void takeSnapshot();

    PluginHostPtr host; // the first member: the filter ends before it
    std::shared_ptr<FilterLink> link;
    std::string settings;
    std::unique_ptr<FilterWindows> windows;
    QTimer soon; // after the window itself has handled the event
    bool isShowing = false;
};

} // namespace ombrel::workbench
