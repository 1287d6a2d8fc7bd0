// Takes the pictures of the workbench: the real window, used with the mouse and the keyboard as a user does.
//     ombrel-workbench-screenshots FOLDER FRAMES.h5 ADAPTIVE.xml FLAT-FIELD.xml
// The files are those of `ombrel simulate` and `ombrel calibrate`, as script/screenshots makes them.
#include "WorkbenchUser.h"
#include "base/Console.h"
#include "flats/FlatsPane.h"
#include "simulation/StackFile.h"
#include "stack/FrameStack.h"
#include "window/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <exception>
#include <stdexcept>

using namespace ombrel::workbench;

namespace {

constexpr QSize windowSize(1280, 800);

struct SampleFiles {
    std::string frames;
    std::string adaptive;
    std::string flatField;
};

void openDemo(WorkbenchUser& user) {
    user.take("start");
    user.click("btDemo");
    user.waitForCorrected();
    user.model().setFrame(40);
    user.waitForFrame();
    user.dragOverFrame({100, 236, 150, 18}, Qt::ShiftModifier); // sees the open beam
    user.take("flat-field");
}

// The pixels that the coefficients name bad, with the cursor on one of them.
void markFaults(WorkbenchUser& user) {
    constexpr QPoint deadPixel(138, 80); // of the demo's detector
    user.key(Qt::Key_M, {});
    user.waitForFrame();
    user.pointAt(deadPixel);
    user.take("faults");
    user.key(Qt::Key_M, {});
    user.waitForFrame();
}

// The flat fields of the file, of which one is black, one at half level, and one has an object in a corner.
void writeSpoiltFlats(const std::string& frames, const std::string& path) {
    ombrel::FrameStack stack({frames}, ombrel::FrameRole::Flat);
    ombrel::simulation::StackFile file(path);
    const zt::u32 side = stack.width();
    file.beginStack("/exchange/data", {static_cast<zt::u32>(stack.frameCount()), side, stack.height()});
    for (zt::u64 i = 0; i < stack.frameCount(); ++i) {
        const ombrel::FramePtr frame = stack.readFrame(i);
        frame->multiplyBy(i == 2 ? 0 : i == 4 ? 0.5 : 1);
        frame->convertToType(zt::DT_U32);
        const auto pixels = frame->pixels<zt::u32>();
        for (std::size_t pixel = 0; i == 6 && pixel < std::size_t{side} * 60; ++pixel)
            if (pixel % side >= side - 60)
                pixels[pixel] /= 2;
        file.writeImage(std::vector<zt::u32>(pixels.begin(), pixels.end()));
    }
    file.finish();
}

void calibrate(WorkbenchUser& user) {
    writeSpoiltFlats(user.model().inputs().front(), "flats.h5");
    auto* const table = user.window().findChild<QTableWidget*>("tbFlats");
    user.window().findChild<FlatsPane*>()->calibrate({"flats.h5"}, "flats.xml");
    auto* const dock = user.window().findChild<QDockWidget*>("dockFlats");
    user.window().resizeDocks({dock}, {330}, Qt::Vertical);
    if (!QTest::qWaitFor([&] { return table->rowCount() > 0; }, 60'000))
        throw std::runtime_error("the flat fields were not judged");
    table->setCurrentCell(6, 0);
    auto* const picture = user.window().findChild<QLabel*>("lbFlat");
    if (!QTest::qWaitFor([&] { return !picture->pixmap().isNull(); }, 60'000))
        throw std::runtime_error("the flat field is not shown");
    user.take("flats");
}

// Three filters, of which the last was dragged after the others. Two are switched off, to compare.
void buildChain(WorkbenchUser& user, const SampleFiles& files) {
    user.key(Qt::Key_Delete, Qt::ControlModifier);
    user.window().open(std::vector<std::string>(8, files.frames));
    user.waitForOpen();
    const int binning = user.model().addLink("Binning 2x2");
    const int flatField = user.model().addLink("Flat-Field", files.flatField);
    const int adaptive = user.model().addLink("AdaptiveFF", files.adaptive);
    user.dragRow(0, 2);
    user.model().setEnabled(flatField, false);
    user.model().setEnabled(binning, false);
    user.model().chooseLink(adaptive);
    user.waitForCorrected();
    user.key(Qt::Key_3, Qt::ControlModifier);
    user.editParameter("QFTileSize", "8");
    user.model().setFrame(12);
    user.waitForFrame();
    user.dragOverFrame({196, 170, 50, 76}, Qt::ShiftModifier);
    user.take("chain");
}

void runBatch(WorkbenchUser& user, const QString& output) {
    QDir().mkpath(QFileInfo(output).path()); // apart from the raw data
    user.showDock("dockBatch");
    user.type("edOutput", output);
    user.key(Qt::Key_R, Qt::ControlModifier);
    user.waitForProgress(0.4);
    user.take("batch");
    user.click("btCancel");
    user.waitForBatch();
}

// A filter whose calibration is missing.
void fail(WorkbenchUser& user) {
    user.showDock("dockLog");
    while (!user.model().chain().links.empty())
        user.key(Qt::Key_Delete, Qt::ControlModifier);
    user.model().addLink("AdaptiveFF");
    user.waitForFrame();
    user.take("error");
}

} // namespace

int main(int argc, char** argv) {
    const QTemporaryDir folder;
    qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
    qputenv("XDG_DATA_HOME", folder.path().toUtf8());
    QApplication application(argc, argv);
    if (argc != 5) {
        std::fprintf(stderr,
                     "usage: ombrel-workbench-screenshots FOLDER FRAMES.h5 ADAPTIVE.xml FLAT-FIELD.xml\n");
        return 2;
    }
    try {
        QApplication::setStyle("fusion");
        QApplication::setFont(QFont("DejaVu Sans", 9));
        ombrel::Console console;
        MainWindow window(console, {});
        window.resize(windowSize);
        WorkbenchUser user(window, argv[1]);
        openDemo(user);
        markFaults(user);
        calibrate(user);
        buildChain(user, {argv[2], argv[3], argv[4]});
        runBatch(user, "corrected/frames.h5");
        fail(user);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ombrel-workbench-screenshots: %s\n", error.what());
        return 1;
    }
}
