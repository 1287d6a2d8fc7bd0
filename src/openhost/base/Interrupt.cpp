#include "base/Interrupt.h"

namespace ombrel {

namespace {

volatile std::sig_atomic_t wasRequested = 0;

void note(int) {
    wasRequested = 1;
}

} // namespace

Interrupt::Interrupt() {
    wasRequested = 0;
    for (std::size_t i = 0; i < endSignals.size(); ++i) {
        sigaction(endSignals[i], nullptr, &former[i]);
        if (former[i].sa_handler == SIG_IGN)
            continue;
        struct sigaction noting {};
        noting.sa_handler = note;
        // The shell and the kernel may both tell of a terminal that closes.
        noting.sa_flags = SA_RESTART | (endSignals[i] == SIGHUP ? 0 : static_cast<int>(SA_RESETHAND));
        sigaction(endSignals[i], &noting, nullptr);
    }
}

Interrupt::~Interrupt() {
    for (std::size_t i = 0; i < endSignals.size(); ++i)
        sigaction(endSignals[i], &former[i], nullptr);
}

bool Interrupt::requested() {
    return wasRequested != 0;
}

} // namespace ombrel
