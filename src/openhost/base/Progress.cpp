#include "base/Progress.h"

#include "base/Numbers.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace ombrel {

namespace {

constexpr std::chrono::milliseconds barInterval{100};
constexpr std::chrono::seconds lineInterval{5};
constexpr std::size_t shortestBar = 10;
constexpr std::size_t longestBar = 30;

std::string bar(zt::u64 done, zt::u64 total, std::size_t length) {
    const auto filled =
        static_cast<std::size_t>(length * std::min(done, total) / std::max<zt::u64>(total, 1));
    return "[" + std::string(filled, '#') + std::string(length - filled, '.') + "]";
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

std::string rateText(double framesPerSecond) {
    char text[32];
    std::snprintf(text, sizeof text, ", %.0f frames/s", framesPerSecond);
    return text;
}

// Empty while the rate is unknown.
std::string leftText(zt::u64 frames, double framesPerSecond) {
    return framesPerSecond > 0 ? ", " + timeText(static_cast<double>(frames) / framesPerSecond) + " left"
                               : "";
}

} // namespace

std::string progressBar(zt::u64 done, zt::u64 total, double framesPerSecond, unsigned columns) {
    // After a character in the last column, the cursor position depends on the terminal.
    const std::size_t room = std::max(columns, 1U) - 1;
    const std::string frames = std::to_string(done) + " of " + countText(total, "frame");
    const std::string counts = std::to_string(done) + " of " + std::to_string(total);
    const std::string left = leftText(total - std::min(done, total), framesPerSecond);
    const std::string percent = std::to_string(100 * done / std::max<zt::u64>(total, 1)) + " %";
    for (const std::string& figures :
         {frames + rateText(framesPerSecond) + left, frames + left, counts + left, counts, percent}) {
        const std::size_t used = figures.size() + std::string_view("[] ").size();
        if (used + shortestBar <= room)
            return bar(done, total, std::min(room - used, longestBar)) + " " + figures;
    }
    return percent.size() <= room ? percent : "";
}

Progress::Progress(Console& out, zt::u64 frames, bool beQuiet)
    : console(out), total(frames), quiet(beQuiet) {}

Progress::~Progress() {
    if (!quiet && shownColumns)
        console.status("");
}

void Progress::advance() {
    ++done;
    if (quiet)
        return;
    const auto now = Clock::now();
    const unsigned columns = console.columns();
    const bool isDue =
        now - shown >= (columns ? Clock::duration(barInterval) : Clock::duration(lineInterval));
    if (!isDue && columns == shownColumns)
        return;
    shown = now;
    shownColumns = columns;
    show(columns);
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double Progress::framesPerSecond() const {
    const double elapsed = seconds();
    return elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
}

void Progress::show(unsigned columns) {
    const double rate = framesPerSecond();
    if (columns)
        console.status(progressBar(done, total, rate, columns));
    else
        console.message(std::to_string(done) + " of " + countText(total, "frame") + rateText(rate) +
                        leftText(total - std::min(done, total), rate));
}

} // namespace ombrel
