#pragma once

#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ombrel {

// Examines the files and datasets that a dataset takes its values from if they are not stored in it: the
// sources of a virtual dataset, which may be virtual themselves, and external raw files.
//
// For a source that it cannot open, the library returns fill values; it blocks on a pipe, and follows a
// virtual dataset that is its own source until the stack overflows. Since it opens sources even for the
// extent, a dataset must be checked here before H5Dget_space() is called. This also detects a dataset that
// claims far more than the file holds: a few kilobytes could otherwise demand any amount of memory and time.
class Hdf5Sources {
public:
    // What is wrong with the sources, for a message after the dataset's path; nothing if they are valid.
    std::optional<std::string> problemOf(hid_t dataset);

    // All files that the checked datasets take their values from, except the files that hold the datasets.
    std::vector<std::string> files() const;

private:
    // Identifies a dataset by the device and inode of its file and its address there.
    using Key = std::tuple<zt::u64, zt::u64, haddr_t>;

    // The amount of data that a dataset is finally read from.
    struct Stored {
        zt::u64 datasets = 0;
        double bytes = 0;
        std::size_t depth = 0; // nested virtual datasets
    };

    struct Mapping;

    Stored check(hid_t dataset);
    Stored checkVirtual(hid_t dataset, hid_t creation);
    Stored checkMapping(hid_t dataset, Mapping& mapping);
    std::optional<Stored> checkSource(hid_t dataset, const Mapping& mapping, zt::u64 block);
    Stored checkSourceIn(hid_t file, const std::string& shownFile, const std::string& name);
    void checkRawFiles(hid_t creation);
    static Stored sum(Stored one, Stored other);

    std::map<Key, Stored> done; // valid datasets
    std::vector<Key> open;      // from the outermost dataset to the current one
    std::map<std::pair<zt::u64, zt::u64>, std::string> sources; // the path of each file, by device and inode
};

} // namespace ombrel
