#include "workbench/MainWindow.h"

#include "standalone/Error.h"
#include "workbench/BatchOptions.h"
#include "workbench/BatchPane.h"
#include "workbench/ChainPane.h"
#include "workbench/CurvePlot.h"
#include "workbench/FiguresPane.h"
#include "workbench/FrameBar.h"
#include "workbench/FramePanes.h"
#include "workbench/LineProfile.h"
#include "workbench/LogPane.h"
#include "workbench/NewChild.h"
#include "workbench/ParameterEditor.h"
#include "workbench/StartPage.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QDockWidget>
#include <QLabel>
#include <QMessageBox>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QVBoxLayout>

namespace ombrel::workbench {

namespace {

constexpr QSize firstSize(1360, 860);
constexpr int busyMilliseconds = 100;
constexpr int messageMilliseconds = 10'000;
constexpr const char* geometryKey = "geometry";
constexpr const char* layoutKey = "layout";
constexpr const char* coloursKey = "colours";

CurvePlot::Curve curveOf(const Histogram& histogram) {
    CurvePlot::Curve curve;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        curve.x.append(histogram.low + static_cast<double>(i) * histogram.step);
        curve.y.append(histogram.counts[i]);
    }
    return curve;
}

} // namespace

MainWindow::MainWindow(cli::Console& messages, std::string pluginPath)
    : console(messages), plugin(pluginPath), worker(std::move(pluginPath)),
      linkSettings(workspace, worker, *this) {
    setObjectName("MainWindow");
    setWindowTitle("ombrel");
    setAcceptDrops(true);
    setDockNestingEnabled(true);
    makeParts();
    makeDocks();
    makeActions();
    connectModel();
    connectWorker();
    connectParts();
    restoreLook();
    showWorkArea(false);
}

MainWindow::~MainWindow() {
    if (demoThread.joinable())
        demoThread.join();
    worker.stop(); // its tasks know the parts
    disconnect(&workspace, nullptr, this, nullptr);
    disconnect(&worker, nullptr, this, nullptr);
    linkSettings.setHost(nullptr);
}

void MainWindow::makeParts() {
    startPage = newChild<StartPage>();
    pages = newChild<QStackedWidget>();
    pages->addWidget(startPage);
    pages->addWidget(makeWorkArea());
    setCentralWidget(pages);

    valueLabel = newChild<QLabel>();
    valueLabel->setObjectName("lbValue");
    valueLabel->setContentsMargins(6, 0, 0, 0);
    busyLabel = newChild<QLabel>("Working \u2026");
    busyLabel->setObjectName("lbBusy");
    stackLabel = newChild<QLabel>();
    statusBar()->addWidget(valueLabel, 1);
    statusBar()->addPermanentWidget(busyLabel);
    statusBar()->addPermanentWidget(stackLabel);
    busyLabel->hide();
    request.setSingleShot(true);
    busySoon.setSingleShot(true);
    busySoon.setInterval(busyMilliseconds);
}

QWidget* MainWindow::makeWorkArea() {
    panes = newChild<FramePanes>();
    frameBar = newChild<FrameBar>();
    histogram = newChild<CurvePlot>(CurvePlot::Kind::Histogram);
    profile = newChild<CurvePlot>(CurvePlot::Kind::Profile);
    auto* const top = newChild<QWidget>();
    auto* const column = newChild<QVBoxLayout>(top);
    column->setContentsMargins({});
    column->setSpacing(0);
    column->addWidget(panes, 1);
    column->addWidget(frameBar);
    auto* const curves = newChild<QSplitter>(Qt::Horizontal);
    curves->addWidget(histogram);
    curves->addWidget(profile);
    curves->setSizes({1000, 1000});
    auto* const area = newChild<QSplitter>(Qt::Vertical);
    area->addWidget(top);
    area->addWidget(curves);
    area->setStretchFactor(0, 5);
    area->setStretchFactor(1, 2);
    area->setSizes({500, 230});
    area->setChildrenCollapsible(false);
    return area;
}

void MainWindow::addDock(const char* name, const QString& title, QWidget* content, Qt::DockWidgetArea area) {
    auto* const dock = newChild<QDockWidget>(title);
    dock->setObjectName(name);
    dock->setWidget(content);
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable |
                      QDockWidget::DockWidgetClosable);
    addDockWidget(area, dock);
    docks.push_back(dock);
}

void MainWindow::makeDocks() {
    setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    chainPane = newChild<ChainPane>(workspace);
    parameters = newChild<ParameterEditor>(workspace);
    figures = newChild<FiguresPane>();
    logPane = newChild<LogPane>();
    batch = newChild<BatchPane>(console);
    addDock("dockChain", "Chain", chainPane, Qt::LeftDockWidgetArea);
    addDock("dockParameters", "Parameters", parameters, Qt::LeftDockWidgetArea);
    addDock("dockFigures", "Figures", figures, Qt::LeftDockWidgetArea);
    addDock("dockBatch", "Batch run", batch, Qt::BottomDockWidgetArea);
    addDock("dockLog", "Log", logPane, Qt::BottomDockWidgetArea);
    tabifyDockWidget(docks[LOG_DOCK], docks[BATCH_DOCK]);
}

// Once they are shown.
void MainWindow::layOutDocks() {
    if (restoreState(memory.bytes(layoutKey)))
        return;
    resizeDocks({docks[CHAIN_DOCK], docks[PARAMETERS_DOCK], docks[FIGURES_DOCK]}, {170, 380, 240},
                Qt::Vertical);
    resizeDocks({docks[CHAIN_DOCK]}, {320}, Qt::Horizontal);
    resizeDocks({docks[LOG_DOCK]}, {130}, Qt::Vertical);
    docks[LOG_DOCK]->raise();
}

void MainWindow::connectModel() {
    connect(&workspace, &Workspace::inputsChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::chainChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::deviceChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::deviceChanged, this, &MainWindow::showStack);
    connect(&workspace, &Workspace::chainChanged, this, &MainWindow::enableActions);
    connect(&workspace, &Workspace::chosenLinkChanged, this, &MainWindow::enableActions);
    connect(&workspace, &Workspace::frameChanged, this, [this] {
        frameBar->setFrame(workspace.frame());
        requestSoon();
    });
    connect(&request, &QTimer::timeout, this, &MainWindow::requestFrame);
}

void MainWindow::connectWorker() {
    connect(&worker, &FrameWorker::opened, this, &MainWindow::opened);
    connect(&worker, &FrameWorker::openFailed, this, &MainWindow::openFailed);
    connect(&worker, &FrameWorker::shown, this, &MainWindow::showFrame);
    connect(&worker, &FrameWorker::logged, this, &MainWindow::log);
    connect(&worker, &FrameWorker::busyChanged, this, &MainWindow::showBusy);
    const auto report = [this](const LinkReport& each) {
        chainPane->report(each);
        parameters->report(each);
        enableActions();
        if (!each.failure.empty())
            log(QString::fromStdString(each.failure));
    };
    connect(&worker, &FrameWorker::linkReported, this, report);
    connect(&linkSettings, &LinkSettings::reported, this, report);
    connect(&busySoon, &QTimer::timeout, busyLabel, &QWidget::show);
}

void MainWindow::connectParts() {
    connect(startPage, &StartPage::openWanted, this, &MainWindow::chooseFiles);
    connect(startPage, &StartPage::demoWanted, this, &MainWindow::openDemo);
    connect(startPage, &StartPage::fileWanted, this,
            [this](const QString& path) { open({path.toStdString()}); });
    connect(frameBar, &FrameBar::frameWanted, &workspace, &Workspace::setFrame);
    connect(panes, &FramePanes::mapViewChanged, this, &MainWindow::requestSoon);
    connect(panes, &FramePanes::regionChanged, this, [this] { figures->setRegion(panes->region()); });
    connect(panes, &FramePanes::lineChanged, this, &MainWindow::showProfile);
    connect(panes, &FramePanes::limitsEdited, this, [this] { lockAction->setChecked(true); });
    connect(panes, &FramePanes::pointed, valueLabel, &QLabel::setText);
    connect(chainPane, &ChainPane::configureWanted, &linkSettings, &LinkSettings::configure);
    connect(chainPane, &ChainPane::loadWanted, &linkSettings, &LinkSettings::load);
    connect(chainPane, &ChainPane::saveWanted, &linkSettings, &LinkSettings::save);
    connect(&linkSettings, &LinkSettings::logged, this, &MainWindow::log);
    connect(batch, &BatchPane::startWanted, this, &MainWindow::startBatch);
    connect(batch, &BatchPane::logged, this, &MainWindow::log);
}

void MainWindow::restoreLook() {
    resize(firstSize);
    restoreGeometry(memory.bytes(geometryKey));
    const QString colours = memory.text(coloursKey);
    for (QAction* const action : colourActions->actions())
        if (action->text() == colours || (colours.isEmpty() && action == colourActions->actions().first()))
            action->trigger();
    startPage->setRecentFiles(memory.recentFiles());
}

void MainWindow::requestFrame() {
    if (workspace.inputs().empty())
        return;
    worker.request({workspace.inputs(), workspace.opening(), workspace.device(), workspace.frame(),
                    workspace.chain(), panes->mapView()});
}

void MainWindow::showFrame(const ShownFramePtr& frame) {
    if (!workspace.isOpen())
        return; // of a stack that was left
    latest = frame;
    const FrameView& view = frame->view;
    panes->show(*frame);
    figures->show(view);
    if (!view.isComplete)
        return;
    showCurves();
    if (!view.failure.empty() && view.failure != lastFailure)
        log(QString("Frame %1: %2").arg(view.frame).arg(QString::fromStdString(view.failure)));
    lastFailure = view.failure;
    frameBar->frameIsShown();
    emit frameShown(view.frame);
}

void MainWindow::showCurves() {
    const auto& views = latest->view.panes;
    histogram->show(curveOf(views[RAW_PANE].histogram), curveOf(views[CORRECTED_PANE].histogram));
    showProfile();
}

void MainWindow::showProfile() {
    if (!latest)
        return;
    const auto& views = latest->view.panes;
    profile->show(profileAlong(panes->line(), views[RAW_PANE].image),
                  profileAlong(panes->line(), views[CORRECTED_PANE].image));
}

void MainWindow::showBusy(bool isBusy) {
    if (isBusy) {
        busySoon.start();
        return;
    }
    busySoon.stop();
    busyLabel->hide();
}

void MainWindow::log(const QString& line) {
    logPane->add(line);
    if (workspace.isOpen() && logPane->visibleRegion().isEmpty()) // it stands behind another
        statusBar()->showMessage(line, messageMilliseconds);
}

void MainWindow::startBatch() {
    if (batch->isRunning() || !workspace.isOpen())
        return;
    try {
        // What a window holds and has not saved yet is saved, since a run takes its settings from files.
        for (const LinkState& link : workspace.chain().links)
            if (link.unsaved)
                link.unsaved->saveFile();
        cli::RunOptions options = batchOptions(workspace.inputs(), workspace.chain(), workspace.device());
        options.plugin = plugin;
        batch->start(options);
    } catch (const Error& error) {
        log(QString("Batch: ") + error.what());
    }
}

// A run that takes hours is not ended by a slip of the hand.
bool MainWindow::mayClose() {
    if (!batch->isRunning())
        return true;
    const auto answer = QMessageBox::question(
        this, "Batch run",
        "Frames are still being corrected. Cancel the run and close?\nThe output keeps the frames that are "
        "done, and can be gone on with.",
        QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    return answer == QMessageBox::Yes;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!mayClose()) {
        event->ignore();
        return;
    }
    rememberChain();
    memory.set(geometryKey, saveGeometry());
    if (workspace.isOpen())
        memory.set(layoutKey, saveState());
    memory.set(coloursKey,
               colourActions->checkedAction() ? colourActions->checkedAction()->text() : QString());
    linkSettings.setHost(nullptr);
    QMainWindow::closeEvent(event);
}

} // namespace ombrel::workbench
