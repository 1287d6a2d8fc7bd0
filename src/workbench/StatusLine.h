#pragma once

#include "workbench/DeviceState.h"
#include "workbench/FrameView.h"

#include <QStatusBar>
#include <QTimer>

class QLabel;

namespace ombrel::workbench {

// The line at the foot of the window: values under the cursor, whether the worker is at work, what is open.
class StatusLine final : public QStatusBar {
    Q_OBJECT
public:
    explicit StatusLine(QWidget* parent = nullptr);

    void setValues(const QString& values);
    void setBusy(bool isBusy);
    // Nothing is open when `facts` has no frames.
    void setStack(const StackFacts& facts, const DeviceState& device);
    // For a while.
    void tell(const QString& message);

private:
    QLabel* valueLabel;
    QLabel* busyLabel;
    QLabel* stackLabel;
    QTimer busySoon; // so that quick frames do not flicker
};

} // namespace ombrel::workbench
