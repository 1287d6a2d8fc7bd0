// Loading and saving the flat-field filter's coefficients in files.
#include "filters/FFFilter.h"
#include "support/BinaryFile.h"
#include "support/Files.h"
#include "support/MatrixFile.h"
#include "zt/DataBuff.h"
#include "zt/FrameHolder.h"
#include "zt/Types.h"

namespace PluginOmbrel {

namespace {

constexpr unsigned long valuesPerLine = 256;

// Finished coefficients are recognised by the last letters of the name; a dot is not required.
bool isPreparedFile(const std::string& path) {
    return path.ends_with("ffc");
}

// Fills a new frame with `read`, which gets its pixels and returns a FileResult.
template <typename Read>
int fill(const zt::FrameHolder& frame, Read read) {
    if (!frame)
        return FILE_TOO_SHORT;
    frame->clear();
    zt::RefDataBuff<double> pixels;
    frame->refData(&pixels, 0.0);
    return read(pixels);
}

} // namespace

int FFFilter::loadCoefficientsFromFile(const char* path, bool asciiFormat) {
    return loadCoefficientsFromFile(std::vector<std::string>{path ? path : ""}, asciiFormat);
}

int FFFilter::loadCoefficientsFromFile(std::vector<std::string> files, bool /*asciiFormat*/) {
    coeffsSourceName = files.size() == 1 ? files.front() : "<Multiple files>";
    setAllCoefficientsToOne();
    FrameSum sum(*host->dataMgr());
    int code = 0;
    for (const std::string& path : files)
        addFile(path, sum, code);
    if (sum.empty())
        return zt::ERR_GENERIC;

    sum.divideByCount();
    takeCoefficients(sum);
    if (isPreparedFile(files.front()))
        return code;
    const int prepared = prepareCoefficients();
    return prepared != 0 ? prepared : code;
}

void FFFilter::addFile(const std::string& path, FrameSum& sum, int& code) {
    if (host->dataMgr()->isFrameFile(path.c_str()))
        addFrameFile(path, sum, code);
    else
        code = isPreparedFile(path) ? addPreparedFile(path, sum) : addAsciiFile(path, sum);
}

void FFFilter::addFrameFile(const std::string& path, FrameSum& sum, int& code) {
    zt::IDataMgr& frames = *host->dataMgr();
    const zt::u32 count = frames.frameCountInFile(path.c_str());
    for (zt::u32 i = 0; i < count; ++i) {
        const zt::FrameHolder frame(frames.loadFrame(path.c_str(), i));
        if (!frame)
            continue;
        if (const int failure = addFrame(*frame.get(), sum))
            code = failure;
    }
}

int FFFilter::addPreparedFile(const std::string& path, FrameSum& sum) {
    constexpr const char* failure = "Could not load FF coefficients binary from file %s";
    const long bytes = fileSize(path.c_str());
    if (bytes < 0)
        return logError<int>(FILE_NOT_OPENED, failure, path.c_str());
    const auto count = static_cast<zt::u32>(static_cast<std::size_t>(bytes) / sizeof(double));
    // The file has no shape. With the device's shape the table can be summed with flat fields.
    const bool isDeviceSize = count == dev->pixelCount();
    const zt::FrameHolder frame(host->dataMgr()->createFrame(
        isDeviceSize ? dev->width() : count, isDeviceSize ? dev->height() : 1, zt::DT_DOUBLE));
    const int result = fill(frame, [&](zt::RefDataBuff<double>& pixels) {
        return readBinary(path.c_str(), pixels.dataByte(), static_cast<zt::u32>(pixels.byteSize()));
    });
    return result != 0 ? logError(result, failure, path.c_str()) : addFrame(*frame.get(), sum);
}

int FFFilter::addAsciiFile(const std::string& path, FrameSum& sum) {
    const zt::FrameHolder frame(host->dataMgr()->createFrame(dev->width(), dev->height(), zt::DT_DOUBLE));
    const int result = fill(frame, [&](zt::RefDataBuff<double>& pixels) {
        return readAsciiMatrix(path.c_str(), ::DT_DOUBLE, pixels.size(), pixels.data());
    });
    if (result != 0)
        return logError(result, "Could not load FF coefficients from ascii file %s", path.c_str());
    return addFrame(*frame.get(), sum);
}

int FFFilter::addFrame(zt::IMpxFrame& frame, FrameSum& sum) {
    const int result = sum.add(frame);
    if (result == zt::ERR_INVALID_INPUT)
        return logError(result, "Frame dimensions do not match");
    if (result != 0)
        return logError(result, "Cannot make a frame for the sum of flat-field coefficients");
    return 0;
}

int FFFilter::saveCoefficientsToFile(const char* path, bool asciiFormat) {
    if (coeffs.empty())
        return logError(0, "Cannot save flat-field coefficients to file %s. No coefficients loaded.", path);
    // The writers only read, but their interface is not const.
    auto* const values = const_cast<double*>(coeffs.values().data());
    const int result = asciiFormat
                           ? writeAsciiMatrix(path, ::DT_DOUBLE, values, coeffs.size(), valuesPerLine, false)
                           : writeBinary(path, reinterpret_cast<unsigned char*>(values),
                                         coeffs.size() * sizeof(double), false);
    if (result != 0)
        return logError(result, "Cannot save flat-field coefficients to file %s. Error %d", path, result);
    return 0;
}

} // namespace PluginOmbrel
