#include "window/WindowDocks.h"

#include "panes/Look.h"

#include <QAction>
#include <QDockWidget>
#include <QMainWindow>
#include <QScrollArea>
#include <QScrollBar>

namespace ombrel::workbench {

namespace {

constexpr int leastScrolled = 40; // pixels of height

class Scroller final : public QScrollArea {
public:
    explicit Scroller(QWidget* content) {
        setFrameShape(NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setWidgetResizable(true);
        setWidget(content);
    }

private:
    QSize minimumSizeHint() const override {
        const int bar = verticalScrollBar()->sizeHint().width();
        return {widget()->minimumSizeHint().width() + bar, leastScrolled};
    }
};

} // namespace

QWidget* newScroller(QWidget* content) {
    return newChild<Scroller>(content);
}

WindowDocks::WindowDocks(QMainWindow& owner, const Contents& contents) : window(owner) {
    window.setDockNestingEnabled(true);
    window.setCorner(Qt::BottomLeftCorner, Qt::LeftDockWidgetArea);
    add("dockChain", "&Chain", contents.chain, Qt::LeftDockWidgetArea);
    add("dockParameters", "&Parameters", contents.parameters, Qt::LeftDockWidgetArea);
    add("dockFigures", "Fi&gures", newScroller(contents.figures), Qt::LeftDockWidgetArea);
    add("dockBatch", "&Batch run", newScroller(contents.batch), Qt::BottomDockWidgetArea);
    add("dockLog", "L&og", contents.log, Qt::BottomDockWidgetArea);
    add("dockFlats", "&Flat fields", contents.flats, Qt::BottomDockWidgetArea);
    window.tabifyDockWidget(docks[LOG], docks[BATCH]);
    window.tabifyDockWidget(docks[BATCH], docks[FLATS]);
}

void WindowDocks::add(const char* name, const char* title, QWidget* content, Qt::DockWidgetArea area) {
    auto* const dock = newChild<QDockWidget>(QString(title).remove('&'));
    dock->toggleViewAction()->setText(title);
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

void WindowDocks::raiseFlats() {
    docks[FLATS]->show();
    docks[FLATS]->raise();
}

void WindowDocks::layOut(const QByteArray& saved) {
    if (window.restoreState(saved))
        return;
    window.resizeDocks({docks[CHAIN], docks[PARAMETERS], docks[FIGURES]}, {170, 380, 240}, Qt::Vertical);
    window.resizeDocks({docks[CHAIN]}, {320}, Qt::Horizontal);
    window.resizeDocks({docks[LOG]}, {140}, Qt::Vertical);
    docks[LOG]->raise();
}

} // namespace ombrel::workbench
