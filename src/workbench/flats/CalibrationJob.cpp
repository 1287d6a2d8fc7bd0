#include "flats/CalibrationJob.h"

#include "frame/FrameFile.h"
#include "frame/PreviewImage.h"

#include <QtConcurrent>

#include <exception>
#include <utility>

namespace ombrel::workbench {

CalibrationJob::~CalibrationJob() {
    task.waitForFinished();
}

template <typename Work>
void CalibrationJob::start(Work work) {
    if (running)
        return;
    task.waitForFinished(); // the end of its last signal
    running = true;
    task = QtConcurrent::run([this, work = std::move(work)] {
        QString reason;
        try {
            work();
        } catch (const std::exception& error) {
            reason = error.what();
        }
        running = false;
        if (!reason.isEmpty())
            emit failed(reason);
        emit idle();
    });
}

void CalibrationJob::calibrate(const FlatFieldOptions& options) {
    start([this, options] {
        FlatFieldOptions all = options;
        all.inspection.finished = [this](const std::vector<InspectionReport>& reports) {
            emit inspected(reports);
        };
        calibrateFlatField(all, console);
        emit calibrated(QString::fromStdString(all.output));
    });
}

void CalibrationJob::readFlat(const FieldPlace& place, bool isDark) {
    start([this, place, isDark] {
        const auto file = FrameFile::open(place.file, isDark ? FrameRole::Dark : FrameRole::Flat);
        const FramePtr frame = file->readFrame(place.frame);
        const auto pixels = doublesOf(*frame);
        emit flatRead(greyImage(pixels, frame->width(), robustLimits(pixels)));
    });
}

} // namespace ombrel::workbench
