#pragma once

#include "frame/RunRecord.h"
#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace ombrel {

// Creates an HDF5 file with space for all of its datasets, which are filled without the library afterwards.
// Pixels and numbers are not written here. Throws Error that begins with `shownPath`.
class Hdf5Writer {
public:
    using Extent = std::initializer_list<hsize_t>; // empty for a single value

    // The sizes are chosen for `frames` of `frameBytes`: the library's tables and the frames each get
    // contiguous space.
    Hdf5Writer(const std::string& path, const std::string& shownPath, zt::u64 frames, zt::u64 frameBytes);

    // Missing groups are created. The dataset is contiguous, or chunked if the extent of a chunk is given.
    Hdf5Dataset dataset(const char* name, hid_t type, Extent extent, Extent chunk = {});
    // Creates a contiguous dataset and returns its address.
    zt::u64 table(const char* name, hid_t type, Extent extent);
    // Creates a contiguous dataset with its contents.
    void value(const char* name, hid_t type, Extent extent, const void* bytes);
    void text(const char* name, const std::string& value);
    // A group of that NeXus class. Missing groups above it are created.
    void group(const char* name, const char* nexusClass);
    // A text on an existing object; several are a list.
    void attribute(const char* object, const char* name, const std::vector<std::string>& texts);
    // A number in that type of the file.
    void attribute(const char* object, const char* name, hid_t type, double value);
    // A second name of an existing object.
    void link(const char* existing, const char* name);
    // A dataset that is a view of the datasets of the same name in the parts' files, one after the other
    // along the first axis; `frame` is the extent of the other axes. A missing part reads as `fill`, if
    // given.
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

// The address of chunk `index` along the first axis of a dataset of rank 3. The text of an Error is only the
// reason.
zt::u64 chunkAddress(hid_t dataset, zt::u64 index);

} // namespace ombrel
