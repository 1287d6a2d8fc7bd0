#include "standalone/Hdf5Open.h"

#include "standalone/Error.h"

namespace ombrel {

Hdf5FileHandle openHdf5(const std::string& path, const std::string& problem) {
    Hdf5Session::checkMemory();
    const Hdf5Properties access{H5Pcreate(H5P_FILE_ACCESS)};
    // A lock would refuse files on disks that know none, and our own outputs while they grow.
    H5Pset_file_locking(access, false, true);
    Hdf5FileHandle file{H5Fopen(path.c_str(), H5F_ACC_RDONLY, access)};
    if (!file.isOpen()) // told here: the library forgets the reason when `access` is closed
        throw Error(path + ": " + problem + Hdf5Session::reason());
    return file;
}

} // namespace ombrel
