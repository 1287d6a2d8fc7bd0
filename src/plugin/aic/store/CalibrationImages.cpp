#include "store/CalibrationImages.h"

int c_CalibrationImages::Init(std::ofstream& logStream) {
    Log = &logStream;
    return 0;
}

int c_CalibrationImages::GetVectorType(VectorsType* type) const {
    *type = VectorType;
    return 0;
}

int c_CalibrationImages::GetSensorElementSize(int* size) const {
    *size = SensorElementSize;
    return 0;
}

int c_CalibrationImages::GetImagesNumber(int* number) const {
    *number = static_cast<int>(Images.size());
    return 0;
}

int c_CalibrationImages::GetImagesSize(int* cols, int* rows) const {
    *cols = Images.empty() ? 0 : Images.front().Image.cols();
    *rows = Images.empty() ? 0 : Images.front().Image.rows();
    return 0;
}

int c_CalibrationImages::CompensateMaskExists(bool* exists) const {
    *exists = CompensateMaskFlag != 0;
    return 0;
}

int c_CalibrationImages::GetCompensateMask(AICImage* mask) const {
    CompensateMask.copyTo(mask);
    return 0;
}

bool c_CalibrationImages::hasImage(const ImageContainer& point) const {
    const bool anySize = imageCols == 0;
    return !point.Image.empty() &&
           (anySize || (point.Image.cols() == imageCols && point.Image.rows() == imageRows));
}

void c_CalibrationImages::writeLog(std::string_view text) const {
    if (Log != nullptr && Log->is_open())
        *Log << text << '\n' << std::flush;
}

int c_CalibrationImages::fail(std::string_view text) const {
    writeLog(text);
    return -1;
}
