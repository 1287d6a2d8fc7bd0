#include "window/LogPane.h"

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
    setPlaceholderText("What the filters log is shown here.");
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

} // namespace ombrel::workbench
