#pragma once

#include <tiffio.h>

#include <memory>
#include <string>

namespace ombrel {

// A TIFF file open for reading. What the library has to say is kept for our own messages, and never printed.
class TiffHandle {
public:
    // Throws Error.
    explicit TiffHandle(const std::string& path);

    TIFF* get() const { return tiff.get(); }

    // ": the library's words" for the last error, or nothing.
    std::string reason() const;

private:
    struct Close {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };

    std::unique_ptr<std::string> lastError; // the library keeps its address
    std::unique_ptr<TIFF, Close> tiff;
};

} // namespace ombrel
