#include "window/StackOpener.h"

#include "base/FileContent.h"
#include "panes/Look.h"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace ombrel::workbench {

namespace {

QString firstOf(const std::vector<std::string>& paths) {
    return paths.empty() ? QString() : QString::fromStdString(paths.front());
}

std::string absolute(const std::string& path) {
    return QFileInfo(QString::fromStdString(path)).absoluteFilePath().toStdString();
}

// Also accepts "FILE::/path/of/dataset" as a name.
class FramesPicker final : public QFileDialog {
public:
    FramesPicker(QWidget* parent, const QString& folder)
        : QFileDialog(parent, "Open frames", folder, frameFileFilter()) {
        setOption(DontUseNativeDialog); // native dialogs accept names of files only
        setFileMode(ExistingFiles);
        name = findChild<QLineEdit*>("fileNameEdit");
        auto* const buttons = findChild<QDialogButtonBox*>();
        connect(name, &QLineEdit::textChanged, this, [this, buttons] {
            if (isDataset())
                buttons->button(QDialogButtonBox::Open)->setEnabled(true);
        });
    }

    QStringList paths() const { return isDataset() ? QStringList{path()} : selectedFiles(); }

private:
    void accept() override {
        if (isDataset())
            done(Accepted);
        else
            QFileDialog::accept();
    }
    QString path() const { return directory().absoluteFilePath(name->text()); }
    bool isDataset() const { return filePart(path()) != path(); }

    QLineEdit* name;
};

} // namespace

QString filePart(const QString& path) {
    return QString::fromStdString(splitDatasetPath(path.toStdString()).file);
}

QString shortName(const QString& path) {
    const QString file = filePart(path);
    return QFileInfo(file).fileName() + path.mid(file.size());
}

StackOpener::StackOpener(Workspace& model, RecentState& userMemory, Console& messages,
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
    want(full, std::nullopt);
}

void StackOpener::want(const std::vector<std::string>& paths, const std::optional<DemoData>& demo) {
    workspace.setInputs(paths);
    ownOpening = workspace.wanted().opening;
    demoWanted = demo;
}

void StackOpener::recallChain() {
    if (workspace.opening() != ownOpening)
        return; // the same files with a different device
    const auto demo = std::exchange(demoWanted, std::nullopt);
    const bool isDemo = demo.has_value();
    while (isDemo && !workspace.chain().links.empty())
        workspace.removeLink(workspace.chain().links.back().id);
    if (workspace.chain().links.empty())
        for (const auto& [filter, settings] : memory.chainFor(firstOf(workspace.inputs())))
            workspace.addLink(filter, settings);
    if (isDemo && workspace.chain().links.empty())
        workspace.addLink("Flat-Field", demo->flatField);
}

void StackOpener::choose(QWidget& parentOfDialog) {
    FramesPicker picker(&parentOfDialog, QFileInfo(filePart(firstOf(workspace.inputs()))).path());
    if (picker.exec() != QDialog::Accepted)
        return;
    std::vector<std::string> paths;
    for (const QString& path : picker.paths())
        paths.push_back(path.toStdString());
    if (!paths.empty())
        open(paths);
}

void StackOpener::chooseDataset(QWidget& parentOfDialog, const OpenFailure& failure) {
    QStringList choices;
    for (const DatasetChoice& dataset : failure.datasets)
        choices << QString::fromStdString(dataset.path + "  (" + dataset.shape + ")");
    bool isChosen = false;
    const QString choice = QInputDialog::getItem(
        &parentOfDialog, "Open frames",
        "Datasets of " + QFileInfo(QString::fromStdString(failure.file)).fileName() + " that hold frames:",
        choices, 0, false, &isChosen);
    if (!isChosen)
        return;
    std::vector<std::string> paths = failure.inputs;
    const DatasetChoice& dataset = failure.datasets[static_cast<std::size_t>(choices.indexOf(choice))];
    std::ranges::replace(paths, failure.file, failure.file + "::" + dataset.path);
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
    demoJob.start(RecentState::dataFolder("demo").toStdString());
}

void StackOpener::openMade(const DemoData& demo) {
    emit advanced(0, 0);
    rememberChain();
    want({demo.frames}, demo);
}

void StackOpener::rememberChain() {
    if (workspace.isOpen())
        memory.setChainFor(firstOf(workspace.inputs()), workspace.chain());
}

} // namespace ombrel::workbench
