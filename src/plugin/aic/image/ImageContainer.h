#pragma once

#include "image/AICImage.h"

// One point of the calibration grid, or the result of a search: an image and the settings that it was taken
// at. What the three settings measure is the user's choice.
struct ImageContainer {
    AICImage Image; // no pixels: a hole in the grid
    float V = 0;
    float T = 0;
    float E = 0;
    // To be filled by interpolation instead of from the file; stays true once it is filled.
    bool Interpolated = false;
};
