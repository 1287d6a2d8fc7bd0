#include "frame/FramePicture.h"

#include "frame/PreviewImage.h"

#include <QPainter>

#include <algorithm>

namespace ombrel {

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

} // namespace ombrel
