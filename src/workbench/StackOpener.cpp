#include "workbench/StackOpener.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

namespace ombrel::workbench {

namespace {

QString firstOf(const std::vector<std::string>& paths) {
    return paths.empty() ? QString() : QString::fromStdString(paths.front());
}

std::string absolute(const std::string& path) {
    return QFileInfo(QString::fromStdString(path)).absoluteFilePath().toStdString();
}

} // namespace

StackOpener::StackOpener(Workspace& model, Memory& userMemory, cli::Console& messages,
                         const std::string& pluginPath)
    : workspace(model), memory(userMemory), demoJob(messages, pluginPath) {
    connect(&demoJob, &DemoJob::advanced, this, &StackOpener::advanced);
    connect(&demoJob, &DemoJob::made, this, &StackOpener::openMade);
    connect(&demoJob, &DemoJob::failed, this, [this](const QString& reason) {
        emit advanced(0, 0);
        emit failed(reason);
    });
}

void StackOpener::open(const std::vector<std::string>& paths) {
    rememberChain();
    std::vector<std::string> full;
    for (const std::string& path : paths)
        full.push_back(absolute(path));
    workspace.setInputs(full);
    recallChain();
}

// One chain is tried on many stacks; where there is none, the one that was last used on this file is there
// again.
void StackOpener::recallChain() {
    if (workspace.chain().links.empty())
        for (const auto& [filter, settings] : memory.chainFor(firstOf(workspace.inputs())))
            workspace.addLink(filter, settings);
}

void StackOpener::choose(QWidget& parentOfDialog) {
    const QStringList files = QFileDialog::getOpenFileNames(
        &parentOfDialog, "Open frames", QFileInfo(firstOf(workspace.inputs())).path(),
        "Frames (*.h5 *.hdf5 *.nxs *.tif *.tiff);;All files (*)");
    std::vector<std::string> paths;
    for (const QString& file : files)
        paths.push_back(file.toStdString());
    if (!paths.empty())
        open(paths);
}

void StackOpener::openDropped(const QMimeData& dropped) {
    std::vector<std::string> paths;
    for (const QUrl& url : dropped.urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toStdString());
    if (!paths.empty())
        open(paths);
}

void StackOpener::openDemo() {
    demoJob.start(Memory::dataFolder("demo").toStdString());
}

void StackOpener::openMade(const DemoData& demo) {
    emit advanced(0, 0);
    rememberChain();
    workspace.setInputs({demo.frames});
    while (!workspace.chain().links.empty())
        workspace.removeLink(workspace.chain().links.back().id);
    recallChain();
    if (workspace.chain().links.empty())
        workspace.addLink("Flat-Field", demo.flatField);
}

void StackOpener::rememberChain() {
    if (workspace.isOpen())
        memory.setChainFor(firstOf(workspace.inputs()), workspace.chain());
}

} // namespace ombrel::workbench
