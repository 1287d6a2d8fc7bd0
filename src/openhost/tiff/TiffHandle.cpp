#include "tiff/TiffHandle.h"

#include "base/Error.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace ombrel {

namespace {

constexpr int HANDLED = 1;

// A second error is mostly a consequence of the first, and says less.
__attribute__((format(printf, 4, 0))) int keepError(TIFF*, void* kept, const char*, const char* format,
                                                    std::va_list arguments) {
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    auto& first = *static_cast<std::string*>(kept);
    if (first.empty())
        first = text.data();
    return HANDLED;
}

// Warnings are about tags that we do not use.
int dropWarning(TIFF*, void*, const char*, const char*, std::va_list) {
    return HANDLED;
}

struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

} // namespace

TiffHandle::TiffHandle(const std::string& path) : lastError{std::make_unique<std::string>()} {
    const std::unique_ptr<TIFFOpenOptions, FreeOptions> options{TIFFOpenOptionsAlloc()};
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, lastError.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), dropWarning, nullptr);
    // "m": no memory mapping, since a file that shrinks meanwhile would end the program. "c": strips as they
    // are.
    tiff.reset(TIFFOpenExt(path.c_str(), "rmc", options.get()));
    if (!tiff)
        throw Error(path + ": this TIFF file is cut off or damaged" + reason());
}

std::string TiffHandle::reason() const {
    return lastError->empty() ? std::string() : ": " + *lastError;
}

} // namespace ombrel
