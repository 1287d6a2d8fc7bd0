// Takes the pictures of the workbench: the real window, used with the mouse and the keyboard as a user does.
//     ombrel-workbench-screenshots FOLDER FRAMES.h5 ADAPTIVE.xml FLAT-FIELD.xml
// The files are those of `ombrel simulate` and `ombrel calibrate`, as script/screenshots makes them.
#include "WorkbenchUser.h"
#include "base/Console.h"
#include "window/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QTemporaryDir>

#include <cstdio>
#include <exception>

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
        buildChain(user, {argv[2], argv[3], argv[4]});
        runBatch(user, "corrected/frames.h5");
        fail(user);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ombrel-workbench-screenshots: %s\n", error.what());
        return 1;
    }
}
