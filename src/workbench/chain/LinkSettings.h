#pragma once

#include "chain/ShownLink.h"
#include "model/Workspace.h"
#include "worker/FrameWorker.h"

#include <QObject>
#include <QWidget>

#include <map>
#include <memory>
#include <string>

namespace ombrel::workbench {

// Loads and saves the settings of links, and opens the filters' own settings windows.
class LinkSettings final : public QObject {
    Q_OBJECT
public:
    LinkSettings(Workspace& model, FrameWorker& frameWorker, QWidget& parentOfDialogs);

    // Sets the host of the open stack, or null. Windows of filters of another host are closed, except a modal
    // one, which the user closes.
    void setHost(const PluginHostPtr& pluginHost);
    // Opens the filter's own window; a link without a settings file gets one in the workbench's data folder.
    void configure(int id);
    void load(int id);
    void save(int id);
    void saveTo(int id, const std::string& path);

signals:
    void logged(const QString& line);
    void reported(const ombrel::workbench::LinkReport& report);

private:
    void showWindow(int id, const std::shared_ptr<FilterLink>& link, const std::string& path,
                    std::vector<FramePtr>& measured);
    void windowClosed(int id, const ShownLink* window);
    // Closes the windows of links that were removed or reconfigured meanwhile.
    void dropStale();
    std::string pathFor(const LinkState& link) const;
    // Runs on the window's thread after the worker's task.
    void later(std::function<void()> work);

    Workspace& workspace;
    FrameWorker& worker;
    QWidget& dialogParent;
    PluginHostPtr host;
    std::map<int, std::shared_ptr<ShownLink>> shown;
    std::map<int, int> revisions; // of the links, as known to their windows
};

} // namespace ombrel::workbench
