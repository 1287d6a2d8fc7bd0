#include "window/WorkArea.h"

#include "panes/CurvePlot.h"
#include "panes/FrameBar.h"
#include "panes/FramePanes.h"
#include "panes/Look.h"

#include <QVBoxLayout>

#include <cmath>

namespace ombrel::workbench {

namespace {

CurvePlot::Curve curveOf(const Histogram& histogram) {
    CurvePlot::Curve curve;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        curve.x.append(histogram.low + static_cast<double>(i) * histogram.step);
        curve.y.append(histogram.counts[i]);
    }
    return curve;
}

QSize sizeOf(const StackFacts& facts) {
    return {static_cast<int>(facts.width), static_cast<int>(facts.height)};
}

} // namespace

WorkArea::WorkArea(Workspace& model, QWidget* parent)
    : QSplitter(Qt::Vertical, parent), workspace(model), panes(newChild<FramePanes>()),
      bar(newChild<FrameBar>()), histogram(newChild<CurvePlot>(CurvePlot::Kind::Histogram)),
      profile(newChild<CurvePlot>(CurvePlot::Kind::Profile)) {
    addWidget(makeTop());
    addWidget(makeCurves());
    setStretchFactor(0, 5);
    setStretchFactor(1, 2);
    setSizes({500, 230});
    setChildrenCollapsible(false);
    connect(bar, &FrameBar::frameWanted, &workspace, &Workspace::setFrame);
    connect(&workspace, &Workspace::frameChanged, this, [this] { bar->setFrame(workspace.frame()); });
    connect(&workspace, &Workspace::factsChanged, this, &WorkArea::showStack);
    connect(panes, &FramePanes::lineChanged, this, &WorkArea::showProfile);
}

QWidget* WorkArea::makeTop() {
    auto* const top = newChild<QWidget>();
    auto* const column = newChild<QVBoxLayout>(top);
    column->setContentsMargins({});
    column->setSpacing(0);
    column->addWidget(panes, 1);
    column->addWidget(bar);
    return top;
}

QWidget* WorkArea::makeCurves() {
    auto* const curves = newChild<QSplitter>(Qt::Horizontal);
    curves->addWidget(histogram);
    curves->addWidget(profile);
    curves->setSizes({1000, 1000});
    return curves;
}

void WorkArea::show(const ShownFramePtr& frame) {
    latest = frame;
    panes->show(*frame);
    if (!frame->view.isComplete)
        return;
    const auto& views = frame->view.panes;
    histogram->show(curveOf(views[RAW_PANE].histogram), curveOf(views[CORRECTED_PANE].histogram));
    showProfile();
    bar->frameIsShown();
}

void WorkArea::showProfile() {
    if (!latest)
        return;
    const auto& views = latest->view.panes;
    profile->show(profileAlong(panes->line(), views[RAW_PANE].image),
                  profileAlong(panes->line(), views[CORRECTED_PANE].image));
}

void WorkArea::showStack() {
    const StackFacts& facts = workspace.facts();
    bar->setFrames(facts.frames);
    bar->setFrame(workspace.frame());
    if (!workspace.isOpen())
        return;
    latest.reset();
    panes->clear();
    panes->setRegion({});
    // Not along the middle, where detectors of several chips have their seams.
    const double row = std::floor(facts.height * 0.4) + 0.5;
    panes->setLine({0, row, static_cast<double>(facts.width), row});
    showWholeFrame();
}

void WorkArea::showWholeFrame() {
    panes->showWhole(sizeOf(workspace.facts()));
}

} // namespace ombrel::workbench
