// Whether the window answers while a filter works, and which frames are shown meanwhile.
#include "workbench/HeldFile.h"
#include "workbench/WorkbenchFixture.h"
#include "worker/FrameWorker.h"

#include <QSlider>
#include <QTimer>

#include <latch>

using namespace ombrel::workbench;

namespace {

using Response = WorkbenchTest;

TEST_F(Response, TheWindowNeverWaitsForAFilter) {
    ASSERT_TRUE(openWith(writeFrames(9), "AdaptiveFF", writeAdaptive(side, 3))) << logText();
    HeldFile mask(folder / "mask.bin");
    const auto edit = [&](const char* param, const std::string& text) {
        model().setParam(model().chosenLink(), param, text);
    };
    edit("QFCustomMaskFile", folder / "mask.bin");
    ASSERT_TRUE(waitFor([&] { return mask.isRead(); }));
    QApplication::processEvents(); // what was shown before
    framesShown = 0;
    int beats = 0;
    QTimer heart; // fires whenever the window's thread is free
    heart.callOnTimeout([&] { ++beats; });
    heart.start(0);
    for (int step = 1; step <= 5; ++step) {
        key(Qt::Key_Right);
        edit("QFTileSize", std::to_string(3 + step));
        ASSERT_TRUE(waitFor([&] { return beats > 20 * step; }));
    }
    EXPECT_EQ(child<QSlider>(*window, "slFrame").value(), 5);
    EXPECT_EQ(framesShown, 0) << "the filter is still at work";
    mask.release();
    EXPECT_TRUE(waitForFrame());
    EXPECT_EQ(lastFrame, 5);
    EXPECT_LE(framesShown, 2) << "the requests that were replaced are never served";
}

TEST_F(Response, EveryClickOnTheSliderShowsItsFrame) {
    ASSERT_TRUE(open(writeFrames(30)));
    auto& slider = child<QSlider>(*window, "slFrame");
    for (int step = 0; step < 5; ++step) {
        const int at = slider.width() * (step * 7 % 20 + 1) / 22;
        QTest::mouseClick(&slider, Qt::LeftButton, {}, QPoint(at, slider.height() / 2));
        ASSERT_TRUE(waitForFrame());
        EXPECT_EQ(lastFrame, slider.value());
        EXPECT_EQ(image(RAW_PANE)->at(0, 0), 100 * slider.value() + 1);
    }
}

// The worker by itself, to which every chain is slow.
TEST_F(Response, RawFramesFollowTheSliderWhileTheChainIsSlow) {
    FrameRequest request;
    request.inputs = {writeFrames(4)};
    request.opening = 1;
    request.chain.links = {{1, "Binning 2x2", true, "", nullptr, 0, {}}};
    std::vector<std::string> shown; // by the worker's thread, until the last frame
    std::latch end(1);
    FrameWorker worker(OMBREL_PLUGIN, 0);
    const auto ask = [&](zt::u64 frame) {
        request.frame = frame;
        worker.request(request);
    };
    const auto show = [&](const ShownFramePtr& frame) {
        const FrameView& view = frame->view;
        shown.push_back((view.isComplete ? "all of " : "raw ") + std::to_string(view.frame));
        if (view.frame < 3)
            ask(view.frame + 1); // before the slider rests
        else if (view.isComplete)
            end.count_down();
    };
    QObject::connect(&worker, &FrameWorker::shown, &worker, show, Qt::DirectConnection);
    ask(0);
    end.wait();
    EXPECT_THAT(shown, ElementsAre("all of 0", "raw 1", "raw 2", "raw 3", "all of 3"));
}

} // namespace
