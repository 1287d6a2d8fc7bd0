#pragma once

#include "base/AtomicFile.h"
#include "hdf5/Hdf5Writer.h"
#include "zt/Types.h"

#include <memory>
#include <span>
#include <string>

namespace ombrel::simulation {

// How a stack's pixels are stored: counts, of which those that do not fit are cut to the largest that does,
// or doubles.
enum class CountType { U16, U32, F64 };

struct StackShape {
    zt::u32 images = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
    CountType type = CountType::U16;
};

// A new HDF5 file of image stacks. Only finish() gives it its name, so that nobody meets a half-written file.
class StackFile {
public:
    // Throws Error, as every operation does.
    explicit StackFile(const std::string& path);

    // A dataset for images, which are then written one by one; groups on its way are made.
    void beginStack(const std::string& dataset, const StackShape& shape);
    void writeImage(std::span<const zt::u32> counts);
    void writeImage(std::span<const double> values);
    void addNumber(const std::string& dataset, double value);
    void finish();

private:
    void writePixels(const void* pixels, hid_t memoryType);

    AtomicFile file;
    std::unique_ptr<Hdf5Writer> maker;
    Hdf5Dataset stack;
    StackShape stackShape;
    zt::u32 nextImage = 0;
};

} // namespace ombrel::simulation
