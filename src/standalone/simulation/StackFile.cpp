#include "standalone/simulation/StackFile.h"

#include "standalone/Error.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <vector>

namespace ombrel::simulation {

namespace {

Hdf5Properties makeGroupsOnTheWay() {
    Hdf5Properties properties(H5Pcreate(H5P_LINK_CREATE));
    H5Pset_create_intermediate_group(properties, 1);
    return properties;
}

zt::u32 largestCount(CountType type) {
    return type == CountType::U16 ? std::numeric_limits<zt::u16>::max() : std::numeric_limits<zt::u32>::max();
}

hid_t storedType(CountType type) {
    return type == CountType::U16 ? H5T_STD_U16LE : type == CountType::U32 ? H5T_STD_U32LE : H5T_IEEE_F64LE;
}

} // namespace

StackFile::StackFile(const std::string& filePath) : path(filePath), temporaryPath(filePath + ".part") {
    const Hdf5Session session;
    file = Hdf5FileHandle(H5Fcreate(temporaryPath.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT));
    if (!file.isOpen())
        throw Error(path + ": can't make the file" + Hdf5Session::reason());
}

StackFile::~StackFile() {
    if (file.isOpen()) {
        stack.close();
        file.close();
        std::remove(temporaryPath.c_str());
    }
}

void StackFile::beginStack(const std::string& dataset, const StackShape& shape) {
    const Hdf5Session session;
    const std::array<hsize_t, 3> sides{shape.images, shape.height, shape.width};
    const Hdf5Space space(H5Screate_simple(3, sides.data(), nullptr));
    stack = Hdf5Dataset(H5Dcreate2(file, dataset.c_str(), storedType(shape.type), space, makeGroupsOnTheWay(),
                                   H5P_DEFAULT, H5P_DEFAULT));
    if (!stack.isOpen())
        throw Error(path + ": can't make " + dataset + Hdf5Session::reason());
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
        throw Error(path + ": can't write image " + std::to_string(nextImage) + Hdf5Session::reason());
    ++nextImage;
}

void StackFile::addNumber(const std::string& dataset, double value) {
    const Hdf5Session session;
    const Hdf5Space space(H5Screate(H5S_SCALAR));
    const Hdf5Dataset number(H5Dcreate2(file, dataset.c_str(), H5T_IEEE_F64LE, space, makeGroupsOnTheWay(),
                                        H5P_DEFAULT, H5P_DEFAULT));
    if (H5Dwrite(number, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, &value) < 0)
        throw Error(path + ": can't write " + dataset + Hdf5Session::reason());
}

void StackFile::finish() {
    const bool closed = stack.close() && file.close();
    if (!closed || std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        std::remove(temporaryPath.c_str());
        throw Error(path + ": can't write the file" + Hdf5Session::reason());
    }
}

} // namespace ombrel::simulation
