#include "panes/Look.h"

#include "frame/FrameFile.h"

#include <qcustomplot.h>

#include <array>
#include <span>

namespace ombrel::workbench {

void fitToPalette(QCustomPlot& plot) {
    const QPalette& palette = plot.palette();
    const QColor text = palette.color(QPalette::WindowText);
    QColor line = text;
    line.setAlpha(90);
    QColor grid = text;
    grid.setAlpha(28);
    QFont font = plot.font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    plot.setBackground(palette.color(QPalette::Window));
    for (QCPAxis* const axis : plot.axisRect()->axes()) {
        axis->setBasePen(QPen(line));
        axis->setTickPen(QPen(line));
        axis->setSubTickPen(QPen(Qt::NoPen));
        axis->setTickLabelColor(text);
        axis->setLabelColor(text);
        axis->setTickLabelFont(font);
        axis->setLabelFont(font);
        axis->setTickLengthIn(0);
        axis->setTickLengthOut(3);
        axis->grid()->setPen(QPen(grid));
        axis->grid()->setZeroLinePen(QPen(line));
    }
}

namespace {

// Samples at equal distances of the perceptually uniform maps "viridis" and "inferno" by S. van der Walt and
// N. Smith; they also work in greyscale.
constexpr std::array<QRgb, 11> viridis{0x440154, 0x482475, 0x414487, 0x355f8d, 0x2a788e, 0x21918c,
                                       0x22a884, 0x44bf70, 0x7ad151, 0xbddf26, 0xfde725};
constexpr std::array<QRgb, 11> inferno{0x000004, 0x160b39, 0x420a68, 0x6a176e, 0x932667, 0xbc3754,
                                       0xdd513a, 0xf37819, 0xfca50a, 0xf6d746, 0xfcffa4};
constexpr std::array<QRgb, 2> grey{0x000000, 0xffffff};
constexpr std::array<QRgb, 5> blueToRed{0x2166ac, 0x92c5de, 0xf7f7f7, 0xf4a582, 0xb2182b};

QCPColorGradient gradientOf(std::span<const QRgb> colours) {
    QCPColorGradient gradient;
    gradient.clearColorStops();
    for (std::size_t i = 0; i < colours.size(); ++i)
        gradient.setColorStopAt(static_cast<double>(i) / static_cast<double>(colours.size() - 1),
                                QColor(colours[i]));
    gradient.setNanHandling(QCPColorGradient::nhTransparent);
    return gradient;
}

} // namespace

QString frameFileFilter() {
    return QString::fromStdString("Frames (" + FrameFile::namePatterns() + ");;All files (*)");
}

QStringList colourMapNames() {
    return {"Gre&y", "Viri&dis", "&Inferno"};
}

QCPColorGradient colourMap(const QString& name) {
    if (name == "Viridis")
        return gradientOf(viridis);
    if (name == "Inferno")
        return gradientOf(inferno);
    return gradientOf(grey);
}

QCPColorGradient differenceColours() {
    return gradientOf(blueToRed);
}

} // namespace ombrel::workbench
