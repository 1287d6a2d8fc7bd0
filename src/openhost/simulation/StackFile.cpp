#include "simulation/StackFile.h"

#include "base/Error.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace ombrel::simulation {

namespace {

zt::u32 largestCount(CountType type) {
    return type == CountType::U16 ? std::numeric_limits<zt::u16>::max() : std::numeric_limits<zt::u32>::max();
}

hid_t storedType(CountType type) {
    return type == CountType::U16 ? H5T_STD_U16LE : type == CountType::U32 ? H5T_STD_U32LE : H5T_IEEE_F64LE;
}

} // namespace

StackFile::StackFile(const std::string& path) : file(path) {
    const Hdf5Session session;
    maker = std::make_unique<Hdf5Writer>(file.newPath(), path, 0, 0);
}

void StackFile::beginStack(const std::string& dataset, const StackShape& shape) {
    const Hdf5Session session;
    stack =
        maker->dataset(dataset.c_str(), storedType(shape.type), {shape.images, shape.height, shape.width});
    stackShape = shape;
    nextImage = 0;
}

void StackFile::writeImage(std::span<const zt::u32> counts) {
    std::vector<zt::u32> fitting(counts.begin(), counts.end());
    for (zt::u32& count : fitting)
        count = std::min(count, largestCount(stackShape.type));
    writePixels(fitting.data(), H5T_NATIVE_UINT32);
}

void StackFile::writeImage(std::span<const double> values) {
    writePixels(values.data(), H5T_NATIVE_DOUBLE);
}

void StackFile::writePixels(const void* pixels, hid_t memoryType) {
    const Hdf5Session session;
    const std::array<hsize_t, 3> start{nextImage, 0, 0};
    const std::array<hsize_t, 3> count{1, stackShape.height, stackShape.width};
    const Hdf5Space space(H5Dget_space(stack));
    H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, count.data(), nullptr);
    const Hdf5Space memory(H5Screate_simple(3, count.data(), nullptr));
    if (H5Dwrite(stack, memoryType, memory, space, H5P_DEFAULT, pixels) < 0)
        throw Error(file.path() + ": can't write image " + std::to_string(nextImage) + Hdf5Session::reason());
    ++nextImage;
}

void StackFile::addNumber(const std::string& dataset, double value) {
    const Hdf5Session session;
    maker->value(dataset.c_str(), H5T_NATIVE_DOUBLE, {}, &value);
}

void StackFile::addNumbers(const std::string& dataset, std::span<const double> values,
                           const std::string& unit) {
    const Hdf5Session session;
    maker->value(dataset.c_str(), H5T_NATIVE_DOUBLE, {values.size()}, values.data());
    maker->attribute(dataset.c_str(), "units", std::vector{unit});
}

void StackFile::finish() {
    const Hdf5Session session;
    if (!stack.close())
        throw Error(file.path() + ": can't write the file" + Hdf5Session::reason());
    maker->close();
    file.commit();
}

} // namespace ombrel::simulation
