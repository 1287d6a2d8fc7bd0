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
class ChainPane;
class StatisticsPane;
class LogPane;
class ParameterEditor;
class StartPage;
class StatusLine;
class WindowActions;
class WindowDocks;
class WorkArea;

// The window of the workbench. It wires its parts: whatever the user does changes the workspace, a change
// asks the worker for a frame, and what the worker shows goes to the panes.
class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    // `pluginPath` empty finds the plug-in.
    MainWindow(Console& messages, const std::string& pluginPath);
    ~MainWindow() override;

    void open(const std::vector<std::string>& paths) { opener.open(paths); }
    Workspace& model() { return workspace; }
    // Whether the screen shows the frame for the workspace as it is now, with the chain's work done.
    bool isUpToDate() const { return !request.isActive() && numberShown == numberWanted; }

signals:
    // A frame is on the screen, with the chain's work done.
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
    QTimer request;           // one for all changes of a turn of the event loop
    zt::u64 numberWanted = 0; // of the latest request
    zt::u64 numberShown = 0;  // of the latest whose frame is complete on the screen
    std::string lastFailure;

    QStackedWidget* pages;
    StartPage* startPage;
    WorkArea* workArea;
    ChainPane* chainPane;
    ParameterEditor* parameters;
    StatisticsPane* figures;
    LogPane* logPane;
    BatchPane* batch;
    StatusLine* status;
    std::unique_ptr<WindowDocks> docks;
    WindowActions* actions;
};

} // namespace ombrel::workbench
