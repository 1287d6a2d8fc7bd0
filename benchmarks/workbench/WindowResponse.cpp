// How fast the workbench opens and shows another frame, and how long its window's thread is busy while the
// adaptive filter works and is edited.
//   bench_WindowResponse [SIDE [CANDIDATES]]     of the frames, and of the adaptive filter; default: 1024 125
#include "calibration/CalibrationHeap.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "fixtures/Testing.h"
#include "settings/Settings.h"
#include "window/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <numeric>

using ombrel::workbench::MainWindow;

namespace {

constexpr zt::u32 frameCount = 30;

double threadMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

// Gaps between the ticks of a timer that fires as soon as the window's thread is free.
class Heartbeat {
public:
    Heartbeat() {
        clock.start();
        lastWork = threadMilliseconds();
        timer.callOnTimeout([this] { beat(); });
        timer.start(0);
    }

    double longestWork() const { return work; }
    // At 9 of 10 moments the window is free again within this time.
    double usualWait() {
        std::ranges::sort(gaps);
        double rest = 0.1 * std::accumulate(gaps.begin(), gaps.end(), 0.0);
        auto gap = gaps.rbegin();
        for (; rest > *gap; ++gap)
            rest -= *gap;
        return *gap;
    }
    double longestGap() const { return *std::ranges::max_element(gaps); }

private:
    void beat() {
        const double worked = threadMilliseconds();
        gaps.push_back(1e-6 * static_cast<double>(clock.nsecsElapsed()));
        work = std::max(work, worked - lastWork);
        clock.restart();
        lastWork = worked;
    }

    QTimer timer;
    QElapsedTimer clock;
    std::vector<double> gaps;
    double lastWork = 0;
    double work = 0; // processor time, which other programs do not lengthen
};

void waitUntil(const std::function<bool()>& isTrue) {
    while (!isTrue())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void runEvents(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

std::string writeStack(const TemporaryFolder& folder, zt::u32 side) {
    ImageStack<zt::u16> stack{side, side, {}};
    for (zt::u32 frame = 0; frame < frameCount; ++frame)
        for (zt::u32 i = 0; i < side * side; ++i)
            stack.pixels.push_back(static_cast<zt::u16>(1000 + (i * 31 + frame * 17) % 199));
    writeHdf5(folder / "frames.h5", stack);
    return folder / "frames.h5";
}

// Settings of the adaptive filter, with a grid of flat fields beside them.
std::string writeAdaptive(const TemporaryFolder& folder, zt::u32 side, int candidates) {
    std::vector<ombrel::GridPoint> grid;
    for (int i = 0; i < candidates; ++i)
        grid.push_back({static_cast<float>(i), 1, 1});
    ombrel::CalibrationHeap heap(folder / "adaptive.bin", ombrel::CalibrationGrid(grid, {}),
                                 {static_cast<zt::i32>(side), side, side, {}});
    std::vector<float> pixels(side * side);
    for (int point = 0; point < candidates; ++point) {
        for (zt::u32 i = 0; i < pixels.size(); ++i)
            pixels[i] = 1 + 0.1f * static_cast<float>((i * 7 + static_cast<zt::u32>(point)) % 5);
        heap.append(pixels);
    }
    heap.commit();
    ombrel::Settings settings(folder / "adaptive.xml", [](const std::string&) {});
    settings.setInt("Settings", "QfTileSize", 8);
    settings.saveFile();
    return folder / "adaptive.xml";
}

void measureFrames(const std::string& stack) {
    QElapsedTimer clock;
    clock.start();
    MainWindow window(quietConsole(), OMBREL_PLUGIN);
    window.show();
    runEvents(0);
    const qint64 up = clock.elapsed();
    window.open({stack});
    waitUntil([&] { return window.model().isOpen() && window.isUpToDate(); });
    const qint64 first = clock.elapsed();
    std::vector<qint64> changes;
    for (zt::u64 step = 1; step <= 20; ++step) {
        clock.restart();
        window.model().setFrame(step * 7 % frameCount);
        waitUntil([&] { return window.isUpToDate(); });
        changes.push_back(clock.elapsed());
    }
    std::ranges::sort(changes);
    std::printf("window up in %lld ms, first frame on it in %lld ms; another frame in %lld ms (median), %lld "
                "ms (worst)\n",
                up, first, changes[changes.size() / 2], changes.back());
}

void measureThread(const std::string& stack, const std::string& settings) {
    MainWindow window(quietConsole(), OMBREL_PLUGIN);
    window.show();
    window.open({stack});
    window.model().addLink("AdaptiveFF", settings);
    waitUntil([&] { return window.model().isOpen() && window.isUpToDate(); });
    Heartbeat heart;
    for (zt::u64 round = 1; round <= 12; ++round) {
        window.model().setFrame(round);
        window.model().setParam(window.model().chosenLink(), "QFTileSize", std::to_string(8 + round % 3));
        runEvents(60);
    }
    const double wait = heart.usualWait();
    std::printf("window's thread while frames are corrected: longest work %.1f ms, answer at 9 of 10 moments "
                "within %.1f ms, at all within %.1f ms\n",
                heart.longestWork(), wait, heart.longestGap());
}

} // namespace

int main(int argc, char** argv) {
    const TemporaryFolder folder;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(folder.path.string()));
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString(folder.path.string()));
    const QApplication application(argc, argv);
    const auto side = static_cast<zt::u32>(argc > 1 ? std::stoul(argv[1]) : 1024);
    const int candidates = argc > 2 ? std::stoi(argv[2]) : 125;
    const std::string stack = writeStack(folder, side);
    measureFrames(stack);
    measureThread(stack, writeAdaptive(folder, side, candidates));
}
