// What users do while a frame is being corrected. The sanitizers see what is lost.
#include "fixtures/ModalUser.h"
#include "workbench/BatchPane.h"
#include "workbench/WorkbenchFixture.h"

#include <QMessageBox>
#include <QTableWidget>

#include <filesystem>

using namespace ombrel::workbench;

namespace {

class AtWork : public WorkbenchTest {
protected:
    static constexpr zt::u32 slowSide = 128;

    // Frames that take a while, one of which is being corrected when this returns.
    void openSlowFrames() {
        settings = writeAdaptive(slowSide, 125, 81);
        ASSERT_TRUE(open(writeFrames(40, "slow.h5", slowSide)));
        slowLink = model().addLink("AdaptiveFF", settings);
        ASSERT_TRUE(waitFor([&] { return image(CORRECTED_PANE) != nullptr; })) << logText();
    }
    void moveOn() {
        key(Qt::Key_Right);
        ASSERT_TRUE(waitFor([&] { return isAtWork(); }));
    }
    bool isAtWork() const { return !child<QWidget>(*window, "lbBusy").isHidden(); }

    static QWidget* thicknessWindow() {
        for (QWidget* const each : QApplication::topLevelWidgets())
            if (each->isVisible() && each->windowTitle() == "Beam-hardening Filter Settings")
                return each;
        return nullptr;
    }

    std::string settings;
    int slowLink = 0;
    const std::size_t framesBefore = ombrel::Frame::aliveCount();
};

TEST_F(AtWork, TheWindowIsClosed) {
    openSlowFrames();
    moveOn();
    window->close();
    EXPECT_TRUE(isAtWork());
    window.reset();
    EXPECT_EQ(ombrel::Frame::aliveCount(), framesBefore);
}

TEST_F(AtWork, ALinkIsRemovedWithItsWindowOpen) {
    openSlowFrames();
    model().addLink("Beam-hardening", folder / "bh.xml");
    model().setEnabled(model().chosenLink(), false);
    ASSERT_TRUE(waitFor([&] { return child<QAbstractButton>(*window, "btConfigure").isEnabled(); }));
    click(*window, "btConfigure");
    ASSERT_TRUE(waitFor([] { return thicknessWindow() != nullptr; }));
    click(*thicknessWindow(), "btAddMeas");
    ASSERT_TRUE(waitFor([&] { return model().chain().links[1].unsaved != nullptr; })) << "a snapshot";
    moveOn();
    click(*window, "btRemove");
    EXPECT_TRUE(isAtWork());
    EXPECT_EQ(thicknessWindow(), nullptr);
    EXPECT_TRUE(waitFor([&] { return lastFrame == 1 && image(CORRECTED_PANE); }));
    EXPECT_EQ(model().chain().links.size(), 1U);
    EXPECT_TRUE(std::filesystem::exists(folder / "bh.xml")) << "closing it saved what was set";
}

TEST_F(AtWork, OtherSettingsAreLoaded) {
    openSlowFrames();
    std::filesystem::copy(settings, folder / "other.xml");
    std::filesystem::copy(folder / "adaptive.bin", folder / "other.bin");
    moveOn();
    model().setParam(slowLink, "QFTileSize", "4");
    ModalUser user;
    user.meets<QFileDialog>(choosing(folder / "other.xml"));
    click(*window, "btLoad");
    EXPECT_TRUE(model().chain().links[0].params.empty()) << "edits were of the former settings";
    EXPECT_TRUE(waitFor([&] { return lastFrame == 1 && !isAtWork(); }));
    EXPECT_EQ(model().chain().links[0].settings, folder / "other.xml");
    EXPECT_NE(image(CORRECTED_PANE), nullptr) << logText();
}

TEST_F(AtWork, AnotherStackIsOpened) {
    const std::string other = writeFrames(3, "other.h5", slowSide);
    openSlowFrames();
    moveOn();
    window->open({other});
    EXPECT_TRUE(isAtWork());
    ASSERT_TRUE(waitFor([&] { return model().facts().frames == 3; }));
    EXPECT_EQ(image(CORRECTED_PANE), nullptr) << "of the former stack";
    ASSERT_TRUE(waitFor([&] { return image(CORRECTED_PANE) != nullptr; }));
    EXPECT_EQ(image(RAW_PANE)->at(0, 0), 1);
}

TEST_F(AtWork, ClosingDuringABatchIsAskedFor) {
    openSlowFrames();
    auto& batch = *window->findChild<BatchPane*>();
    batch.setOutput(QString::fromStdString(folder / "out.h5"));
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
    window.reset();
    EXPECT_EQ(ombrel::Frame::aliveCount(), framesBefore);
}

} // namespace
