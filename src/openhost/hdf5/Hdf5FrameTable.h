#pragma once

#include "frame/FrameRow.h"
#include "hdf5/Hdf5Handle.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ombrel {

// A row of the table of frames, as an HDF5 output stores it.
struct StoredFrameRow {
    static constexpr std::size_t reasonBytes = 127; // including the final 0

    struct Point {
        double v, t, e, value;
    };
    struct Figures {
        double mean, spread;
        zt::u64 zeroPixels, notFinite;
    };

    zt::u64 inputHash;
    zt::u64 outputHash;
    Figures input;
    Figures output;
    double seconds;
    Point best; // NaN for a run without a grid
    Point next;
    zt::u8 ambiguous;
    zt::u8 failed;
    char reason[reasonBytes];
    zt::u8 outside;
    char unused[2];
    zt::u32 marked;
    double level; // NaN for an output of counts
    zt::u64 notPositive;
};

StoredFrameRow storedRow(const FrameRow& row);
FrameRow frameRow(const StoredFrameRow& stored);

// The row as a compound type of the library, with named members.
Hdf5Type storedRowType();

// The first `count` rows of an open table. The text of an Error is only the reason.
std::vector<FrameRow> readRows(hid_t table, zt::u64 count);
// Number of failed frames among the first `count`.
zt::u64 countFailed(hid_t table, zt::u64 count);

} // namespace ombrel
