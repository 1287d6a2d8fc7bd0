// The window while a filter works: whether it answers, which frames it shows, and what users do meanwhile.
// The sanitizers see what is lost.
#include "batch/BatchPane.h"
#include "fixtures/ModalUser.h"
#include "workbench/WorkbenchFixture.h"
#include "worker/FrameWorker.h"

#include <QMessageBox>
#include <QSlider>
#include <QTableWidget>
#include <QTimer>

#include <fcntl.h>
#include <latch>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace ombrel::workbench;

namespace {

// A file whose reader waits until it is released: a filter that takes it for a mask stays in the middle of
// its work for as long as a test wants.
class HeldFile {
public:
    explicit HeldFile(std::string file) : path(std::move(file)) { ::mkfifo(path.c_str(), 0600); }
    ~HeldFile() { release(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    // Whether somebody waits.
    bool isRead() {
        if (writer < 0)
            writer = ::open(path.c_str(), O_WRONLY | O_NONBLOCK);
        return writer >= 0;
    }
    void release() {
        const int both = ::open(path.c_str(), O_RDWR); // wakes whoever comes between
        std::filesystem::remove(path);                 // nobody waits from now on
        ::close(both);
        ::close(std::exchange(writer, -1));
    }

private:
    std::string path;
    int writer = -1;
};

class AtWork : public WorkbenchTest {
protected:
    void openFrames() {
        ASSERT_TRUE(openWith(writeFrames(4), "AdaptiveFF", writeAdaptive(side, 3))) << logText();
        adaptive = model().chosenLink();
    }
    // The worker is in the middle of something when this returns, and stays there until the mask is released.
    void moveOn() {
        model().setParam(adaptive, "QFCustomMaskFile", folder / "mask.bin");
        key(Qt::Key_Right);
        ASSERT_TRUE(waitFor([&] { return mask.isRead() && isAtWork(); }));
    }
    void goOn() {
        model().takeBackParam(adaptive, "QFCustomMaskFile");
        mask.release();
    }
    // Which waits for the worker; both may come first.
    void endWindow() {
        const std::jthread releaser([&] { mask.release(); });
        window.reset();
    }
    bool isAtWork() const { return !child<QWidget>(*window, "lbBusy").isHidden(); }

    HeldFile mask{folder / "mask.bin"};
    int adaptive = 0;
    const std::size_t framesBefore = ombrel::Frame::aliveCount();
};

TEST_F(AtWork, TheWindowIsClosed) {
    openFrames();
    moveOn();
    window->close();
    EXPECT_TRUE(isAtWork());
    endWindow();
    EXPECT_EQ(ombrel::Frame::aliveCount(), framesBefore);
}

TEST_F(AtWork, ALinkIsRemovedWithItsWindowOpen) {
    openFrames();
    model().addLink("Beam-hardening", folder / "bh.xml");
    model().setEnabled(model().chosenLink(), false);
    openThicknessWindow();
    click(*thicknessWindow(), "btAddMeas");
    ASSERT_TRUE(waitFor([&] { return model().chain().links[1].unsaved != nullptr; })) << "a snapshot";
    moveOn();
    click(*window, "btRemove");
    EXPECT_TRUE(isAtWork());
    EXPECT_EQ(thicknessWindow(), nullptr);
    goOn();
    EXPECT_TRUE(waitFor([&] { return lastFrame == 1 && image(CORRECTED_PANE); }));
    EXPECT_EQ(model().chain().links.size(), 1U);
    EXPECT_TRUE(std::filesystem::exists(folder / "bh.xml")) << "closing it saved what was set";
}

TEST_F(AtWork, OtherSettingsAreLoaded) {
    openFrames();
    std::filesystem::copy(folder / "adaptive.xml", folder / "other.xml");
    std::filesystem::copy(folder / "adaptive.bin", folder / "other.bin");
    moveOn();
    model().setParam(adaptive, "QFTileSize", "4");
    ModalUser user;
    user.meets<QFileDialog>(choosing(folder / "other.xml"));
    click(*window, "btLoad");
    EXPECT_TRUE(model().chain().links[0].params.empty()) << "edits were of the former settings";
    mask.release();
    EXPECT_TRUE(waitFor([&] { return lastFrame == 1 && image(CORRECTED_PANE); })) << logText();
    EXPECT_EQ(model().chain().links[0].settings, folder / "other.xml");
}

TEST_F(AtWork, AnotherStackIsOpened) {
    const std::string other = writeFrames(3, "other.h5");
    openFrames();
    moveOn();
    window->open({other});
    EXPECT_TRUE(isAtWork());
    bool isCleared = false;
    QObject::connect(&model(), &Workspace::factsChanged, window.get(),
                     [&] { isCleared = !image(CORRECTED_PANE); });
    goOn();
    ASSERT_TRUE(waitFor([&] { return model().facts().frames == 3; }));
    EXPECT_TRUE(isCleared) << "of what the former stack showed";
    ASSERT_TRUE(waitForCorrected());
    EXPECT_EQ(image(RAW_PANE)->at(0, 0), 1);
}

TEST_F(AtWork, ClosingDuringABatchIsAskedFor) {
    openFrames();
    moveOn();
    auto& batch = *window->findChild<BatchPane*>();
    std::filesystem::create_directory(folder / "out");
    batch.proposeOutput(QString::fromStdString(folder / "out/out.h5"));
    click(*window, "btRun");
    ASSERT_TRUE(batch.isRunning());
    {
        ModalUser user;
        user.meets<QMessageBox>([](QMessageBox& box) { cancel(box); });
        window->close();
    }
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(batch.isRunning());
    ModalUser user;
    user.meets<QMessageBox>(
        [](QMessageBox& box) { QTest::mouseClick(box.button(QMessageBox::Yes), Qt::LeftButton); });
    window->close();
    EXPECT_FALSE(window->isVisible());
    endWindow();
    EXPECT_EQ(ombrel::Frame::aliveCount(), framesBefore);
}

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
