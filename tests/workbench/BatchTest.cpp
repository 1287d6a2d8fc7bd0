// The batch of the window against `ombrel run`, which shares its walk but not what leads to it.
#include "batch/BatchPane.h"
#include "batch/BatchProgress.h"
#include "fixtures/ModalUser.h"
#include "fixtures/Program.h"
#include "frame/FrameOutput.h"
#include "workbench/WorkbenchFixture.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QDoubleSpinBox>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QStatusBar>

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <unistd.h>

using namespace ombrel::workbench;
using testing::MatchesRegex;

namespace {

struct Gate {
    std::mutex mutex;
    std::condition_variable opened;
    int callsToPass = 0;
    bool isClosing = false; // from the call after those that pass
    bool isHolding = false;

    void pass() {
        std::unique_lock lock(mutex);
        if (!isClosing || callsToPass-- > 0)
            return;
        isHolding = true;
        opened.wait(lock, [this] { return !isClosing; });
    }
};

Gate gate;

// While it exists, the writes of this program to a place in a file wait from the one of that number on: a run
// stays in the middle of its output for as long as a test wants.
class HeldWrites {
public:
    explicit HeldWrites(int firstHeld) {
        const std::lock_guard lock(gate.mutex);
        gate.callsToPass = firstHeld - 1;
        gate.isClosing = true;
        gate.isHolding = false;
    }
    ~HeldWrites() { // releases them
        const std::lock_guard lock(gate.mutex);
        gate.isClosing = false;
        gate.opened.notify_all();
    }
    HeldWrites(const HeldWrites&) = delete;
    HeldWrites& operator=(const HeldWrites&) = delete;

    // Whether one waits.
    bool areHeld() const {
        const std::lock_guard lock(gate.mutex);
        return gate.isHolding;
    }
};

} // namespace

// In place of the C library's, for all that this program calls.
extern "C" ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
    gate.pass();
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
    return next(descriptor, bytes, count, offset);
}

namespace {

class WindowBatch : public WorkbenchTest {
protected:
    // Runs to the end, with what the user answers when the output is there.
    std::string run(const std::string& output, const char* answer = nullptr) {
        QSignalSpy ended(&pane(), &BatchPane::finished);
        begin(output, answer);
        EXPECT_TRUE(waitFor([&] { return !ended.isEmpty(); })) << label("lbBatch");
        return label("lbBatch");
    }

    void begin(const std::string& output, const char* answer = nullptr) {
        child<QLineEdit>(*window, "edOutput").setText(QString::fromStdString(output));
        ModalUser user;
        const bool isOfRawData = std::filesystem::path(output).parent_path() == folder.path;
        if (isOfRawData && !std::exchange(isFolderAgreed, true))
            user.meets<QMessageBox>([](QMessageBox& box) { press(box, "Write there"); });
        if (answer)
            user.meets<QMessageBox>([=](QMessageBox& box) { press(box, answer); });
        key(Qt::Key_R, Qt::ControlModifier);
    }

    static void press(QMessageBox& box, const char* answer) {
        for (QAbstractButton* const button : box.buttons())
            if (button->text().remove('&') == answer)
                return QTest::mouseClick(button, Qt::LeftButton);
        ADD_FAILURE() << "there is no " << answer;
    }

    bool isFolderAgreed = false;

    BatchPane& pane() { return *window->findChild<BatchPane*>(); }

    // The same by the command line, with these options.
    std::string runCommand(std::vector<std::string> options) const {
        const std::string output = folder / "command.h5";
        options.insert(options.begin(), "run");
        options.insert(options.end(), {"-o", output, "--force", "--plugin", OMBREL_PLUGIN});
        runWell(options);
        return output;
    }

    static void expectSamePixels(const std::string& path, const std::string& expected, zt::u32 frames) {
        const auto file = ombrel::FrameFile::open(path);
        const auto reference = ombrel::FrameFile::open(expected);
        ASSERT_EQ(file->info().frames, frames);
        ASSERT_EQ(file->info().pixelType, reference->info().pixelType);
        for (zt::u32 frame = 0; frame < frames; ++frame)
            ASSERT_TRUE(
                std::ranges::equal(file->readFrame(frame)->bytes(), reference->readFrame(frame)->bytes()))
                << frame;
    }
};

TEST_F(WindowBatch, GivesThePixelsOfTheCommandLineForEveryNumberOfJobs) {
    const std::string frames = writeFrames(17);
    ASSERT_TRUE(open(frames));
    model().addLink("AdaptiveFF", writeAdaptive(side, 3));
    model().setParam(model().chosenLink(), "QFTileSize", "4");
    model().addLink("Flat-Field");
    model().setEnabled(model().chosenLink(), false);
    model().addLink("Binning 2x2");
    const std::string expected = runCommand({"-f", "AdaptiveFF=" + (folder / "adaptive.xml"), "-f",
                                             "Binning 2x2", "-p", "AdaptiveFF:QFTileSize=4", frames});
    for (const int jobs : {1, 2}) {
        child<QSpinBox>(*window, "sbJobs").setValue(jobs);
        const std::string output = folder / ("jobs" + std::to_string(jobs) + ".h5");
        EXPECT_THAT(run(output), HasSubstr("17 of 17 frames done"));
        expectSamePixels(output, expected, 17);
    }
}

TEST_F(WindowBatch, AsksBeforeItMixesItsOutputWithRawDataAndShowsWhatIsOfTheOpenFile) {
    ASSERT_TRUE(open(writeFrames(2)));
    model().addLink("Binning 2x2");
    {
        ModalUser user;
        user.meets<QMessageBox>(cancel);
        key(Qt::Key_R, Qt::ControlModifier);
    }
    EXPECT_FALSE(pane().isRunning());
    EXPECT_FALSE(std::filesystem::exists(folder / "frames-corrected.h5"));
    EXPECT_THAT(run(folder / "frames-corrected.h5"), HasSubstr("2 of 2 frames done"));

    ASSERT_TRUE(open(writeFrames(3, "other.h5")));
    EXPECT_THAT(label("lbBatch"), HasSubstr("Runs all frames"));
    EXPECT_EQ(textOf(*window, "edOutput"), folder / "other-corrected.h5");
}

TEST_F(WindowBatch, TakesMaskAndTimeOfTheDetectorOver) {
    const std::string frames = writeFrames(3);
    ImageStack<zt::u16> mask{side, side, std::vector<zt::u16>(side * side, 1)};
    mask.pixels[40] = 0;
    writeHdf5(folder / "mask.h5", mask);
    runWell({"calibrate", "flat-field", frames, "--bad", "ff", "-o", folder / "ff.xml", "--plugin",
             OMBREL_PLUGIN});
    ASSERT_TRUE(open(frames));
    model().addLink("Flat-Field", folder / "ff.xml");
    ASSERT_TRUE(waitFor([&] { return image(CORRECTED_PANE) != nullptr; })) << logText();
    const double unmasked = image(CORRECTED_PANE)->pixels[40];
    ModalUser user;
    user.meets<QDialog>([&](QDialog& dialog) {
        child<QLineEdit>(dialog, "edMask").setText(QString::fromStdString(folder / "mask.h5"));
        child<QDoubleSpinBox>(dialog, "sbTime").setValue(2.5);
        QTest::mouseClick(dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok),
                          Qt::LeftButton);
    });
    key(Qt::Key_D, Qt::ControlModifier);
    ASSERT_TRUE(waitFor([&] {
        return image(CORRECTED_PANE) && image(CORRECTED_PANE)->pixels[40] != unmasked;
    })) << "the masked pixel is filled from its neighbours";

    auto& type = child<QComboBox>(*window, "cbType");
    type.setFocus();
    QTest::keyClicks(&type, "64");
    std::filesystem::create_directory(folder / "out");
    EXPECT_THAT(run(folder / "out/window.h5"), HasSubstr("3 of 3 frames done"));
    expectSamePixels(folder / "out/window.h5",
                     runCommand({"-f", "Flat-Field=" + (folder / "ff.xml"), frames, "--device-mask",
                                 folder / "mask.h5", "--acq-time", "2.5", "--output-type", "f64"}),
                     3);
    runWell({"replay", folder / "out/window.h5", "-o", folder / "again.h5", "--plugin", OMBREL_PLUGIN});

    // One that does not fit changes nothing.
    writeHdf5(folder / "small.h5", ImageStack<zt::u16>{2, 2, {1, 1, 1, 1}});
    user.meets<QDialog>([&](QDialog& dialog) {
        child<QLineEdit>(dialog, "edMask").setText(QString::fromStdString(folder / "small.h5"));
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    key(Qt::Key_D, Qt::ControlModifier);
    EXPECT_TRUE(waitFor([&] { return logText().find("small.h5: the mask has 2 x 2") != std::string::npos; }));
    EXPECT_EQ(model().device().mask, folder / "mask.h5");

    // What is told while the log stands behind is seen all the same.
    child<QDockWidget>(*window, "dockBatch").raise();
    ASSERT_TRUE(waitFor([&] { return child<QPlainTextEdit>(*window, "teLog").visibleRegion().isEmpty(); }));
    model().setEnabled(model().chosenLink(), false);
    key(Qt::Key_R, Qt::ControlModifier);
    EXPECT_THAT(window->statusBar()->currentMessage().toStdString(), HasSubstr("no filter"));
}

TEST(BatchProgress, ShowsHowFarItIsAndHowFast) {
    BatchProgress progress;
    progress.begin();
    progress.advance(20, 60);
    progress.advance(30, 60);
    EXPECT_EQ(child<QProgressBar>(progress, "pbBatch").value(), 30);
    EXPECT_THAT(child<QLabel>(progress, "lbBatch").text().toStdString(),
                MatchesRegex("30 of 60 frames, [0-9.]+ frames/s, .+ left"));
}

TEST_F(WindowBatch, ACancelledRunIsResumedAndNoOutputIsReplacedUnasked) {
    const std::string frames = writeFrames(60);
    ASSERT_TRUE(open(frames));
    model().addLink("AdaptiveFF", writeAdaptive(side, 8));
    child<QSpinBox>(*window, "sbJobs").setValue(1);
    const std::string output = folder / "window.h5";
    QSignalSpy ended(&pane(), &BatchPane::finished);
    {
        HeldWrites writes(100);
        begin(output);
        ASSERT_TRUE(waitFor([&] { return writes.areHeld(); }));
        click(*window, "btCancel");
        EXPECT_TRUE(pane().isRunning());
    }
    ASSERT_TRUE(waitFor([&] { return !ended.isEmpty(); }));
    EXPECT_THAT(label("lbBatch"), HasSubstr("cancelled"));
    EXPECT_FALSE(ended[0][0].toBool());
    const auto state = ombrel::FrameOutput::stateOf(output);
    EXPECT_GT(state->framesDone, 0U);
    EXPECT_LT(state->framesDone, 60U);

    begin(output, "Cancel");
    EXPECT_FALSE(pane().isRunning());
    EXPECT_THAT(run(output, "Resume"), HasSubstr("60 of 60 frames done"));
    expectSamePixels(output, runCommand({"-f", "AdaptiveFF=" + (folder / "adaptive.xml"), frames}), 60);

    model().addLink("Binning 2x2");
    EXPECT_THAT(run(output, "Resume"), HasSubstr("chain")) << "of another chain";
    EXPECT_THAT(run(output, "Replace"), HasSubstr("60 of 60 frames done"));
    EXPECT_THAT(run(frames, "Replace"), HasSubstr("is both an input and the output"));
}

} // namespace
