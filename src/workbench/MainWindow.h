#pragma once

#include "standalone/cli/Console.h"
#include "workbench/FrameWorker.h"
#include "workbench/LinkSettings.h"
#include "workbench/Memory.h"
#include "workbench/Workspace.h"

#include <QMainWindow>
#include <QTimer>

#include <functional>
#include <string>
#include <thread>
#include <vector>

class QAction;
class QActionGroup;
class QDockWidget;
class QLabel;
class QStackedWidget;
class QToolBar;

namespace ombrel::workbench {

class BatchPane;
class ChainPane;
class CurvePlot;
class FiguresPane;
class FrameBar;
class FramePanes;
class LogPane;
class ParameterEditor;
class StartPage;

// The window of the workbench. It wires its parts: whatever the user does changes the workspace, a change
// asks the worker for a frame, and what the worker shows goes to the panes.
class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    // `pluginPath` empty finds the plug-in.
    MainWindow(cli::Console& messages, std::string pluginPath);
    ~MainWindow() override;

    void open(const std::vector<std::string>& paths);
    // Makes the demo data where it is not there yet, and opens it with its correction.
    void openDemo();
    Workspace& model() { return workspace; }

signals:
    // A frame is on the screen, with the chain's work done.
    void frameShown(quint64 frame);

private:
    void makeParts();
    void makeDocks();
    void addDock(const char* name, const QString& title, QWidget* content, Qt::DockWidgetArea area);
    QWidget* makeWorkArea();
    void connectModel();
    void connectWorker();
    void connectParts();
    void restoreLook();
    void layOutDocks();

    void makeActions();
    void makeFileActions();
    void makeFrameActions();
    void makeLinkActions();
    void makeViewActions();
    void makeColourActions(QMenu& menu);
    void makeToolActions(QMenu& menu);
    void makeHelpActions();
    QAction* addAction(QMenu& menu, const QString& text, const QString& keys, std::function<void()> work);
    // In the tool bar too.
    QAction* addSwitch(QMenu& menu, const QString& text, const QString& keys, std::function<void(bool)> work);
    void enableActions();
    void showKeys();

    void chooseFiles();
    void opened(const StackFacts& facts, const PluginHostPtr& host);
    void openFailed(int opening, const QString& reason);
    void showWorkArea(bool isOpen);
    void rememberChain();
    void fillRecentMenu();
    void demoMade(const std::string& frames, const std::string& flatField);

    void requestSoon() { request.start(0); }
    void requestFrame();
    void showFrame(const ShownFramePtr& frame);
    void showCurves();
    void showProfile();
    void showBusy(bool isBusy);
    void log(const QString& line);
    void startBatch();
    void askForDevice();
    void setDevice(const DeviceState& device);
    void showStack();
    bool mayClose();

    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    cli::Console& console;
    std::string plugin;
    Memory memory;
    Workspace workspace;
    FrameWorker worker;
    LinkSettings linkSettings;
    QTimer request; // one for all changes of a turn of the event loop
    ShownFramePtr latest;
    std::thread demoThread;
    std::string lastFailure;

    QStackedWidget* pages = nullptr;
    StartPage* startPage = nullptr;
    FramePanes* panes = nullptr;
    FrameBar* frameBar = nullptr;
    CurvePlot* histogram = nullptr;
    CurvePlot* profile = nullptr;
    ChainPane* chainPane = nullptr;
    ParameterEditor* parameters = nullptr;
    FiguresPane* figures = nullptr;
    LogPane* logPane = nullptr;
    BatchPane* batch = nullptr;
    enum DockPlace { CHAIN_DOCK, PARAMETERS_DOCK, FIGURES_DOCK, BATCH_DOCK, LOG_DOCK };
    std::vector<QDockWidget*> docks;   // in the order of their places
    std::vector<QAction*> openActions; // that need open frames
    QToolBar* toolBar = nullptr;
    QAction* lockAction = nullptr;
    QActionGroup* colourActions = nullptr;
    QMenu* recentMenu = nullptr;
    QLabel* valueLabel = nullptr;
    QLabel* stackLabel = nullptr;
    QLabel* busyLabel = nullptr;
    QTimer busySoon; // so that quick frames do not flicker
};

} // namespace ombrel::workbench
