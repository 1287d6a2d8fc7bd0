#include "standalone/simulation/StackFile.h"

#include "standalone/Error.h"

#include <array>
#include <cstdio>

namespace ombrel::simulation {

namespace {

Hdf5Properties makeGroupsOnTheWay() {
    Hdf5Properties properties(H5Pcreate(H5P_LINK_CREATE));
    H5Pset_create_intermediate_group(properties, 1);
    return properties;
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
        file.close();
        std::remove(temporaryPath.c_str());
    }
}

Hdf5Dataset StackFile::addStack(const std::string& dataset, zt::u32 images, zt::u32 width, zt::u32 height) {
    const Hdf5Session session;
    const std::array<hsize_t, 3> sides{images, height, width};
    const Hdf5Space space(H5Screate_simple(3, sides.data(), nullptr));
    Hdf5Dataset stack(H5Dcreate2(file, dataset.c_str(), H5T_STD_U16LE, space, makeGroupsOnTheWay(),
                                 H5P_DEFAULT, H5P_DEFAULT));
    if (!stack.isOpen())
        throw Error(path + ": can't make " + dataset + Hdf5Session::reason());
    return stack;
}

void StackFile::writeImage(const Hdf5Dataset& stack, zt::u32 index, std::span<const zt::u16> pixels) {
    const Hdf5Session session;
    const Hdf5Space space(H5Dget_space(stack));
    std::array<hsize_t, 3> sides{};
    H5Sget_simple_extent_dims(space, sides.data(), nullptr);
    const std::array<hsize_t, 3> start{index, 0, 0};
    const std::array<hsize_t, 3> count{1, sides[1], sides[2]};
    H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, count.data(), nullptr);
    const Hdf5Space memory(H5Screate_simple(3, count.data(), nullptr));
    if (H5Dwrite(stack, H5T_NATIVE_UINT16, memory, space, H5P_DEFAULT, pixels.data()) < 0)
        throw Error(path + ": can't write image " + std::to_string(index) + Hdf5Session::reason());
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
    if (!file.close() || std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        std::remove(temporaryPath.c_str());
        throw Error(path + ": can't write the file" + Hdf5Session::reason());
    }
}

} // namespace ombrel::simulation
