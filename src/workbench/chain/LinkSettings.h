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

// The settings of links: from and to files, and in the filters' own windows.
class LinkSettings final : public QObject {
    Q_OBJECT
public:
    LinkSettings(Workspace& model, FrameWorker& frameWorker, QWidget& parentOfDialogs);

    // Of the stack that is open now; null: of none. Windows of filters of another one are closed, but for a
    // modal one, which the user closes.
    void setHost(const PluginHostPtr& pluginHost);
    // Opens the filter's own window; a link without a settings file gets one of the workbench's own.
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
    // Closes the windows of links that are gone, or were set otherwise meanwhile.
    void dropStale();
    std::string pathFor(const LinkState& link) const;
    // On the window's thread, once the worker's task is done.
    void later(std::function<void()> work);

    Workspace& workspace;
    FrameWorker& worker;
    QWidget& dialogParent;
    PluginHostPtr host;
    std::map<int, std::shared_ptr<ShownLink>> shown;
    std::map<int, int> revisions; // of the links as their windows know them
};

} // namespace ombrel::workbench
