// What users do while the worker is at work. The sanitizers see what is lost.
#include "batch/BatchPane.h"
#include "fixtures/ModalUser.h"
#include "workbench/HeldFile.h"
#include "workbench/WorkbenchFixture.h"

#include <QMessageBox>
#include <QTableWidget>

#include <thread>

using namespace ombrel::workbench;

namespace {

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

} // namespace
