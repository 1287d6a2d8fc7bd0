#include "aic/AIC.h"

#include "aic/AICScratch.h"

#include <algorithm>
#include <cmath>
#include <utility>

c_AIC::c_AIC(const Kernels& kernels) : work(std::make_unique<AICScratch>(kernels)) {}

c_AIC::~c_AIC() = default;

int c_AIC::Init(AICCfg configuration, bool loadCalibration) {
    work->ready = false;
    work->record.clear();
    work->releaseGrid(); // before the new one is loaded: memory may not suffice for both
    CalibrationImages = std::make_unique<c_CalibrationImages>();
    Cfg = std::move(configuration);
    if (const int status = openLog(); status != 0)
        return status;
    BorderMaskEnabled = false;
    CustomMaskEnabled = false;
    BadPixelsMaskEnabled = false;
    QualityValuesEnabled = !Cfg.LogQualityValuesFile.empty();
    KernelSize = static_cast<int>(std::sqrt(static_cast<double>(Cfg.Kernel.size())));
    KernelData = std::make_unique<float[]>(Cfg.Kernel.size());
    std::ranges::copy(Cfg.Kernel, KernelData.get());
    work->highPass = HighPass(Cfg.Kernel);
    if (!loadCalibration) {
        writeLog("c_AIC::Init ci class inicialization reduced by configuration.");
        return CalibrationImages->Init(LogStream);
    }
    const auto interpolation = static_cast<c_CalibrationImages::InterpolationType>(Cfg.Interpolation);
    if (CalibrationImages->Init(Cfg.DataFile, interpolation, LogStream) != 0)
        return fail("c_AIC::Init ci class inicialization error");
    if (const int status = loadMasks(); status != 0)
        return status;
    const bool isCube = CalibrationImages->VectorType != c_CalibrationImages::VectorsGeneric;
    SearchMode = Cfg.Search == 2 ? 2 : Cfg.Search == 1 && isCube ? 1 : 0;
    work->repaired.assign(CalibrationImages->Images.size(), false);
    prepareKernel();
    work->ready = true;
    return 0;
}

int c_AIC::openLog() {
    if (Cfg.LogFile.empty())
        return 0;
    if (LogStream.is_open()) {
        LogStream.setstate(std::ios::failbit);
        return 0;
    }
    LogStream.clear();
    LogStream.open(Cfg.LogFile, std::ios::out | std::ios::trunc);
    constexpr int noLog = -2;
    return LogStream.is_open() ? 0 : noLog;
}

int c_AIC::loadMasks() {
    const char* const failure = "c_AIC::Init custom mask reading error";
    if (!Cfg.CustomMaskFile.empty()) {
        CustomMaskEnabled = true;
        if (CalibrationImages->ReadImage(Cfg.CustomMaskFile.c_str(), &CustomMask) != 0)
            return fail(failure);
    }
    if (Cfg.QfBorderMaskSize > 0) {
        BorderMaskEnabled = true;
        int cols = 0;
        int rows = 0;
        CalibrationImages->GetImagesSize(&cols, &rows);
        BorderMask.ones(cols, rows);
        BorderMask.generate_borders(CalibrationImages->SensorElementSize, Cfg.QfBorderMaskSize, 0);
    }
    if (!Cfg.BadPixelsCustomMaskFile.empty()) {
        BadPixelsMaskEnabled = true;
        work->badPixelsAreBinary = false;
        if (CalibrationImages->ReadImage(Cfg.BadPixelsCustomMaskFile.c_str(), &BadPixelsMask) != 0)
            return fail(failure);
    }
    return 0;
}

void c_AIC::prepareKernel() {
    int cols = 0;
    int rows = 0;
    CalibrationImages->GetImagesSize(&cols, &rows);
    const QualityMasks masks = {CustomMaskEnabled ? &CustomMask : nullptr,
                                BorderMaskEnabled ? &BorderMask : nullptr};
    if (Cfg.QfTileSize < 1 && qualityMasksFit(CalibrationImages->Images.front().Image) &&
        BandScores::serves(cols, rows, work->highPass, masks)) {
        if (!work->bands) {
            work->releaseGrid();
            work->bands.emplace(cols, rows, work->highPass, masks, work->loops);
        }
        return;
    }
    const bool serves = TileSums::serves(cols, rows, Cfg.QfTileSize, work->highPass);
    if (!serves || !qualityMasksFit(CalibrationImages->Images.front().Image)) {
        work->releaseGrid();
        return;
    }
    const TileOrder order(cols, rows, Cfg.QfTileSize);
    if (work->gridSums && work->gridSums->order() == order)
        return;
    work->releaseGrid();
    work->gridSums.emplace(order, work->highPass, masks, work->loops);
    work->grid = OrderedGrid(order, *CalibrationImages, work->loops);
}

bool c_AIC::fitsGrid(const AICImage& frame) const {
    if (!CalibrationImages)
        return false;
    int cols = 0;
    int rows = 0;
    CalibrationImages->GetImagesSize(&cols, &rows);
    return frame.cols() == cols && frame.rows() == rows;
}

bool c_AIC::qualityMasksFit(const AICImage& image) const {
    return (!CustomMaskEnabled || CustomMask.sameShape(image)) &&
           (!BorderMaskEnabled || BorderMask.sameShape(image));
}

bool c_AIC::frameMasksFit(const AICImage& image) const {
    const bool compensates = Cfg.PPEnabled && CalibrationImages->CompensateMaskFlag != 0;
    return qualityMasksFit(image) && (!compensates || CalibrationImages->CompensateMask.sameShape(image)) &&
           (!Cfg.PPEnabled || !BadPixelsMaskEnabled || BadPixelsMask.sameShape(image));
}

bool c_AIC::refuses(const AICImage& frame, bool masksFit, const std::string& operation) {
    const char* const reason = !work->ready                   ? "no calibration loaded"
                               : !work->highPass.complete()   ? "kernel has too few values for its window"
                               : !frame.isWhole()             ? "number of pixels does not match image size"
                               : fitsGrid(frame) && !masksFit ? "mask size does not match image size"
                                                              : nullptr;
    if (reason != nullptr)
        writeLog("c_AIC::" + operation + " " + reason);
    return reason != nullptr;
}

void c_AIC::writeLog(std::string_view line) {
    if (LogStream.is_open())
        LogStream << line << '\n' << std::flush;
}

int c_AIC::fail(std::string_view line) {
    writeLog(line);
    return -1;
}
