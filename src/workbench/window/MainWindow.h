#pragma once

#include "base/Console.h"
#include "chain/DeviceDialog.h"
#include "chain/LinkSettings.h"
#include "model/RecentState.h"
#include "model/Workspace.h"
#include "window/StackOpener.h"
#include "worker/FrameWorker.h"

#include <QMainWindow>
#include <QTimer>

#include <memory>
#include <string>
#include <vector>

class QStackedWidget;

namespace ombrel::workbench {

class BatchPane;
class FlatsPane;
class ChainPane;
class StatisticsPane;
class LogPane;
class ParameterEditor;
class StartPage;
class StatusLine;
class WindowActions;
class WindowDocks;
class WorkArea;

// The window of the workbench. It connects the parts: user actions change the workspace, changes of the
// workspace request a frame from the worker, and the worker's results go to the panes.
class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    // An empty `pluginPath` searches for the plug-in.
    MainWindow(Console& messages, const std::string& pluginPath);
    ~MainWindow() override;

    void open(const std::vector<std::string>& paths) { opener.open(paths); }
    Workspace& model() { return workspace; }
    // Whether the screen shows the finished frame for the present state of the workspace.
    bool isUpToDate() const { return !request.isActive() && numberShown == numberWanted; }

signals:
    // A frame with the chain's finished result is on the screen.
    void frameShown(quint64 frame);

private:
    void connectModel();
    void connectWorker();
    void connectOpening();
    void connectParts();
    void connectActions();
    void connectViewActions();
    void restoreLook();

    void opened(const StackFacts& facts, const PluginHostPtr& host);
    void openFailed(const OpenFailure& failure);
    void showFileName(const QString& path);
    void showWorkArea(bool isOpen);
    void showRecentFiles();
    void requestSoon() { request.start(0); }
    void requestFrame();
    void showFrame(const ShownFramePtr& frame);
    void useCalibration(const QString& settings);
    void showReport(const LinkReport& report);
    void log(const QString& line);

    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    RecentState memory;
    Workspace workspace;
    FrameWorker worker;
    LinkSettings linkSettings;
    DeviceChoice deviceChoice;
    StackOpener opener;
    QTimer request;           // combines all changes of one turn of the event loop
    zt::u64 numberWanted = 0; // latest request
    zt::u64 numberShown = 0;  // latest request whose finished frame is on the screen
    std::string lastFailure;

    QStackedWidget* pages;
    StartPage* startPage;
    WorkArea* workArea;
    ChainPane* chainPane;
    ParameterEditor* parameters;
    StatisticsPane* figures;
    LogPane* logPane;
    BatchPane* batch;
    FlatsPane* flats;
    StatusLine* status;
    std::unique_ptr<WindowDocks> docks;
    WindowActions* actions;
};

} // namespace ombrel::workbench
