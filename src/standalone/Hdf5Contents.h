#pragma once

#include "standalone/Hdf5Shape.h"

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
};

// What is in an HDF5 file. Soft and external links are followed; those that lead nowhere are only noted.
struct Hdf5Contents {
    std::vector<Hdf5Candidate> candidates;
    std::vector<std::string>
        others; // datasets that can't be frames, and links that lead nowhere, as shown to users
};

Hdf5Contents listContents(hid_t file);

} // namespace ombrel
