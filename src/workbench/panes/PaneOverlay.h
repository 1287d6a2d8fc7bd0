#pragma once

#include "panes/PaneMap.h"

#include <QLineF>
#include <QRect>

#include <array>

class QCPItemLine;
class QCPItemPixmap;
class QCPItemRect;
class QCustomPlot;

namespace ombrel::workbench {

// What is drawn over the picture of a frame: marked pixels, a region and a line. They stand on a picture
// only.
class PaneOverlay {
public:
    // The plot owns what is drawn.
    explicit PaneOverlay(QCustomPlot& shownPlot);

    void setOnPicture(bool isPicture);
    void setMarks(const PaneMap& map);
    // Empty: none.
    void setRegion(const QRect& shown);
    void setLine(const QLineF& shown);

private:
    void draw();

    QCustomPlot& plot;
    QCPItemPixmap* marks;
    std::array<QCPItemRect*, 2> regionItems{}; // the halo and the line
    std::array<QCPItemLine*, 2> lineItems{};
    QRect region;
    QLineF line;
    bool isOnPicture = false;
};

} // namespace ombrel::workbench
