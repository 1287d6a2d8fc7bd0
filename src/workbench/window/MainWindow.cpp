#include "window/MainWindow.h"

#include "batch/BatchPane.h"
#include "chain/ChainPane.h"
#include "chain/ParameterEditor.h"
#include "flats/FlatsPane.h"
#include "panes/FrameBar.h"
#include "panes/FramePanes.h"
#include "panes/Look.h"
#include "panes/StatisticsPane.h"
#include "window/StartPage.h"
#include "window/StatusLine.h"
#include "window/WindowActions.h"
#include "window/WindowDocks.h"
#include "window/WorkArea.h"

#include <QDropEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QScreen>
#include <QStackedWidget>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr QSize firstSize(1360, 860); // at most
constexpr const char* geometryKey = "geometry";
constexpr const char* layoutKey = "layout";
constexpr const char* coloursKey = "colours";

} // namespace

MainWindow::MainWindow(Console& messages, const std::string& pluginPath)
    : worker(pluginPath), linkSettings(workspace, worker, *this), deviceChoice(workspace, worker),
      opener(workspace, memory, messages, pluginPath), pages(newChild<QStackedWidget>()),
      startPage(newChild<StartPage>()), workArea(newChild<WorkArea>(workspace)),
      chainPane(newChild<ChainPane>(workspace)), parameters(newChild<ParameterEditor>(workspace)),
      figures(newChild<StatisticsPane>()), logPane(newChild<LogPane>()),
      batch(newChild<BatchPane>(workspace, messages, pluginPath)),
      flats(newChild<FlatsPane>(messages, pluginPath)), status(newChild<StatusLine>(workspace)),
      docks(std::make_unique<WindowDocks>(
          *this, WindowDocks::Contents{chainPane, parameters, figures, batch, flats, logPane})),
      actions(newChild<WindowActions>(*this, workspace, docks->all())) {
    setObjectName("MainWindow");
    setWindowTitle("ombrel");
    setAcceptDrops(true);
    pages->addWidget(newScroller(startPage));
    pages->addWidget(workArea);
    setCentralWidget(pages);
    setStatusBar(status);
    request.setSingleShot(true);
    connectModel();
    connectWorker();
    connectOpening();
    connectParts();
    connectActions();
    connectViewActions();
    restoreLook();
    showWorkArea(false);
}

MainWindow::~MainWindow() {
    worker.stop(); // its tasks refer to the members
    disconnect(&workspace, nullptr, this, nullptr);
    disconnect(&worker, nullptr, this, nullptr);
    linkSettings.setHost(nullptr);
}

void MainWindow::connectModel() {
    connect(&workspace, &Workspace::inputsChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::frameChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::chainChanged, this, &MainWindow::requestSoon);
    connect(&workspace, &Workspace::deviceChanged, this, &MainWindow::requestSoon);
    connect(&request, &QTimer::timeout, this, &MainWindow::requestFrame);
}

void MainWindow::connectWorker() {
    connect(&worker, &FrameWorker::opened, this, &MainWindow::opened);
    connect(&worker, &FrameWorker::openFailed, this, &MainWindow::openFailed);
    connect(&worker, &FrameWorker::shown, this, &MainWindow::showFrame);
    connect(&worker, &FrameWorker::logged, this, &MainWindow::log);
    connect(&worker, &FrameWorker::busyChanged, status, &StatusLine::setBusy);
    connect(&worker, &FrameWorker::linkReported, this, &MainWindow::showReport);
    connect(&linkSettings, &LinkSettings::reported, this, &MainWindow::showReport);
    connect(&linkSettings, &LinkSettings::logged, this, &MainWindow::log);
}

void MainWindow::connectOpening() {
    connect(startPage, &StartPage::openWanted, this, [this] { opener.choose(*this); });
    connect(startPage, &StartPage::demoWanted, &opener, &StackOpener::openDemo);
    connect(startPage, &StartPage::fileWanted, this,
            [this](const QString& path) { open({path.toStdString()}); });
    connect(&opener, &StackOpener::advanced, startPage, [this](int done, int of) {
        startPage->setProblem({});
        startPage->setProgress(done, of);
    });
    connect(&opener, &StackOpener::failed, startPage, &StartPage::setProblem);
    connect(&workspace, &Workspace::inputsChanged, startPage, [this] { startPage->setProblem({}); });
}

void MainWindow::connectParts() {
    FramePanes& panes = workArea->framePanes();
    connect(&panes, &FramePanes::mapViewChanged, this, &MainWindow::requestSoon);
    connect(&panes, &FramePanes::regionChanged, figures,
            [&panes, this] { figures->setRegion(panes.region()); });
    connect(&panes, &FramePanes::limitsEdited, actions, &WindowActions::lockLimits);
    connect(&panes, &FramePanes::pointed, status, &StatusLine::setValues);
    connect(chainPane, &ChainPane::configureWanted, &linkSettings, &LinkSettings::configure);
    connect(chainPane, &ChainPane::loadWanted, &linkSettings, &LinkSettings::load);
    connect(chainPane, &ChainPane::saveWanted, &linkSettings, &LinkSettings::save);
    connect(batch, &BatchPane::logged, this, &MainWindow::log);
    connect(flats, &FlatsPane::logged, this, &MainWindow::log);
    connect(flats, &FlatsPane::inspected, this, [this] { docks->raiseFlats(); });
    connect(flats, &FlatsPane::calibrated, this, &MainWindow::useCalibration);
}

void MainWindow::connectActions() {
    connect(
        actions, &WindowActions::openWanted, this, [this] { opener.choose(*this); });
    connect(actions, &WindowActions::fileWanted, this,
            [this](const QString& path) { open({path.toStdString()}); });
    connect(actions, &WindowActions::demoWanted, &opener, &StackOpener::openDemo);
    connect(actions, &WindowActions::deviceWanted, this, [this] { deviceChoice.ask(*this); });
    connect(
        actions, &WindowActions::batchWanted, this,
        [this] {
            docks->raiseBatch();
            batch->start();
        });
    connect(actions, &WindowActions::calibrationWanted, this, [this] { flats->ask(workspace.inputs()); });
    connect(actions, &WindowActions::addMenuWanted, chainPane, &ChainPane::popUpAddMenu);
    connect(actions, &WindowActions::configureWanted, &linkSettings, &LinkSettings::configure);
    connect(actions, &WindowActions::loadWanted, &linkSettings, &LinkSettings::load);
    connect(actions, &WindowActions::saveWanted, &linkSettings, &LinkSettings::save);
}

void MainWindow::connectViewActions() {
    FramePanes& panes = workArea->framePanes();
    FrameBar& bar = workArea->frameBar();
    connect(actions, &WindowActions::stepWanted, &bar, &FrameBar::step);
    connect(actions, &WindowActions::endWanted, &bar, &FrameBar::goToEnd);
    connect(actions, &WindowActions::playOrPauseWanted, &bar, [&bar] { bar.play(!bar.isPlaying()); });
    connect(actions, &WindowActions::colourMapChosen, &panes, &FramePanes::setColourMap);
    connect(actions, &WindowActions::limitsLocked, &panes, &FramePanes::lockLimits);
    connect(actions, &WindowActions::pixelsMarked, &panes, &FramePanes::markPixels);
    connect(actions, &WindowActions::signalToNoiseWanted, &panes, &FramePanes::showSignalToNoise);
    connect(actions, &WindowActions::toolChosen, &panes, &FramePanes::setTool);
    connect(actions, &WindowActions::wholeFrameWanted, workArea, &WorkArea::showWholeFrame);
}

void MainWindow::restoreLook() {
    // Leave room for the window's frame.
    resize(firstSize.boundedTo(screen()->availableSize() * 0.94));
    restoreGeometry(memory.bytes(geometryKey));
    actions->chooseColourMap(memory.text(coloursKey));
    showRecentFiles();
}

void MainWindow::showRecentFiles() {
    startPage->setRecentFiles(memory.recentFiles());
    actions->setRecentFiles(memory.recentFiles());
}

void MainWindow::opened(const StackFacts& facts, const PluginHostPtr& host) {
    if (workspace.isOpen() && facts.opening == workspace.opening())
        return linkSettings.setHost(host); // reopened after a superseded request for other files
    if (facts.opening != workspace.wanted().opening)
        return; // superseded by a later choice
    const bool areOthers = facts.inputs != workspace.inputs();
    workspace.setFacts(facts);
    linkSettings.setHost(host);
    if (areOthers)
        showFileName(QString::fromStdString(facts.inputs.front()));
    showWorkArea(true);
    opener.recallChain();
}

void MainWindow::showFileName(const QString& path) {
    memory.addRecentFile(path);
    showRecentFiles();
    setWindowTitle(shortName(path) + " \u2013 ombrel");
    const QFileInfo file(filePart(path));
    batch->proposeOutput(file.path() + "/" + file.completeBaseName() + "-corrected.h5");
}

void MainWindow::openFailed(const OpenFailure& failure) {
    if (failure.opening != workspace.wanted().opening)
        return; // superseded by a later choice
    workspace.keepShown();
    const QString reason = QString::fromStdString(failure.reason);
    startPage->setProblem(reason);
    log(reason);
    requestSoon(); // repeats requests made meanwhile
    if (!failure.datasets.empty())
        QMetaObject::invokeMethod(
            this, [this, failure] { opener.chooseDataset(*this, failure); }, Qt::QueuedConnection);
}

void MainWindow::showWorkArea(bool isOpen) {
    const bool was = pages->currentWidget() == workArea;
    pages->setCurrentIndex(isOpen ? 1 : 0);
    if (was != isOpen || !isOpen)
        docks->setVisible(isOpen);
    actions->showToolBar(isOpen);
    if (isOpen && !was)
        docks->layOut(memory.bytes(layoutKey));
}

void MainWindow::requestFrame() {
    const StackChoice& wanted = workspace.wanted();
    if (!wanted.files.empty())
        worker.request({++numberWanted, wanted.files, wanted.opening, wanted.device, wanted.frame,
                        workspace.chain(), workArea->framePanes().mapView()});
}

void MainWindow::showFrame(const ShownFramePtr& frame) {
    if (!workspace.isOpen() || frame->view.opening != workspace.opening())
        return; // a frame of a previous stack
    const FrameView& view = frame->view;
    workArea->show(frame);
    figures->show(view);
    if (!view.isComplete)
        return;
    if (!view.failure.empty() && view.failure != lastFailure)
        log(QString("Frame %1: %2").arg(view.frame).arg(QString::fromStdString(view.failure)));
    lastFailure = view.failure;
    numberShown = frame->request;
    emit frameShown(view.frame);
}

void MainWindow::showReport(const LinkReport& report) {
    chainPane->report(report);
    parameters->report(report);
    if (!report.failure.empty())
        log(QString::fromStdString(report.failure));
}

void MainWindow::useCalibration(const QString& settings) {
    log("Calibration: " + settings);
    const auto& links = workspace.chain().links;
    if (std::ranges::find(links, "Flat-Field", &LinkState::filter) == links.end())
        workspace.addLink("Flat-Field", settings.toStdString());
}

void MainWindow::log(const QString& line) {
    logPane->add(line);
    if (workspace.isOpen() && logPane->visibleRegion().isEmpty()) // covered by another dock
        status->tell(line);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!batch->mayClose()) {
        event->ignore();
        return;
    }
    opener.rememberChain();
    memory.set(geometryKey, saveGeometry());
    if (workspace.isOpen())
        memory.set(layoutKey, saveState());
    memory.set(coloursKey, actions->colourMap());
    linkSettings.setHost(nullptr);
    QMainWindow::closeEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    opener.openDropped(*event->mimeData());
}

} // namespace ombrel::workbench
