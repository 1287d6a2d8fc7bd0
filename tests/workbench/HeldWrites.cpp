#include "workbench/HeldWrites.h"

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <unistd.h>

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

} // namespace

HeldWrites::HeldWrites(int firstHeld) {
    const std::lock_guard lock(gate.mutex);
    gate.callsToPass = firstHeld - 1;
    gate.isClosing = true;
    gate.isHolding = false;
}

HeldWrites::~HeldWrites() {
    const std::lock_guard lock(gate.mutex);
    gate.isClosing = false;
    gate.opened.notify_all();
}

bool HeldWrites::areHeld() const {
    const std::lock_guard lock(gate.mutex);
    return gate.isHolding;
}

// In place of the C library's, for all that this program calls.
extern "C" ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
    gate.pass();
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
    return next(descriptor, bytes, count, offset);
}
