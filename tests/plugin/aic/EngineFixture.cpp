#include "EngineFixture.h"

namespace {

void addBlock(HeapBytes& bytes, const plain::Image& image) {
    image.pixels.empty() ? bytes.hole() : bytes.block(image.cols, image.rows, image.pixels);
}

} // namespace

void EngineFiles::writeHeap(const plain::Grid& grid, int elementSize, const plain::Image& compensateMask) {
    std::vector<float> v;
    std::vector<float> t;
    std::vector<float> e;
    for (int i = 0; i < grid.vCount; ++i)
        v.push_back(grid.points[static_cast<std::size_t>(i * grid.tCount * grid.eCount)].v);
    for (int i = 0; i < grid.tCount; ++i)
        t.push_back(grid.points[static_cast<std::size_t>(i * grid.eCount)].t);
    for (int i = 0; i < grid.eCount; ++i)
        e.push_back(grid.points[static_cast<std::size_t>(i)].e);
    HeapBytes heap;
    heap.value(std::int32_t{elementSize}).value(std::int32_t{compensateMask.pixels.empty() ? 0 : 1});
    if (!compensateMask.pixels.empty())
        addBlock(heap, compensateMask);
    heap.vector(v).vector(t).vector(e);
    for (const plain::GridPoint& point : grid.points)
        addBlock(heap, point.image);
    writeFileText(heapPath, heap.bytes);
}

std::string EngineFiles::writeMask(const std::string& name, const plain::Image& mask) {
    HeapBytes block;
    addBlock(block, mask);
    writeFileText(folder / name, block.bytes);
    return folder / name;
}

c_AIC::AICCfg EngineFiles::configuration(const plain::Settings& settings, int borderSize) {
    const plain::PreProcessSettings& preProcess = settings.preProcess;
    const plain::QualitySettings& quality = settings.quality;
    c_AIC::AICCfg cfg;
    cfg.DataFile = heapPath;
    cfg.Search = static_cast<int>(settings.search);
    cfg.LogFile = folder / "engine.log";
    cfg.LogQualityValuesFile = settings.qualityLog;
    cfg.DumpCompensationImages = settings.dump;
    cfg.PPEnabled = preProcess.enabled;
    cfg.PPBadPixelsDetectorMultiplicator = preProcess.badPixelRatio;
    cfg.PPMedianMin = preProcess.lowQuantile;
    cfg.PPMedianMax = preProcess.highQuantile;
    cfg.QfBorderMaskSize = borderSize;
    cfg.Kernel = quality.kernel;
    cfg.QfTileSize = quality.tile;
    cfg.QfTileThreshold = quality.threshold;
    if (!preProcess.badPixels.pixels.empty())
        cfg.BadPixelsCustomMaskFile = writeMask("bad.bin", preProcess.badPixels);
    if (!quality.customMask.pixels.empty())
        cfg.CustomMaskFile = writeMask("custom.bin", quality.customMask);
    return cfg;
}
