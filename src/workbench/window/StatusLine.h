#pragma once

#include "model/Workspace.h"

#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTimer>

class QLabel;

namespace ombrel::workbench {

// The log of the filters and of the workbench, latest line last. Repeats of the last line are counted instead
// of appended.
class LogPane final : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit LogPane(QWidget* parent = nullptr);

    void add(const QString& line);

private:
    QString last;
    int repeats = 0;
};

// The status bar of the window: values under the cursor, whether the worker is busy, and the open stack.
class StatusLine final : public QStatusBar {
    Q_OBJECT
public:
    explicit StatusLine(const Workspace& model, QWidget* parent = nullptr);

    void setValues(const QString& values);
    void setBusy(bool isBusy);
    // Shows the text for a while.
    void tell(const QString& message);

private:
    void showStack();

    const Workspace& workspace;
    QLabel* valueLabel;
    QLabel* busyLabel;
    QLabel* stackLabel;
    QTimer busySoon; // delays the busy sign, so that quick frames do not flicker
};

} // namespace ombrel::workbench
