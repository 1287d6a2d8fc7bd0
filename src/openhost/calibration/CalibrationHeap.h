#pragma once

#include "base/AtomicFile.h"
#include "calibration/CalibrationGrid.h"
#include "zt/Types.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

// What a heap file holds beside the images of its grid.
struct HeapSettings {
    zt::i32 elementSize = 0; // side of one sensor element in pixels
    zt::u32 width = 0;       // of every image; at least 2, since one column stands for a hole
    zt::u32 height = 0;
    std::span<const float> compensationMask; // multiplies every frame; empty: none
};

// Writes the calibration of the adaptive filter, image after image:
//
//   i32 element size, i32 whether there is a mask, the mask's image block if so;
//   for V, T and E: u64 count, then the values as floats;
//   for each grid point, V slowest and E fastest, an image block, of 1 x 1 for a hole.
//
// All little-endian. The file is replaced in one step by commit(); without it nothing is left. Throws Error
// with the path.
class CalibrationHeap {
public:
    CalibrationHeap(const std::string& path, const CalibrationGrid& grid, const HeapSettings& settings);

    // Whether a file may be replaced by a heap: one that is not there, is empty, or has the layout of a heap.
    static bool mayReplace(const std::string& path);

    // The flat field of the next grid point that is no hole, in the order of CalibrationGrid::points().
    void append(std::span<const float> pixels);
    // All grid points must have their image. The contents are on the disk then, at newPath(), and wait for
    // commit().
    void sync();
    const std::string& newPath() const { return file.newPath(); }
    void commit();

private:
    void writeHoles();
    void checkPixels(std::size_t count, const std::string& what) const;

    AtomicFile file;
    std::vector<bool> isHole;
    std::size_t next = 0;
    zt::u32 width;
    zt::u32 height;
};

} // namespace ombrel
