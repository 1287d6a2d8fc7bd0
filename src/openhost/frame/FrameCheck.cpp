#include "frame/FrameCheck.h"

#ifdef NDEBUG

#include <atomic>

namespace ombrel {

namespace {

std::atomic<std::size_t> alive{0};

} // namespace

void FrameCheck::born(const Frame*) {
    ++alive;
}

void FrameCheck::died(const Frame*) {
    --alive;
}

std::size_t FrameCheck::aliveCount() {
    return alive;
}

void FrameCheck::mustLive(const Frame*, const char*) {}

void FrameCheck::mustBeLast(int) {}

} // namespace ombrel

#else

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <unordered_set>

namespace ombrel {

namespace {

struct Census {
    std::mutex mutex;
    std::unordered_set<const Frame*> alive;
};

Census& census() {
    // Left alive on purpose: static objects may hold frames beyond the end of main().
    static Census* const instance = new Census;
    return *instance;
}

} // namespace

void FrameCheck::born(const Frame* frame) {
    const std::lock_guard lock(census().mutex);
    census().alive.insert(frame);
}

void FrameCheck::died(const Frame* frame) {
    const std::lock_guard lock(census().mutex);
    census().alive.erase(frame);
}

std::size_t FrameCheck::aliveCount() {
    const std::lock_guard lock(census().mutex);
    return census().alive.size();
}

void FrameCheck::mustLive(const Frame* frame, const char* operation) {
    const std::lock_guard lock(census().mutex);
    if (census().alive.contains(frame))
        return;
    std::fprintf(stderr, "ombrel: %s of a frame that is dead\n", operation);
    std::abort();
}

void FrameCheck::mustBeLast(int references) {
    if (references == 1)
        return;
    std::fprintf(stderr, "ombrel: destroy of a frame that has %d references\n", references);
    std::abort();
}

} // namespace ombrel

#endif
