#include "panes/StatisticsPane.h"

#include "panes/Look.h"

#include <QGridLayout>
#include <QLabel>

#include <cmath>

namespace ombrel::workbench {

namespace {

QString number(double value) {
    return std::isfinite(value) ? QString::number(value, 'g', 5) : QString("\u2013");
}

QString percent(double part) {
    return std::isfinite(part) ? QString::number(100 * part, 'f', 2) + " %" : QString("\u2013");
}

QLabel* columnHead(const QString& text, const QColor& colour) {
    auto* const label = newChild<QLabel>(text);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    return label;
}

} // namespace

Uniformity uniformityOf(const Image& image, const QRect& region) {
    const QRect inside = region & QRect(0, 0, static_cast<int>(image.width), static_cast<int>(image.height));
    std::vector<double> pixels;
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x)
            pixels.push_back(image.at(x, y));
    return ombrel::uniformityOf(std::move(pixels));
}

StatisticsPane::StatisticsPane(QWidget* parent)
    : QWidget(parent), grid(newChild<QGridLayout>(this)), choice(newChild<QLabel>()),
      time(newChild<QLabel>()) {
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setVerticalSpacing(1);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);
    grid->addWidget(columnHead("Raw", rawColour), 0, 1, Qt::AlignRight);
    grid->addWidget(columnHead("Corrected", correctedColour), 0, 2, Qt::AlignRight);
    addRow("Mean", "Of the whole frame");
    addRow("Spread", "Standard deviation over mean, of the whole frame");
    addRow("Region: mean", "Of the region that is drawn with Shift and the mouse");
    addRow("Region: spread", "Standard deviation over mean, in the region");
    addRow("Photon statistics", "Spread expected from photon noise alone, at the raw mean: 1 / \u221amean");
    addRow("Zero pixels", "Of value 0");
    addRow("Not finite", "NaN or infinite");
    choice->setObjectName("lbChoice");
    time->setObjectName("lbTime");
    choice->setWordWrap(true);
    const int row = grid->rowCount();
    grid->addWidget(newChild<QLabel>("Grid point"), row, 0);
    grid->addWidget(choice, row, 1, 1, 2, Qt::AlignRight);
    grid->addWidget(newChild<QLabel>("Time"), row + 1, 0);
    grid->addWidget(time, row + 1, 1, 1, 2, Qt::AlignRight);
    grid->setRowStretch(row + 2, 1);
}

void StatisticsPane::addRow(const QString& name, const QString& tip) {
    const int row = grid->rowCount();
    auto* const label = newChild<QLabel>(name);
    label->setToolTip(tip);
    grid->addWidget(label, row, 0);
    for (int pane = 0; pane < 2; ++pane) {
        auto* const value = newChild<QLabel>("\u2013");
        value->setObjectName(QString("%1/%2").arg(name).arg(pane));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(value, row, 1 + pane, Qt::AlignRight);
        values[static_cast<std::size_t>(row - 1)][static_cast<std::size_t>(pane)] = value;
    }
}

void StatisticsPane::set(Row row, std::size_t pane, const QString& text) {
    values[row][pane]->setText(text);
}

void StatisticsPane::show(const FrameView& view) {
    for (std::size_t pane = 0; pane < 2; ++pane) {
        images[pane] = view.panes[pane].image;
        showPane(pane, view.panes[pane]);
    }
    choice->setText("\u2013");
    if (const auto& chosen = view.choice)
        choice->setText(QString("V %1  T %2  E %3%4")
                            .arg(number(chosen->best.v), number(chosen->best.t), number(chosen->best.e),
                                 chosen->ambiguous ? " (ambiguous)" : ""));
    if (view.isComplete)
        time->setText(images[1] ? QString("%1 ms").arg(1000 * view.seconds, 0, 'f', 1) : QString("\u2013"));
    showRegion();
}

void StatisticsPane::showPane(std::size_t index, const PaneView& pane) {
    const FrameStatistics& figures = pane.figures;
    const bool isThere = pane.image != nullptr;
    const QString none = "\u2013";
    set(MEAN, index, isThere ? number(figures.mean) : none);
    set(SPREAD, index, isThere ? percent(figures.spread) : none);
    set(ZERO, index, isThere ? QString::number(figures.zeroPixels) : none);
    set(NOT_FINITE, index, isThere ? QString::number(figures.notFinite) : none);
}

void StatisticsPane::setRegion(const QRect& drawn) {
    region = drawn;
    showRegion();
}

void StatisticsPane::showRegion() {
    for (std::size_t pane = 0; pane < 2; ++pane) {
        const bool isThere = images[pane] && !region.isEmpty();
        const Uniformity figures = isThere ? uniformityOf(*images[pane], region) : Uniformity{NAN, NAN};
        set(REGION_MEAN, pane, number(figures.mean));
        set(REGION_SPREAD, pane, percent(figures.spread));
        // Photon statistics apply to counts only, not to corrected values.
        set(PHOTONS, pane, pane == 0 && figures.mean > 0 ? percent(1 / std::sqrt(figures.mean)) : QString());
    }
}

} // namespace ombrel::workbench
