#include "batch/BatchPane.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Resources.h"
#include "batch/BatchProgress.h"
#include "frame/FrameOutput.h"
#include "model/BatchOptions.h"
#include "panes/Look.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace ombrel::workbench {

namespace {

// For a path with a dataset, the folder of its file.
std::filesystem::path folderOf(const std::string& path) {
    std::error_code failure;
    const auto file = std::filesystem::absolute(splitDatasetPath(path).file, failure);
    return std::filesystem::weakly_canonical(file, failure).parent_path();
}

} // namespace

BatchPane::BatchPane(const Workspace& model, Console& console, std::string pluginPath, QWidget* parent)
    : QWidget(parent), workspace(model), plugin(std::move(pluginPath)), outputRow(newChild<QWidget>()),
      outputEdit(newChild<QLineEdit>()), jobs(newChild<QSpinBox>()), pixelType(newChild<QComboBox>()),
      progress(newChild<BatchProgress>()), job(console) {
    dressFields();
    fillOutputRow();
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->addWidget(outputRow);
    layout->addWidget(progress);
    layout->addStretch(1);
    connect(progress, &BatchProgress::startWanted, this, &BatchPane::start);
    connect(progress, &BatchProgress::cancelWanted, &job, [this] {
        job.cancel();
        progress->cancel();
    });
    connect(&job, &BatchJob::advanced, progress, &BatchProgress::advance);
    connect(&job, &BatchJob::finished, this, &BatchPane::end);
    connect(&job, &BatchJob::logged, this, &BatchPane::logged);
}

void BatchPane::dressFields() {
    outputEdit->setObjectName("edOutput");
    outputEdit->setPlaceholderText("Output: .h5, .hdf5, .nxs, .tif or .tiff");
    jobs->setObjectName("sbJobs");
    jobs->setRange(0, static_cast<int>(2 * availableProcessors()));
    jobs->setSpecialValueText(QString("Automatic (%1)").arg(availableProcessors()));
    jobs->setToolTip("Frames corrected at the same time; automatic is one per processor. The number does not "
                     "change the output.");
    pixelType->setObjectName("cbType");
    pixelType->addItem("32 bit", "f32");
    pixelType->addItem("64 bit", "f64");
    pixelType->setToolTip("Floating-point pixels of the output");
}

void BatchPane::fillOutputRow() {
    auto* const layout = newChild<QHBoxLayout>(outputRow);
    layout->setContentsMargins({});
    auto* const browse = newChild<QPushButton>("&Browse\u2026");
    browse->setObjectName("btBrowse");
    const auto add = [&](const char* label, QWidget* field, int stretch) {
        auto* const name = newChild<QLabel>(label);
        name->setBuddy(field);
        layout->addWidget(name);
        layout->addWidget(field, stretch);
    };
    add("&Output", outputEdit, 1);
    layout->addWidget(browse);
    add("&Pixels", pixelType, 0);
    add("&Jobs", jobs, 0);
    connect(browse, &QPushButton::clicked, this, &BatchPane::chooseOutput);
}

void BatchPane::chooseOutput() {
    const QString path = QFileDialog::getSaveFileName(this, "Output of the batch run", outputEdit->text(),
                                                      "HDF5 (*.h5 *.hdf5 *.nxs);;TIFF (*.tif *.tiff)",
                                                      nullptr, QFileDialog::DontConfirmOverwrite);
    if (!path.isEmpty())
        outputEdit->setText(path);
}

void BatchPane::proposeOutput(const QString& path) {
    if (isRunning()) {
        nextOutput = path;
        return;
    }
    outputEdit->setText(path);
    progress->reset();
}

QString BatchPane::output() const {
    return outputEdit->text().trimmed();
}

bool BatchPane::askForFolder(const RunOptions& options) {
    const std::filesystem::path folder = folderOf(options.output);
    const auto isThere = [&](const std::string& input) { return folderOf(input) == folder; };
    if (folder == agreedFolder || std::ranges::none_of(options.inputs, isThere))
        return true;
    QMessageBox box(QMessageBox::Question, "Batch run",
                    "The output would be written into the folder of the raw data.", QMessageBox::Cancel,
                    this);
    box.setInformativeText(QString::fromStdString(folder.string()));
    const auto* const agree = box.addButton("&Write there", QMessageBox::AcceptRole);
    box.exec();
    if (box.clickedButton() != agree)
        return false;
    agreedFolder = folder;
    return true;
}

bool BatchPane::askForExisting(RunOptions& options) {
    const QFileInfo file(output());
    if (!file.exists())
        return true;
    QMessageBox box(QMessageBox::Question, "Batch run", file.fileName() + " already exists.",
                    QMessageBox::Cancel, this);
    box.setInformativeText("Resuming keeps the frames that an earlier run of the same chain has corrected.");
    const auto* const resume = box.addButton("&Resume", QMessageBox::AcceptRole);
    const auto* const replace = box.addButton("Re&place", QMessageBox::DestructiveRole);
    box.exec();
    options.resume = box.clickedButton() == resume;
    options.force = box.clickedButton() == replace;
    return options.resume || options.force;
}

bool BatchPane::mayClose() {
    if (!isRunning())
        return true;
    const auto answer = QMessageBox::question(
        this, "Batch run",
        "Frames are still being corrected. Cancel the run and close?\nThe output keeps the finished frames, "
        "and the run can be resumed.",
        QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    return answer == QMessageBox::Yes;
}

void BatchPane::start() {
    if (isRunning() || !workspace.isOpen())
        return;
    try {
        for (const LinkState& link : workspace.chain().links)
            if (link.unsaved)
                link.unsaved->saveFile();
        begin(batchOptions(workspace.inputs(), workspace.chain(), workspace.device()));
    } catch (const Error& error) {
        emit logged(QString("Batch: ") + error.what());
    }
}

void BatchPane::begin(RunOptions options) {
    options.output = output().toStdString();
    if (!FrameOutput::isOutputPath(options.output)) {
        progress->setText("The output's name must end in .h5, .hdf5, .nxs, .tif or .tiff.");
        return;
    }
    if (!askForFolder(options) || !askForExisting(options))
        return;
    options.plugin = plugin;
    if (jobs->value() != 0)
        options.jobs = static_cast<unsigned>(jobs->value());
    options.outputType = pixelType->currentData().toString().toStdString();
    outputRow->setEnabled(false);
    progress->begin(QFileInfo(output()).fileName());
    job.start(options);
}

void BatchPane::end(bool isGood, const QString& summary) {
    outputRow->setEnabled(true);
    progress->end(summary);
    if (!nextOutput.isEmpty())
        outputEdit->setText(std::exchange(nextOutput, QString()));
    emit logged("Batch: " + summary);
    emit finished(isGood);
}

} // namespace ombrel::workbench
