#include "host/LogCapture.h"

namespace ombrel {

namespace {

thread_local LogCapture* innermost = nullptr;

} // namespace

LogCapture::LogCapture() : outer(innermost) {
    innermost = this;
}

LogCapture::~LogCapture() {
    innermost = outer;
}

LogCapture* LogCapture::current() {
    return innermost;
}

} // namespace ombrel
