#pragma once

#include "base/Console.h"
#include "calibration/FlatFieldCalibration.h"
#include "inspection/FlatInspection.h"

#include <QFuture>
#include <QImage>
#include <QObject>

#include <atomic>
#include <string>
#include <vector>

namespace ombrel::workbench {

// Makes the settings of Flat-Field from flat fields, and reads single ones of them, on its own thread. One
// task runs at a time; others are ignored meanwhile.
class CalibrationJob final : public QObject {
    Q_OBJECT
public:
    explicit CalibrationJob(Console& messages) : console(messages) {}
    // Waits for the task to end.
    ~CalibrationJob() override;

    void calibrate(const FlatFieldOptions& options);
    void readFlat(const FieldPlace& place, bool isDark);
    bool isRunning() const { return running; }

signals:
    // Emitted on the job's thread.
    void inspected(const std::vector<ombrel::InspectionReport>& reports);
    void calibrated(const QString& output);
    void flatRead(const QImage& picture);
    void failed(const QString& reason);
    // The task has ended, and another one may start.
    void idle();

private:
    template <typename Work>
    void start(Work work);

    Console& console;
    std::atomic<bool> running = false;
    QFuture<void> task;
};

} // namespace ombrel::workbench
