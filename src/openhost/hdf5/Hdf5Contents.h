#pragma once

#include "hdf5/Hdf5Values.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// Compares whether two paths lead to the same object; valid only while the object is open.
struct Hdf5Identity {
    unsigned long file = 0;
    haddr_t address = HADDR_UNDEF;

    static Hdf5Identity of(hid_t object);
    bool operator==(const Hdf5Identity&) const = default;
};

// A dataset that could hold frames, with all paths to it, those near the root first.
struct Hdf5Candidate {
    std::vector<std::string> paths;
    Hdf5Object object;
    Hdf5Identity identity;
    Hdf5Shape shape;
    std::optional<std::string> problem; // a problem with its sources; then the shape may be a guess
};

// The contents of an HDF5 file. Soft and external links are followed; dangling ones are only listed.
struct Hdf5Contents {
    std::vector<Hdf5Candidate> candidates;
    // Datasets that cannot be frames, and dangling links, as shown to users.
    std::vector<std::string> others;
    std::map<std::string, std::string> deadLinks; // those into other files: their paths, and a text on each
    std::vector<std::string> files;               // that hold the datasets or their values
    std::vector<std::string> detectors;           // groups of class NXdetector
};

Hdf5Contents listContents(hid_t file);

// What is kept of a listing: paths without open objects.
struct Hdf5Names {
    // The paths of each dataset that could hold frames, those near the root first, by each of them.
    std::map<std::string, std::shared_ptr<const std::vector<std::string>>> datasets;
    std::vector<std::string> files; // as in Hdf5Contents
    std::string detectorMask;       // see maskOfDetector()
};

// The names in the file at a path. A file is listed again only after it has changed: listing one with
// thousands of datasets takes long, and each of them may be opened by its name. Throws Error.
std::shared_ptr<const Hdf5Names> namesInHdf5(const std::string& path);

} // namespace ombrel
