#include "standalone/FramePicture.h"

#include "host/DataType.h"
#include "standalone/Error.h"
#include "standalone/FrameFile.h"
#include "standalone/PreviewImage.h"

#include <QPainter>
#include <QString>

#include <span>

namespace ombrel {

namespace {

constexpr int gap = 4;

QImage pictureOf(const std::string& path, const std::optional<Region>& wanted) {
    const auto file = FrameFile::open(path, FrameRole::Sample);
    const FrameFileInfo& info = file->info();
    const Region part = wanted.value_or(Region{0, 0, info.width, info.height});
    if (zt::u64{part.x} + part.width > info.width || zt::u64{part.y} + part.height > info.height)
        throw Error(path + ": the region reaches beyond the frames of " + std::to_string(info.width) + " x " +
                    std::to_string(info.height));
    const FramePtr frame = file->readFrame(0);
    frame->convertToType(zt::DT_DOUBLE);
    const auto all = frame->pixels<double>();
    std::vector<double> pixels;
    for (zt::u32 y = part.y; y < part.y + part.height; ++y) {
        const auto row = all.subspan(std::size_t{y} * info.width + part.x, part.width);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
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
    if (!row.save(QString::fromStdString(picturePath), "PNG"))
        throw Error(picturePath + ": can't write the picture");
}

} // namespace ombrel
