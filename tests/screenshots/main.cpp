// Pictures of the workbench for the documents: screenshots FOLDER
#include "standalone/cli/Console.h"
#include "standalone/simulation/SimulatedSet.h"
#include "workbench/BatchPane.h"
#include "workbench/FramePanes.h"
#include "workbench/MainWindow.h"

#include <QApplication>
#include <QDockWidget>
#include <QFile>
#include <QSettings>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QtTest/QTest>

#include <functional>
#include <string>

using namespace ombrel::workbench;

namespace {

constexpr int pictureWidth = 960;

class Photographer {
public:
    explicit Photographer(const QString& pictureFolder) : folder(pictureFolder) {
        QObject::connect(&window, &MainWindow::frameShown, &window, [this] { ++frames; });
        window.resize(1240, 800);
        window.show();
    }

    void take(const QString& name) {
        QTest::qWait(400);
        window.grab()
            .toImage()
            .scaledToWidth(pictureWidth, Qt::SmoothTransformation)
            .save(folder + "/workbench-" + name + ".png", nullptr, 0);
    }
    void waitForFrames(int count) {
        const int wanted = frames + count;
        waitFor([&] { return frames >= wanted; });
    }
    static void waitFor(const std::function<bool()>& isTrue) {
        if (!QTest::qWaitFor(isTrue, 60'000))
            qFatal("nothing came");
    }

    ombrel::cli::Console console;
    MainWindow window{console, {}};

private:
    QString folder;
    int frames = 0;
};

void demo(Photographer& photographer) {
    MainWindow& window = photographer.window;
    photographer.take("start");
    window.openDemo();
    Photographer::waitFor([&] { return window.model().isOpen(); });
    auto& panes = *window.findChild<FramePanes*>();
    Photographer::waitFor([&] { return panes.pane(CORRECTED_PANE).image() != nullptr; });
    window.model().setFrame(40);
    panes.setRegion({100, 236, 150, 18});
    photographer.waitForFrames(1);
    photographer.take("flat-field");
}

void batch(Photographer& photographer, const QString& output) {
    MainWindow& window = photographer.window;
    window.model().addLink("Binning 2x2");
    photographer.waitForFrames(1);
    auto& pane = *window.findChild<BatchPane*>();
    pane.setOutput(output);
    window.findChild<QDockWidget*>("dockBatch")->raise();
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    Photographer::waitFor([&] { return !pane.isRunning(); });
    photographer.take("batch");
}

// A grid of flat fields, as `ombrel calibrate adaptive` takes it.
void adaptive(Photographer& photographer, const QString& frames, const QString& settings) {
    MainWindow& window = photographer.window;
    while (!window.model().chain().links.empty())
        window.model().removeLink(window.model().chain().links.back().id);
    window.open({frames.toStdString()});
    window.model().addLink("AdaptiveFF", settings.toStdString());
    auto& panes = *window.findChild<FramePanes*>();
    Photographer::waitFor([&] { return window.model().isOpen() && panes.pane(CORRECTED_PANE).image(); });
    window.findChild<QDockWidget*>("dockLog")->raise();
    window.model().setParam(window.model().chosenLink(), "QFTileSize", "8");
    photographer.waitForFrames(1);
    photographer.take("adaptive");
}

} // namespace

int main(int argc, char** argv) {
    const QTemporaryDir folder;
    qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
    qputenv("XDG_DATA_HOME", folder.path().toUtf8());
    if (argc < 2)
        return 2;
    QApplication application(argc, argv);
    Photographer photographer(argv[1]);
    demo(photographer);
    batch(photographer, folder.filePath("corrected.h5"));
    if (argc > 3)
        adaptive(photographer, argv[2], argv[3]);
    return 0;
}
