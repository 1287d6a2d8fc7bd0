#include "frame/PreviewImage.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/Numbers.h"

#include <QBuffer>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

namespace ombrel {

namespace {

constexpr double lowQuantile = 0.005;
constexpr double highQuantile = 0.995;
constexpr QRgb notFiniteColour = qRgb(255, 0, 255);
constexpr int pictureGap = 8;
constexpr int wantedSide = 400;

double quantile(std::vector<double>& values, double part) {
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

QRgb greyOf(double pixel, const ScaleLimits& limits) {
    if (!std::isfinite(pixel))
        return notFiniteColour;
    // Halved, since the difference of two finite limits may itself overflow.
    const double part = (pixel / 2 - limits.low / 2) / (limits.high / 2 - limits.low / 2);
    const int grey = static_cast<int>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
    return qRgb(grey, grey, grey);
}

} // namespace

ScaleLimits robustLimits(std::span<const double> pixels) {
    std::vector<double> finite;
    std::ranges::copy_if(pixels, std::back_inserter(finite),
                         [](double pixel) { return std::isfinite(pixel); });
    if (finite.empty())
        return {};
    const ScaleLimits limits{quantile(finite, lowQuantile), quantile(finite, highQuantile)};
    if (limits.low < limits.high)
        return limits;
    return {limits.low - std::max(1.0, std::abs(limits.low)),
            limits.low + std::max(1.0, std::abs(limits.low))};
}

QImage greyImage(std::span<const double> pixels, zt::u32 width, const ScaleLimits& limits) {
    if (width == 0)
        return {};
    QImage image(static_cast<int>(width), static_cast<int>(pixels.size() / width), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const std::span row = pixels.subspan(static_cast<std::size_t>(y) * width, width);
        std::ranges::transform(row, line, [&](double pixel) { return greyOf(pixel, limits); });
    }
    return image;
}

QImage sideBySide(const QImage& left, const QImage& right) {
    const int side = std::max({left.width(), left.height(), 1});
    const int factor = std::max(1, (wantedSide + side - 1) / side);
    QImage both(factor * (left.width() + right.width()) + pictureGap,
                factor * std::max(left.height(), right.height()), QImage::Format_RGB32);
    both.fill(Qt::white);
    QPainter painter(&both);
    painter.drawImage(0, 0, left.scaled(factor * left.size()));
    painter.drawImage(factor * left.width() + pictureGap, 0, right.scaled(factor * right.size()));
    return both;
}

void writePng(const QImage& picture, const std::string& path) {
    QBuffer png;
    png.open(QIODevice::WriteOnly);
    if (!picture.save(&png, "PNG"))
        throw Error(path + ": a picture of " + std::to_string(picture.width()) + " x " +
                    std::to_string(picture.height()) + " pixels can't be made; choose a smaller region");
    replaceFile(path, {png.data().constData(), static_cast<std::size_t>(png.size())});
}

namespace {

constexpr int gap = 4;

QImage pictureOf(const std::string& path, const std::optional<Region>& wanted) {
    const auto file = FrameFile::open(path, FrameRole::Sample);
    const FrameFileInfo& info = file->info();
    const Region part = wanted.value_or(Region{0, 0, info.width, info.height});
    checkRegion(part, info);
    const auto pixels = pixelsOf(*file->readFrame(0), part);
    return greyImage(pixels, part.width, robustLimits(pixels));
}

} // namespace

void writeFramePicture(const std::string& picturePath, const std::vector<std::string>& files,
                       const std::optional<Region>& region) {
    std::vector<QImage> pictures;
    int width = -gap;
    int height = 0;
    for (const std::string& file : files) {
        pictures.push_back(pictureOf(file, region));
        width += pictures.back().width() + gap;
        height = std::max(height, pictures.back().height());
    }
    QImage row(width, height, QImage::Format_RGB32);
    row.fill(Qt::white);
    QPainter painter(&row);
    int x = 0;
    for (const QImage& picture : pictures) {
        painter.drawImage(x, 0, picture);
        x += picture.width() + gap;
    }
    painter.end();
    writePng(row, picturePath);
}

namespace {

constexpr std::string_view prefix = "frame-";
constexpr std::string_view suffix = ".png";

std::string nameOf(zt::u64 frame) {
    char name[40];
    std::snprintf(name, sizeof name, "frame-%06llu.png", static_cast<unsigned long long>(frame));
    return name;
}

// The frame number in the name of a preview.
std::optional<zt::u64> frameOf(const std::string& name) {
    if (!name.starts_with(prefix) || !name.ends_with(suffix))
        return std::nullopt;
    const auto number = name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    const auto frame = readNumber<zt::u64>(number);
    return frame && nameOf(*frame) == name ? frame : std::nullopt;
}

} // namespace

bool PreviewFolder::isPreviewName(const std::string& name) {
    return frameOf(name).has_value();
}

void PreviewFolder::checkFree(const std::string& folder, const FrameRange& range) {
    std::error_code missing;
    for (const auto& file : std::filesystem::directory_iterator(folder, missing))
        if (const auto frame = frameOf(file.path().filename().string());
            frame && *frame >= range.begin && *frame < range.end)
            throw Error(file.path().string() + ": exists; give --force to replace previews");
}

PreviewFolder::PreviewFolder(const std::string& folderPath) : folder(folderPath) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure)
        throw Error(folderPath + ": can't make the folder for previews: " + failure.message());
}

void PreviewFolder::write(zt::u64 frame, std::span<const double> raw, std::span<const double> corrected,
                          zt::u32 width) const {
    const QImage picture = sideBySide(greyImage(raw, width, robustLimits(raw)),
                                      greyImage(corrected, width, robustLimits(corrected)));
    writePng(picture, (folder / nameOf(frame)).string());
}

} // namespace ombrel
