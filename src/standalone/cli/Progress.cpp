#include "standalone/cli/Progress.h"

#include "standalone/SizeText.h"

#include <cstdio>
#include <string>

namespace ombrel::cli {

namespace {

constexpr std::chrono::milliseconds barInterval{100};
constexpr std::chrono::seconds lineInterval{5};
constexpr zt::u64 barLength = 30;

std::string bar(zt::u64 done, zt::u64 total) {
    const auto filled = static_cast<std::size_t>(barLength * done / total);
    return "[" + std::string(filled, '#') + std::string(barLength - filled, '.') + "]";
}

std::string timeText(double seconds) {
    const auto whole = static_cast<long>(seconds + 0.5);
    char text[32];
    if (whole < 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

} // namespace

Progress::Progress(Console& out, zt::u64 frames, bool beQuiet)
    : console(out), total(frames), quiet(beQuiet) {}

Progress::~Progress() {
    if (!quiet && console.hasTerminal())
        console.status("");
}

void Progress::advance() {
    ++done;
    if (quiet)
        return;
    const auto now = Clock::now();
    if (now - shown < (console.hasTerminal() ? Clock::duration(barInterval) : Clock::duration(lineInterval)))
        return;
    shown = now;
    show();
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double Progress::framesPerSecond() const {
    const double elapsed = seconds();
    return elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
}

void Progress::show() {
    const double rate = framesPerSecond();
    char figures[96];
    std::snprintf(figures, sizeof figures, "%llu of %s, %.0f frames/s, %s left",
                  static_cast<unsigned long long>(done), countText(total, "frame").c_str(), rate,
                  timeText(static_cast<double>(total - done) / rate).c_str());
    if (console.hasTerminal())
        console.status(bar(done, total) + " " + figures);
    else
        console.message(figures);
}

} // namespace ombrel::cli
