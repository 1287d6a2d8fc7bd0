#pragma once

#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Handle.h"
#include "zt/Types.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ombrel {

// Copies small objects from one HDF5 file into another. Links into other files are followed like those within
// the file, but never into a pipe or a device. What cannot be copied is left out.
class Hdf5Copy {
public:
    // `frames`: a dataset of one axis with this many numbers or texts has one for each frame. It is not
    // copied, but noted.
    Hdf5Copy(hid_t source, hid_t target, zt::u64 frames) : from(source), to(target), frameCount(frames) {}

    // Where a group of the source goes; empty for a group that is left out. `group` is open.
    using Place = std::function<std::string(hid_t group, const std::string& usualPlace)>;

    // Copies what is in the group, and the groups in it.
    void copyGroup(const std::string& group, const std::string& place, const Place& placeOf);

    // Datasets with a number or a text for each frame: their paths in the target, and in the source.
    const std::map<std::string, std::string>& columns() const { return noted; }

private:
    struct Visit;

    void copyTree(const Hdf5Object& group, const std::string& path, const std::string& place,
                  const Place& placeOf);
    void copyMember(const Hdf5Object& member, const std::string& path, const std::string& place,
                    const Place& placeOf);
    void copyDataset(const Hdf5Object& dataset, const std::string& path, const std::string& place);

    hid_t from;
    hid_t to;
    zt::u64 frameCount;
    std::map<std::string, std::string> noted;
    std::vector<Hdf5Identity> open; // groups on the way to the current one: links may lead back
    double bytesCopied = 0;
    zt::u64 objectsSeen = 0;
};

// Copies the attributes that the target lacks, except large ones and references.
void copyAttributes(hid_t from, hid_t to);

// Whether the link and its target exist.
bool existsInHdf5(hid_t file, const std::string& path);

// Properties with which missing groups on the way to a new object are made.
Hdf5Properties creatingGroups();

} // namespace ombrel
