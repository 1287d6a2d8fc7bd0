// What the window opens: files, those of before, dropped ones and the demo data.
#include "standalone/cli/DeviceMask.h"
#include "workbench/BatchPane.h"
#include "workbench/DemoData.h"
#include "workbench/DeviceDialog.h"
#include "workbench/FrameBar.h"
#include "workbench/FramePanes.h"
#include "workbench/MainWindow.h"
#include "workbench/StartPage.h"

#include <QDockWidget>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QStackedWidget>
#include <QToolBar>

#include <cmath>
#include <exception>

namespace ombrel::workbench {

namespace {

QString firstOf(const std::vector<std::string>& paths) {
    return paths.empty() ? QString() : QString::fromStdString(paths.front());
}

std::string absolute(const QString& path) {
    return QFileInfo(path).absoluteFilePath().toStdString();
}

} // namespace

void MainWindow::open(const std::vector<std::string>& paths) {
    rememberChain();
    linkSettings.setHost(nullptr);
    std::vector<std::string> full;
    for (const std::string& path : paths)
        full.push_back(absolute(QString::fromStdString(path)));
    startPage->setProblem({});
    workspace.setInputs(full);
    // One chain is tried on many stacks; where there is none, the one that was last used on this file is
    // there again.
    if (workspace.chain().links.empty())
        for (const auto& [filter, settings] : memory.chainFor(firstOf(full)))
            workspace.addLink(filter, settings);
}

void MainWindow::chooseFiles() {
    const QStringList files =
        QFileDialog::getOpenFileNames(this, "Open frames", QFileInfo(firstOf(workspace.inputs())).path(),
                                      "Frames (*.h5 *.hdf5 *.nxs *.tif *.tiff);;All files (*)");
    std::vector<std::string> paths;
    for (const QString& file : files)
        paths.push_back(file.toStdString());
    if (!paths.empty())
        open(paths);
}

void MainWindow::opened(const StackFacts& facts, const PluginHostPtr& host) {
    if (facts.opening != workspace.opening())
        return; // overtaken by another choice
    workspace.setFacts(facts);
    linkSettings.setHost(host);
    const QString path = firstOf(facts.inputs);
    const QFileInfo file(path);
    memory.addRecentFile(path);
    setWindowTitle(file.fileName() + " \u2013 ombrel");
    showStack();
    frameBar->setFrames(facts.frames);
    frameBar->setFrame(workspace.frame());
    const QSize size(static_cast<int>(facts.width), static_cast<int>(facts.height));
    panes->clear();
    panes->setRegion({});
    // Not along the middle, where detectors of several chips have their seams.
    const double row = std::floor(size.height() * 0.4) + 0.5;
    panes->setLine({0, row, static_cast<double>(size.width()), row});
    panes->showWhole(size);
    batch->setOutput(file.path() + "/" + file.completeBaseName() + "-corrected.h5");
    showWorkArea(true);
}

void MainWindow::showStack() {
    const StackFacts& facts = workspace.facts();
    const DeviceState& device = workspace.device();
    QString text = QString("%1 frames, %2 \u00d7 %3, %4")
                       .arg(facts.frames)
                       .arg(facts.width)
                       .arg(facts.height)
                       .arg(QString::fromStdString(facts.pixelType));
    if (!device.mask.empty())
        text += ", mask " + QFileInfo(QString::fromStdString(device.mask)).fileName();
    if (device.acqTime)
        text += QString(", %1 s each").arg(*device.acqTime);
    stackLabel->setText(text);
}

void MainWindow::askForDevice() {
    DeviceDialog dialog(workspace.device(), this);
    if (dialog.exec() == QDialog::Accepted)
        setDevice(dialog.device());
}

// The mask is tried where files are read, so that one that does not fit leaves all as it is.
void MainWindow::setDevice(const DeviceState& device) {
    worker.run([this, device, facts = workspace.facts()](StackViewer&) {
        if (!device.mask.empty())
            cli::readDeviceMask(device.mask, facts.width, facts.height);
        const auto takeOver = [this, device, opening = facts.opening] {
            if (opening != workspace.opening())
                return; // other files were opened meanwhile
            if (device.mask != workspace.device().mask)
                linkSettings.setHost(nullptr);
            workspace.setDevice(device);
        };
        QMetaObject::invokeMethod(this, takeOver, Qt::QueuedConnection);
    });
}

void MainWindow::openFailed(int opening, const QString& reason) {
    if (opening != workspace.opening())
        return; // overtaken by another choice
    workspace.setFacts({});
    setWindowTitle("ombrel");
    stackLabel->clear();
    frameBar->setFrames(0);
    startPage->setProblem(reason);
    startPage->setRecentFiles(memory.recentFiles());
    log(reason);
    showWorkArea(false);
}

void MainWindow::showWorkArea(bool isOpen) {
    const bool was = pages->currentIndex() == 1;
    pages->setCurrentIndex(isOpen ? 1 : 0);
    if (was != isOpen || !isOpen)
        for (QDockWidget* const dock : docks)
            dock->setVisible(isOpen);
    toolBar->setVisible(isOpen);
    if (isOpen && !was)
        layOutDocks();
    enableActions();
}

void MainWindow::rememberChain() {
    if (workspace.isOpen())
        memory.setChainFor(firstOf(workspace.inputs()), workspace.chain());
}

void MainWindow::fillRecentMenu() {
    recentMenu->clear();
    for (const QString& path : memory.recentFiles())
        recentMenu->addAction(path, this, [this, path] { open({path.toStdString()}); });
    recentMenu->setEnabled(!recentMenu->isEmpty());
}

void MainWindow::openDemo() {
    if (demoThread.joinable())
        return;
    startPage->setProblem({});
    startPage->setProgress(0, 1);
    const std::string folder = Memory::dataFolder("demo").toStdString();
    const auto inWindow = [this](auto work) { QMetaObject::invokeMethod(this, work, Qt::QueuedConnection); };
    demoThread = std::thread([this, folder, inWindow] {
        try {
            const DemoData demo = prepareDemoData(folder, plugin, console, [&](int done, int of) {
                inWindow([this, done, of] { startPage->setProgress(done, of); });
            });
            inWindow([this, demo] { demoMade(demo.frames, demo.flatField); });
        } catch (const std::exception& error) {
            inWindow([this, reason = QString(error.what())] {
                demoMade({}, {});
                startPage->setProblem(reason);
            });
        }
    });
}

void MainWindow::demoMade(const std::string& frames, const std::string& flatField) {
    demoThread.join();
    startPage->setProgress(0, 0);
    if (frames.empty())
        return;
    while (!workspace.chain().links.empty())
        workspace.removeLink(workspace.chain().links.back().id);
    open({frames});
    if (workspace.chain().links.empty())
        workspace.addLink("Flat-Field", flatField);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    std::vector<std::string> paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toStdString());
    if (!paths.empty())
        open(paths);
}

} // namespace ombrel::workbench
