#include "window/StatusLine.h"

#include "base/Numbers.h"
#include "panes/Look.h"

#include <QFileInfo>
#include <QLabel>
#include <QTextBlock>
#include <QTextCursor>
#include <QTime>

namespace ombrel::workbench {

namespace {

constexpr int mostLines = 5000;

} // namespace

LogPane::LogPane(QWidget* parent) : QPlainTextEdit(parent) {
    setObjectName("teLog");
    setReadOnly(true);
    setMaximumBlockCount(mostLines);
    setPlaceholderText("Messages of the filters appear here.");
}

void LogPane::add(const QString& line) {
    if (line == last && !document()->isEmpty()) {
        ++repeats;
        QTextCursor cursor(document()->lastBlock());
        cursor.select(QTextCursor::BlockUnderCursor);
        cursor.removeSelectedText();
    } else {
        repeats = 1;
        last = line;
    }
    const QString times = repeats > 1 ? QString(" (%1 times)").arg(repeats) : QString();
    appendPlainText(QTime::currentTime().toString("hh:mm:ss  ") + line + times);
}

namespace {

constexpr int busyMilliseconds = 100;
constexpr int messageMilliseconds = 10'000;

QString textOf(const StackFacts& facts, const DeviceState& device) {
    QString text = QString("%1, %2 \u00d7 %3, %4")
                       .arg(QString::fromStdString(countText(facts.frames, "frame")))
                       .arg(facts.width)
                       .arg(facts.height)
                       .arg(QString::fromStdString(facts.pixelType));
    if (!device.mask.empty())
        text += ", mask " + QFileInfo(QString::fromStdString(device.mask)).fileName();
    if (device.acqTime)
        text += QString(", %1 s each").arg(*device.acqTime);
    return text;
}

} // namespace

StatusLine::StatusLine(const Workspace& model, QWidget* parent)
    : QStatusBar(parent), workspace(model), valueLabel(newChild<QLabel>()),
      busyLabel(newChild<QLabel>("Working \u2026")), stackLabel(newChild<QLabel>()) {
    valueLabel->setObjectName("lbValue");
    valueLabel->setContentsMargins(6, 0, 0, 0);
    busyLabel->setObjectName("lbBusy");
    addWidget(valueLabel, 1);
    addPermanentWidget(busyLabel);
    addPermanentWidget(stackLabel);
    busyLabel->hide();
    busySoon.setSingleShot(true);
    busySoon.setInterval(busyMilliseconds);
    connect(&busySoon, &QTimer::timeout, busyLabel, &QWidget::show);
    connect(&workspace, &Workspace::factsChanged, this, &StatusLine::showStack);
    connect(&workspace, &Workspace::deviceChanged, this, &StatusLine::showStack);
}

void StatusLine::setValues(const QString& values) {
    valueLabel->setText(values);
}

void StatusLine::setBusy(bool isBusy) {
    if (isBusy) {
        busySoon.start();
        return;
    }
    busySoon.stop();
    busyLabel->hide();
}

void StatusLine::showStack() {
    stackLabel->setText(workspace.isOpen() ? textOf(workspace.facts(), workspace.device()) : QString());
}

void StatusLine::tell(const QString& message) {
    showMessage(message, messageMilliseconds);
}

} // namespace ombrel::workbench
