#pragma once

#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ombrel {

// Looks at the files and datasets that a dataset takes its values from, when these are not stored in it: the
// sources of a virtual dataset, which may be virtual themselves, and external raw files.
//
// The library reads a source that it cannot open as fill values, opens a pipe and waits, and follows a
// virtual dataset that is its own source until the stack overflows. It opens sources even for the extent: a
// dataset has to be asked about here ahead of H5Dget_space(). Also found here is a dataset that claims far
// more than the file holds, of which a few kilobytes could ask for any memory and time.
class Hdf5Sources {
public:
    // What is wrong with the sources, for a message after the dataset's path; nothing when all are there.
    std::optional<std::string> problemOf(hid_t dataset);

    // The files that the datasets asked about take their values from, but for the files they are in.
    std::vector<std::string> files() const;

private:
    // A dataset, by the device and inode of its file and its place there.
    using Key = std::tuple<zt::u64, zt::u64, haddr_t>;

    // What a dataset is read from in the end.
    struct Stored {
        zt::u64 datasets = 0;
        double bytes = 0;
        std::size_t depth = 0; // of virtual datasets on the way there
    };

    struct Mapping;

    Stored check(hid_t dataset);
    Stored checkVirtual(hid_t dataset, hid_t creation);
    Stored checkMapping(hid_t dataset, Mapping& mapping);
    std::optional<Stored> checkSource(hid_t dataset, const Mapping& mapping, zt::u64 block);
    Stored checkSourceIn(hid_t file, const std::string& shownFile, const std::string& name);
    void checkRawFiles(hid_t creation);
    static Stored sum(Stored one, Stored other);

    std::map<Key, Stored> done; // of datasets that are right
    std::vector<Key> open;      // from the outermost dataset to the present one
    std::map<std::pair<zt::u64, zt::u64>, std::string> sources; // the path of each file, by device and inode
};

} // namespace ombrel
