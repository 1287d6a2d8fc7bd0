#pragma once

#include "hdf5/Hdf5Values.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// Tells whether two paths lead to one object; only as long as the object is kept open.
struct Hdf5Identity {
    unsigned long file = 0;
    haddr_t address = HADDR_UNDEF;

    static Hdf5Identity of(hid_t object);
    bool operator==(const Hdf5Identity&) const = default;
};

// A dataset that could hold frames, with every path that leads to it, those near the root first.
struct Hdf5Candidate {
    std::vector<std::string> paths;
    Hdf5Object object;
    Hdf5Identity identity;
    Hdf5Shape shape;
    std::optional<std::string> problem; // with what it is made of; then the shape may be a guess
};

// What is in an HDF5 file. Soft and external links are followed; those that lead nowhere are only noted.
struct Hdf5Contents {
    std::vector<Hdf5Candidate> candidates;
    // Datasets that cannot be frames, and links that lead nowhere, as shown to users.
    std::vector<std::string> others;
    std::vector<std::string> deadLinks; // those of them into other files
    std::vector<std::string> files;     // that datasets are in or take their values from
};

Hdf5Contents listContents(hid_t file);

} // namespace ombrel
