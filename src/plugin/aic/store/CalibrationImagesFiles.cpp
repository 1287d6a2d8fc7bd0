#include "store/BinaryInput.h"
#include "store/CalibrationImages.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace {

// A stream of unknown length counts as ended.
std::int64_t bytesLeft(std::istream& file) {
    const auto here = file.tellg();
    file.seekg(0, std::ios::end);
    const auto end = file.tellg();
    file.seekg(here);
    return here < 0 || end < 0 ? 0 : static_cast<std::int64_t>(end - here);
}

// Up to this size a block is accepted even if the file ends before its pixels do: 1 GiB, far above any
// detector.
constexpr std::int64_t believedPixels = std::int64_t{1} << 28;

bool canHold(std::istream& file, std::int64_t pixels) {
    return pixels <= believedPixels || (pixels <= std::numeric_limits<int>::max() &&
                                        bytesLeft(file) >= pixels * static_cast<std::int64_t>(sizeof(float)));
}

// Reads numbers up to the first text that can't be read as a number.
void appendNumbers(const std::string& line, AICImage& image) {
    std::istringstream numbers(line);
    numbers.imbue(std::locale::classic());
    for (float value; numbers >> value;)
        image.push_back(value);
}

std::string withName(std::string_view text, std::string_view fileName) {
    return std::string(text).append(" (").append(fileName).append(")");
}

} // namespace

int c_CalibrationImages::ReadImage(std::ifstream& file, AICImage* image) {
    std::int32_t cols = 0;
    std::int32_t rows = 0;
    if (!readValue(file, cols) || !readValue(file, rows))
        cols = rows = 0;
    const std::int64_t pixels = std::int64_t{cols} * rows;
    if (pixels < 0)
        throw std::length_error("calibration file or mask holds an image of negative size");
    image->resize(0, 0);
    if (!canHold(file, pixels))
        return fail("c_CalibrationImages::ReadImage image reading error");
    image->resize(cols, rows);
    if (image->empty())
        return fail("c_CalibrationImages::ReadImage image reading error");
    const std::size_t bytesRead = readValues(file, image->pixels());
    const auto bytes = std::as_writable_bytes(image->pixels());
    std::ranges::fill(bytes.subspan(bytesRead), std::byte{0});
    return 0;
}

int c_CalibrationImages::ReadImage(const char* fileName, AICImage* image) {
    const std::string_view name = fileName;
    if (name.empty())
        return fail(withName("c_CalibrationImages::ReadImage image file name not passed", name));
    std::ifstream file(fileName, std::ios::binary);
    if (!file)
        return fail(withName("c_CalibrationImages::ReadImage error opening file", name));
    const int status = ReadImage(file, image);
    if (status != 0)
        writeLog(withName("c_CalibrationImages::ReadImage error reading file", name));
    return status;
}

int c_CalibrationImages::ReadImageTxt(const char* fileName, AICImage* image) {
    const std::string_view name = fileName;
    if (name.empty())
        return fail(withName("c_CalibrationImages::ReadImageTxt image file name not passed", name));
    std::ifstream file(fileName);
    if (!file)
        return fail(withName("c_CalibrationImages::ReadImageTxt image file opening error", name));
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines)
        appendNumbers(line, *image);
    if (image->empty())
        return fail(withName("c_CalibrationImages::ReadImageTxt image reading error", name));
    const std::int64_t count = std::int64_t{image->cols()} * image->rows();
    if (lines == 0 || count / lines < 2 || count % lines != 0)
        return fail(withName("c_CalibrationImages::ReadImageTxt image formating error", name));
    image->reshape_r(lines);
    return 0;
}

int c_CalibrationImages::WriteImage(AICImage image, std::ofstream& file) {
    if (image.empty())
        return fail("c_CalibrationImages::WriteImage image data not passed");
    if (!file.is_open())
        return fail("c_CalibrationImages::WriteImage image file not opened");
    const std::int32_t sides[] = {image.cols(), image.rows()};
    // Pixels that a reshape left outside the shape are not part of the block.
    const auto count = static_cast<std::size_t>(std::int64_t{sides[0]} * sides[1]);
    const auto bytes = std::as_bytes(image.pixels().first(std::min(count, image.pixels().size())));
    file.write(reinterpret_cast<const char*>(sides), sizeof sides);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return 0;
}

int c_CalibrationImages::WriteImageTxt(AICImage image, std::string fileName) {
    if (fileName.empty())
        return fail("c_CalibrationImages::WriteImageTxt image file name not passed");
    if (image.empty())
        return fail("c_CalibrationImages::WriteImageTxt image data not passed");
    std::ofstream file(fileName);
    if (!file)
        return fail("c_CalibrationImages::WriteImageTxt image file opening error");
    file.imbue(std::locale::classic());
    for (int y = 0; y < image.rows(); ++y) {
        for (int x = 0; x < image.cols(); ++x)
            file << image.at(x, y) << (x + 1 < image.cols() ? ' ' : '\n');
        file.flush();
    }
    return 0;
}
