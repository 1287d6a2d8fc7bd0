#pragma once

#include "HeapFixture.h"
#include "HostilePixels.h"
#include "PlainEngine.h"
#include "SixteenLanes.h"
#include "aic/AIC.h"

#include <random>

inline AICImage engineImage(const plain::Image& image) {
    AICImage result(image.cols, image.rows);
    std::ranges::copy(image.pixels, result.pixels().begin());
    return result;
}

inline plain::Image plainImage(const AICImage& image) {
    plain::Image result;
    result.cols = image.cols();
    result.rows = image.rows();
    result.pixels.assign(image.pixels().begin(), image.pixels().end());
    return result;
}

inline plain::Image randomImage(int cols, int rows, std::mt19937& random, float low = 0.5f, float high = 2) {
    plain::Image image(cols, rows);
    std::ranges::generate(image.pixels,
                          [&] { return std::uniform_real_distribution<float>(low, high)(random); });
    return image;
}

// All that an engine loads, in files of a folder of its own, with which the names of its own files begin.
class EngineFiles {
public:
    // Values of V, T and E are 1, 2, ... each; the grid's points are their images.
    void writeHeap(const plain::Grid& grid, int elementSize, const plain::Image& compensateMask = {});
    std::string writeMask(const std::string& name, const plain::Image& mask);
    // The configuration that has the engine do what the settings tell.
    c_AIC::AICCfg configuration(const plain::Settings& settings, int borderSize);

    std::string logText() const { return fileText(folder / "engine.log"); }
    std::string text(const std::string& name) const { return fileText(folder / name); }

    TemporaryFolder folder;
    std::string prefix = folder / "";
    std::string heapPath = folder / "heap.bin";
};

inline std::vector<const Kernels*> allKernels() {
    std::vector<const Kernels*> kernels(runnableKernels().begin(), runnableKernels().end());
    kernels.push_back(&sixteenLaneKernels);
    return kernels;
}
