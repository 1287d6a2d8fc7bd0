#pragma once

#include "host/Types.h"
#include "standalone/Hdf5Handle.h"

#include <span>
#include <string>

namespace ombrel::simulation {

// A new HDF5 file of u16 image stacks. It is made under a temporary name; only finish() gives it its own, so
// that nobody meets a half-written file.
class StackFile {
public:
    // Throws Error.
    explicit StackFile(const std::string& path);
    ~StackFile();
    StackFile(const StackFile&) = delete;
    StackFile& operator=(const StackFile&) = delete;

    // A dataset for `images` images; groups on its way are made. Close it before finish().
    Hdf5Dataset addStack(const std::string& dataset, zt::u32 images, zt::u32 width, zt::u32 height);
    void writeImage(const Hdf5Dataset& stack, zt::u32 index, std::span<const zt::u16> pixels);
    void addNumber(const std::string& dataset, double value);
    void finish();

private:
    std::string path;
    std::string temporaryPath;
    Hdf5FileHandle file;
};

} // namespace ombrel::simulation
