#pragma once

#include "frame/RunRecord.h"
#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace ombrel {

// Makes an HDF5 file whose datasets all have their place from the start, and are filled there without the
// library: nothing is written where the pixels and numbers go. Throws Error that begins with `shownPath`.
class Hdf5Writer {
public:
    using Extent = std::initializer_list<hsize_t>; // empty for a single value

    // `frames` of `frameBytes` are what the file is made for: the library's tables and the frames get their
    // room so that each is in one piece.
    Hdf5Writer(const std::string& path, const std::string& shownPath, zt::u64 frames, zt::u64 frameBytes);

    // Groups on the way are made. The dataset is stored in one piece, or in chunks where their extent is
    // given.
    Hdf5Dataset dataset(const char* name, hid_t type, Extent extent, Extent chunk = {});
    // A dataset in one piece; returns its address.
    zt::u64 table(const char* name, hid_t type, Extent extent);
    // A dataset in one piece, with its contents.
    void value(const char* name, hid_t type, Extent extent, const void* bytes);
    void text(const char* name, const std::string& value);
    // A dataset that is a view of the datasets of the same name in the parts' files, one behind the other
    // along the first axis; `frame` is the extent of the others. What a missing part would hold reads as
    // `fill`, where one is given.
    void view(const char* name, hid_t type, Extent frame, const std::vector<PartRecord>& parts,
              const void* fill);
    void close();

private:
    void boundCache(hid_t access) const;
    Hdf5Type textType(std::size_t bytes) const;
    void check(bool succeeded) const;
    hid_t checked(hid_t identifier) const;

    std::string shownPath;
    Hdf5FileHandle file;
    Hdf5Properties linkCreation;
};

// The address of chunk `index` along the first axis of a dataset of rank 3. Throws Error with the reason
// alone.
zt::u64 chunkAddress(hid_t dataset, zt::u64 index);

} // namespace ombrel
