#include "batch/BatchProgress.h"

#include "base/Numbers.h"
#include "panes/Look.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

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

BatchProgress::BatchProgress(QWidget* parent)
    : QWidget(parent), progress(newChild<QProgressBar>()), startButton(newChild<QPushButton>("R&un")),
      cancelButton(newChild<QPushButton>("Ca&ncel")), state(newChild<QLabel>()) {
    progress->setObjectName("pbBatch");
    progress->setTextVisible(true);
    startButton->setObjectName("btRun");
    cancelButton->setObjectName("btCancel");
    state->setObjectName("lbBatch");
    state->setTextFormat(Qt::PlainText);
    state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* const row = newChild<QHBoxLayout>();
    row->addWidget(progress, 1);
    row->addWidget(startButton);
    row->addWidget(cancelButton);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins({});
    layout->addLayout(row);
    layout->addWidget(state);
    connect(startButton, &QPushButton::clicked, this, &BatchProgress::startWanted);
    connect(cancelButton, &QPushButton::clicked, this, &BatchProgress::cancelWanted);
    reset();
}

void BatchProgress::reset() {
    progress->setRange(0, 0);
    showRunning(false);
    progress->reset();
    setText("Runs all frames of the stack through the chain as shown.");
}

void BatchProgress::begin(const QString& output) {
    name = output;
    showRunning(true);
    progress->setRange(0, 0); // until the number of frames is known
    setState("Loading the filters \u2026");
    clock.invalidate();
}

void BatchProgress::advance(quint64 done, quint64 of) {
    progress->setRange(0, static_cast<int>(of));
    progress->setValue(static_cast<int>(done));
    if (!clock.isValid()) {
        clock.start();
        first = done;
        setState("Running \u2026");
        return;
    }
    const double rate =
        static_cast<double>(done - first) / std::max(1e-3, 1e-3 * static_cast<double>(clock.elapsed()));
    setState(QString("%1 of %2, %3 frames/s, %4 left")
                 .arg(done)
                 .arg(QString::fromStdString(countText(of, "frame")))
                 .arg(rate, 0, 'f', rate < 10 ? 1 : 0)
                 .arg(timeText(static_cast<double>(of - done) / rate)));
}

void BatchProgress::cancel() {
    setState("Cancelling: finishing the frames in progress \u2026");
}

void BatchProgress::end(const QString& summary) {
    showRunning(false);
    if (progress->maximum() == 0)
        progress->reset();
    setText(clock.isValid()
                ? summary + QString(" (%1)").arg(timeText(1e-3 * static_cast<double>(clock.elapsed())))
                : summary);
}

void BatchProgress::setText(const QString& text) {
    state->setText(text);
}

void BatchProgress::setState(const QString& text) {
    setText(name.isEmpty() ? text : name + ": " + text);
}

void BatchProgress::showRunning(bool isRunning) {
    startButton->setEnabled(!isRunning);
    cancelButton->setEnabled(isRunning);
    if (!isRunning && progress->maximum() == 0)
        progress->setRange(0, 1);
}

} // namespace ombrel::workbench
