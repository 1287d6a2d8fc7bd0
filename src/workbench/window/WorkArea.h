#pragma once

#include "model/Workspace.h"
#include "panes/FrameView.h"

#include <QSplitter>

namespace ombrel::workbench {

class CurvePlot;
class FrameBar;
class FramePanes;

// The area for looking at frames: the panes, the frame bar, and the curves below.
class WorkArea final : public QSplitter {
    Q_OBJECT
public:
    explicit WorkArea(Workspace& model, QWidget* parent = nullptr);

    // Takes over the pictures of the frame.
    void show(const ShownFramePtr& frame);
    using QWidget::show;
    void showWholeFrame();
    FramePanes& framePanes() { return *panes; }
    FrameBar& frameBar() { return *bar; }

private:
    QWidget* makeTop();
    QWidget* makeCurves();
    // No frame of the stack is shown yet.
    void showStack();
    void showProfile();

    Workspace& workspace;
    FramePanes* panes;
    FrameBar* bar;
    CurvePlot* histogram;
    CurvePlot* profile;
    ShownFramePtr latest;
};

} // namespace ombrel::workbench
