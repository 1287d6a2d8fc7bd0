#include "workbench/BatchPane.h"

#include "standalone/FrameOutput.h"
#include "workbench/NewChild.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QThread>
#include <QVBoxLayout>

#include <algorithm>

namespace ombrel::workbench {

namespace {

QString timeText(double seconds) {
    const auto whole = static_cast<qint64>(seconds + 0.5);
    if (whole < 60)
        return QString("%1 s").arg(whole);
    return QString("%1:%2 min").arg(whole / 60).arg(whole % 60, 2, 10, QChar('0'));
}

} // namespace

BatchPane::BatchPane(cli::Console& console, QWidget* parent)
    : QWidget(parent), outputEdit(newChild<QLineEdit>()), jobs(newChild<QSpinBox>()),
      pixelType(newChild<QComboBox>()), startButton(newChild<QPushButton>("Run")),
      cancelButton(newChild<QPushButton>("Cancel")), progress(newChild<QProgressBar>()),
      state(newChild<QLabel>()), job(console) {
    dressFields();
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->addWidget(makeOutputRow());
    layout->addWidget(makeProgressRow());
    layout->addWidget(state);
    layout->addStretch(1);
    connect(startButton, &QPushButton::clicked, this, &BatchPane::startWanted);
    connect(cancelButton, &QPushButton::clicked, &job, [this] {
        job.cancel();
        state->setText("Cancelling: the frames on their way are finished \u2026");
    });
    connect(&job, &BatchJob::advanced, this, &BatchPane::advance);
    connect(&job, &BatchJob::finished, this, &BatchPane::end);
    connect(&job, &BatchJob::logged, this, &BatchPane::logged);
    showRunning(false);
    state->setText("Runs all frames of the stack through the chain as it is shown.");
}

void BatchPane::dressFields() {
    outputEdit->setObjectName("edOutput");
    outputEdit->setPlaceholderText("Output: .h5, .hdf5, .nxs, .tif or .tiff");
    jobs->setObjectName("sbJobs");
    jobs->setRange(1, std::max(1, 2 * QThread::idealThreadCount()));
    jobs->setValue(std::max(1, QThread::idealThreadCount()));
    jobs->setToolTip("Frames that are corrected at once. The output is the same for every number.");
    pixelType->setObjectName("cbType");
    pixelType->addItem("32 bit", "f32");
    pixelType->addItem("64 bit", "f64");
    pixelType->setToolTip("Floating-point pixels of the output");
    startButton->setObjectName("btRun");
    cancelButton->setObjectName("btCancel");
    state->setObjectName("lbBatch");
    state->setTextFormat(Qt::PlainText);
    state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    progress->setObjectName("pbBatch");
    progress->setTextVisible(true);
}

QWidget* BatchPane::makeOutputRow() {
    auto* const row = newChild<QWidget>();
    auto* const layout = newChild<QHBoxLayout>(row);
    layout->setContentsMargins({});
    auto* const browse = newChild<QPushButton>("Browse\u2026");
    browse->setObjectName("btBrowse");
    layout->addWidget(outputEdit, 1);
    layout->addWidget(browse);
    layout->addWidget(newChild<QLabel>("Pixels"));
    layout->addWidget(pixelType);
    layout->addWidget(newChild<QLabel>("Jobs"));
    layout->addWidget(jobs);
    connect(browse, &QPushButton::clicked, this, &BatchPane::chooseOutput);
    return row;
}

QWidget* BatchPane::makeProgressRow() {
    auto* const row = newChild<QWidget>();
    auto* const layout = newChild<QHBoxLayout>(row);
    layout->setContentsMargins({});
    layout->addWidget(progress, 1);
    layout->addWidget(startButton);
    layout->addWidget(cancelButton);
    return row;
}

void BatchPane::chooseOutput() {
    const QString path = QFileDialog::getSaveFileName(this, "Output of the batch run", outputEdit->text(),
                                                      "HDF5 (*.h5 *.hdf5 *.nxs);;TIFF (*.tif *.tiff)",
                                                      nullptr, QFileDialog::DontConfirmOverwrite);
    if (!path.isEmpty())
        outputEdit->setText(path);
}

void BatchPane::setOutput(const QString& path) {
    outputEdit->setText(path);
}

QString BatchPane::output() const {
    return outputEdit->text().trimmed();
}

bool BatchPane::askForExisting(cli::RunOptions& options) {
    const QFileInfo file(output());
    if (!file.exists())
        return true;
    QMessageBox box(QMessageBox::Question, "Batch run", file.fileName() + " is there already.",
                    QMessageBox::Cancel, this);
    box.setInformativeText("Going on keeps the frames that an earlier run of the same chain has done.");
    const auto* const goOn = box.addButton("Go on with it", QMessageBox::AcceptRole);
    const auto* const replace = box.addButton("Replace it", QMessageBox::DestructiveRole);
    box.exec();
    options.resume = box.clickedButton() == goOn;
    options.force = box.clickedButton() == replace;
    return options.resume || options.force;
}

bool BatchPane::mayClose() {
    if (!isRunning())
        return true;
    const auto answer = QMessageBox::question(
        this, "Batch run",
        "Frames are still being corrected. Cancel the run and close?\nThe output keeps the frames that are "
        "done, and can be gone on with.",
        QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    return answer == QMessageBox::Yes;
}

void BatchPane::start(cli::RunOptions options) {
    options.output = output().toStdString();
    if (!FrameOutput::isOutputPath(options.output)) {
        state->setText("The output's name must end in .h5, .hdf5, .nxs, .tif or .tiff.");
        return;
    }
    if (!askForExisting(options))
        return;
    options.jobs = static_cast<unsigned>(jobs->value());
    options.outputType = pixelType->currentData().toString().toStdString();
    showRunning(true);
    progress->setRange(0, 0); // until it is known how many
    state->setText("Loading the filters \u2026");
    clock.invalidate();
    job.start(options);
}

void BatchPane::advance(quint64 done, quint64 of) {
    progress->setRange(0, static_cast<int>(of));
    progress->setValue(static_cast<int>(done));
    if (!clock.isValid()) {
        clock.start();
        first = done;
        state->setText("Running \u2026");
        return;
    }
    const double rate =
        static_cast<double>(done - first) / std::max(1e-3, 1e-3 * static_cast<double>(clock.elapsed()));
    state->setText(QString("%1 of %2 frames, %3 frames/s, %4 left")
                       .arg(done)
                       .arg(of)
                       .arg(rate, 0, 'f', rate < 10 ? 1 : 0)
                       .arg(timeText(static_cast<double>(of - done) / rate)));
}

void BatchPane::end(bool isGood, const QString& summary) {
    showRunning(false);
    if (progress->maximum() == 0)
        progress->reset();
    state->setText(clock.isValid()
                       ? summary + QString(" (%1)").arg(timeText(1e-3 * static_cast<double>(clock.elapsed())))
                       : summary);
    emit logged("Batch: " + summary);
    emit finished(isGood);
}

void BatchPane::showRunning(bool isRunning) {
    for (QWidget* const widget : std::initializer_list<QWidget*>{outputEdit, jobs, pixelType, startButton})
        widget->setEnabled(!isRunning);
    cancelButton->setEnabled(isRunning);
    if (!isRunning && progress->maximum() == 0)
        progress->setRange(0, 1);
}

} // namespace ombrel::workbench
