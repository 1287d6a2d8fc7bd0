#pragma once

#include "base/AtomicFile.h"
#include "hdf5/Hdf5Writer.h"
#include "zt/Types.h"

#include <memory>
#include <span>
#include <string>

namespace ombrel::simulation {

// The stored type of a stack's pixels: counts, clamped to the range of the type, or doubles.
enum class CountType { U16, U32, F64 };

struct StackShape {
    zt::u32 images = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
    CountType type = CountType::U16;
};

// A new HDF5 file of image stacks. Only finish() gives it its name, so that no reader finds an incomplete
// file.
class StackFile {
public:
    // Throws Error, like every operation.
    explicit StackFile(const std::string& path);

    // Creates a dataset for images, which are then written one by one, and missing groups.
    void beginStack(const std::string& dataset, const StackShape& shape);
    void writeImage(std::span<const zt::u32> counts);
    void writeImage(std::span<const double> values);
    void addNumbers(const std::string& dataset, std::span<const double> values, const std::string& unit);
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
