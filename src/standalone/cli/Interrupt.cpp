#include "standalone/cli/Interrupt.h"

namespace ombrel::cli {

namespace {

volatile std::sig_atomic_t wasRequested = 0;

void note(int signal) {
    wasRequested = 1;
    std::signal(signal, SIG_DFL);
}

} // namespace

Interrupt::Interrupt() {
    wasRequested = 0;
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

Interrupt::~Interrupt() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
}

bool Interrupt::requested() {
    return wasRequested != 0;
}

} // namespace ombrel::cli
