#pragma once

#include "model/Workspace.h"

#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTimer>

class QLabel;

namespace ombrel::workbench {

// What the filters log and what the workbench has to say, the latest last. A line that repeats the one before
// is counted rather than shown again.
class LogPane final : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit LogPane(QWidget* parent = nullptr);

    void add(const QString& line);

private:
    QString last;
    int repeats = 0;
};

// The line at the foot of the window: values under the cursor, whether the worker is at work, what is open.
class StatusLine final : public QStatusBar {
    Q_OBJECT
public:
    explicit StatusLine(const Workspace& model, QWidget* parent = nullptr);

    void setValues(const QString& values);
    void setBusy(bool isBusy);
    // For a while.
    void tell(const QString& message);

private:
    void showStack();

    const Workspace& workspace;
    QLabel* valueLabel;
    QLabel* busyLabel;
    QLabel* stackLabel;
    QTimer busySoon; // so that quick frames do not flicker
};

} // namespace ombrel::workbench
