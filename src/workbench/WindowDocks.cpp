#include "workbench/WindowDocks.h"

#include "workbench/NewChild.h"

#include <QDockWidget>
#include <QMainWindow>

namespace ombrel::workbench {

WindowDocks::WindowDocks(QMainWindow& owner, const Contents& contents) : window(owner) {
    window.setDockNestingEnabled(true);
    window.setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    add("dockChain", "Chain", contents.chain, Qt::LeftDockWidgetArea);
    add("dockParameters", "Parameters", contents.parameters, Qt::LeftDockWidgetArea);
    add("dockFigures", "Figures", contents.figures, Qt::LeftDockWidgetArea);
    add("dockBatch", "Batch run", contents.batch, Qt::BottomDockWidgetArea);
    add("dockLog", "Log", contents.log, Qt::BottomDockWidgetArea);
    window.tabifyDockWidget(docks[LOG], docks[BATCH]);
}

void WindowDocks::add(const char* name, const char* title, QWidget* content, Qt::DockWidgetArea area) {
    auto* const dock = newChild<QDockWidget>(title);
    dock->setObjectName(name);
    dock->setWidget(content);
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable |
                      QDockWidget::DockWidgetClosable);
    window.addDockWidget(area, dock);
    docks.push_back(dock);
}

void WindowDocks::setVisible(bool areVisible) {
    for (QDockWidget* const dock : docks)
        dock->setVisible(areVisible);
}

void WindowDocks::raiseBatch() {
    docks[BATCH]->show();
    docks[BATCH]->raise();
}

void WindowDocks::layOut(const QByteArray& saved) {
    if (window.restoreState(saved))
        return;
    window.resizeDocks({docks[CHAIN], docks[PARAMETERS], docks[FIGURES]}, {170, 380, 240}, Qt::Vertical);
    window.resizeDocks({docks[CHAIN]}, {320}, Qt::Horizontal);
    window.resizeDocks({docks[LOG]}, {130}, Qt::Vertical);
    docks[LOG]->raise();
}

} // namespace ombrel::workbench
