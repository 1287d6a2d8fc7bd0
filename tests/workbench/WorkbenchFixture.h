#pragma once

#include "calibration/CalibrationHeap.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "fixtures/WidgetActions.h"
#include "panes/FrameBar.h"
#include "panes/FramePanes.h"
#include "settings/Settings.h"
#include "window/MainWindow.h"

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSignalSpy>

// The window of the workbench on files of a folder of its own. Nothing waits for longer than a patience.
class WorkbenchTest : public testing::Test {
protected:
    static constexpr zt::u32 side = 32;
    static constexpr int patience = 60'000; // milliseconds, for a slow build on a busy machine

    WorkbenchTest() {
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(folder / "data"));
        QSettings("ombrel", "workbench").clear();
        makeWindow();
    }

    // Another one after that of before.
    void makeWindow() {
        window.reset();
        window = std::make_unique<ombrel::workbench::MainWindow>(quietConsole(), OMBREL_PLUGIN);
        QObject::connect(window.get(), &ombrel::workbench::MainWindow::frameShown, window.get(),
                         [this](quint64 frame) {
                             lastFrame = static_cast<int>(frame);
                             ++framesShown;
                         });
        window->resize(1200, 800);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get(), patience));
    }

    // Pixel i of frame n is 100 n + i + 1.
    std::string writeFrames(zt::u32 count, const std::string& name = "frames.h5", zt::u32 size = side) const {
        ImageStack<zt::u16> stack{size, size, {}};
        for (zt::u32 frame = 0; frame < count; ++frame)
            for (zt::u32 i = 0; i < size * size; ++i)
                stack.pixels.push_back(static_cast<zt::u16>(100 * frame + i + 1));
        writeHdf5(folder / name, stack);
        return folder / name;
    }

    // Settings of the adaptive filter with a grid of `points` flat fields beside them.
    std::string writeAdaptive(zt::u32 size, int points) const {
        std::vector<ombrel::GridPoint> grid;
        for (int i = 0; i < points; ++i)
            grid.push_back({static_cast<float>(i), 1, 1});
        ombrel::CalibrationHeap heap(folder / "adaptive.bin", ombrel::CalibrationGrid(grid, {}),
                                     {static_cast<zt::i32>(size), size, size, {}});
        for (int point = 0; point < points; ++point) {
            std::vector<float> pixels;
            for (zt::u32 i = 0; i < size * size; ++i)
                pixels.push_back(1 + 0.1f * static_cast<float>((i * 7 + static_cast<zt::u32>(point)) % 5));
            heap.append(pixels);
        }
        heap.commit();
        ombrel::Settings settings(folder / "adaptive.xml", [](const std::string&) {});
        settings.setInt("Settings", "QfTileSize", 8);
        settings.setString("Settings", "Kernel", "1,-1,1,-1,1,-1,1,-1,1");
        settings.saveFile();
        return folder / "adaptive.xml";
    }

    bool waitFor(const std::function<bool()>& isTrue) const { return QTest::qWaitFor(isTrue, patience); }
    // Until a frame with the state of now is on the screen.
    bool waitForFrame() const {
        return waitFor([&] { return window->isUpToDate(); });
    }
    bool open(const std::string& path) {
        window->open({path});
        return waitFor([&] { return window->model().isOpen(); }) && waitForFrame();
    }

    // With the chain's first frame on the screen.
    bool openWith(const std::string& path, const std::string& filter, const std::string& settings = {}) {
        if (!open(path))
            return false;
        model().addLink(filter, settings);
        return waitForFrame() && image(ombrel::workbench::CORRECTED_PANE);
    }
    bool waitForCorrected() {
        return waitFor([&] { return image(ombrel::workbench::CORRECTED_PANE) != nullptr; });
    }

    // The settings window of a beam-hardening filter; null when none is open.
    static QWidget* thicknessWindow() {
        for (QWidget* const each : QApplication::topLevelWidgets())
            if (each->isVisible() && each->windowTitle() == "Beam-hardening Filter Settings")
                return each;
        return nullptr;
    }
    // Of the link that is chosen.
    void openThicknessWindow() {
        ASSERT_TRUE(waitFor([&] { return child<QAbstractButton>(*window, "btConfigure").isEnabled(); }));
        click(*window, "btConfigure");
        ASSERT_TRUE(waitFor([] { return thicknessWindow() != nullptr; }));
    }

    ombrel::workbench::Workspace& model() { return window->model(); }
    ombrel::workbench::FramePanes& panes() { return *window->findChild<ombrel::workbench::FramePanes*>(); }
    const ombrel::workbench::ImagePtr& image(ombrel::workbench::PaneIndex pane) {
        return panes().pane(pane).image();
    }
    // In this window, whichever was used last.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get(), patience));
        QTest::keyClick(window.get(), key, modifiers);
    }
    std::string logText() const {
        return child<QPlainTextEdit>(*window, "teLog").toPlainText().toStdString();
    }
    std::string label(const char* name) const { return child<QLabel>(*window, name).text().toStdString(); }

    const TemporaryFolder folder;
    std::unique_ptr<ombrel::workbench::MainWindow> window;
    int lastFrame = -1;
    int framesShown = 0;
};
