#include "calibration/CalibrationHeap.h"

#include "base/Error.h"
#include "base/Numbers.h"
#include "base/ProgramRun.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <limits>
#include <stdexcept>

namespace ombrel {

namespace {

static_assert(std::endian::native == std::endian::little, "the files are written as memory holds them");

// Collects small fields, to write them in one call.
class FieldBuffer {
public:
    template <typename T>
    FieldBuffer& add(T value) {
        const auto raw = std::as_bytes(std::span(&value, 1));
        gathered.insert(gathered.end(), raw.begin(), raw.end());
        return *this;
    }
    FieldBuffer& addCounted(std::span<const float> values) {
        add(zt::u64{values.size()});
        for (const float value : values)
            add(value);
        return *this;
    }
    std::span<const std::byte> bytes() const { return gathered; }

private:
    std::vector<std::byte> gathered;
};

void writeBlock(AtomicFile& file, zt::u32 width, zt::u32 height, std::span<const float> pixels) {
    file.write(FieldBuffer().add(static_cast<zt::i32>(width)).add(static_cast<zt::i32>(height)).bytes());
    file.write(std::as_bytes(pixels));
}

// Readers count pixels in 32 bits.
bool isImageSize(zt::u32 width, zt::u32 height) {
    const zt::u64 count = zt::u64{width} * height;
    return 0 < count && count <= static_cast<zt::u64>(std::numeric_limits<zt::i32>::max());
}

// Walks through the parts of a heap file without reading the pixels.
class HeapWalk {
public:
    explicit HeapWalk(const std::string& path)
        : file(FileDescriptor::openForReading(path)), size(file.size()) {}

    bool isHeap() {
        return skip(sizeof(zt::i32)) && skipMask() && skipAxis() && skipAxis() && skipAxis() && skipBlocks();
    }

private:
    bool skip(zt::u64 bytes) {
        const bool fits = bytes <= size - at;
        at += fits ? bytes : 0;
        return fits;
    }
    template <typename T>
    bool read(T& value) {
        const zt::u64 start = at;
        if (!skip(sizeof value))
            return false;
        file.readAt(start, std::as_writable_bytes(std::span(&value, 1)));
        return true;
    }
    bool skipMask() {
        zt::i32 masked = 0;
        return read(masked) && (masked == 0 || masked == 1) && (masked == 0 || skipBlock());
    }
    bool skipAxis() {
        zt::u64 count = 0;
        if (!read(count) || count == 0 || count > (size - at) / sizeof(float) || points > size / count)
            return false;
        points *= count;
        return skip(count * sizeof(float));
    }
    bool skipBlock() {
        zt::i32 width = 0, height = 0;
        return read(width) && read(height) && width > 0 && height > 0 &&
               skip(zt::u64(width) * zt::u64(height) * sizeof(float));
    }
    bool skipBlocks() {
        for (; points > 0; --points)
            if (!skipBlock())
                return false;
        return at == size;
    }

    FileDescriptor file;
    zt::u64 size;
    zt::u64 at = 0;
    zt::u64 points = 1; // of the grid
};

} // namespace

bool CalibrationHeap::mayReplace(const std::string& path) {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(path, none);
    return none || bytes == 0 || HeapWalk(path).isHeap();
}

CalibrationHeap::CalibrationHeap(const std::string& path, const CalibrationGrid& grid,
                                 const HeapSettings& settings)
    : file(path), width(settings.width), height(settings.height) {
    if (width < 2 || !isImageSize(width, height))
        throw Error(path + ": calibration images cannot be " + sizeText(width, height) +
                    "; they need at least two columns");
    for (const auto& point : grid.points())
        isHole.push_back(!point.has_value());
    const bool masked = !settings.compensationMask.empty();
    file.write(FieldBuffer().add(settings.elementSize).add(zt::i32{masked}).bytes());
    if (masked) {
        checkPixels(settings.compensationMask.size(), "the compensation mask");
        writeBlock(file, width, height, settings.compensationMask);
    }
    file.write(FieldBuffer().addCounted(grid.v()).addCounted(grid.t()).addCounted(grid.e()).bytes());
}

void CalibrationHeap::append(std::span<const float> pixels) {
    writeHoles();
    if (next == isHole.size())
        throw std::logic_error("CalibrationHeap: more images than grid points");
    checkPixels(pixels.size(), "a calibration image");
    writeBlock(file, width, height, pixels);
    ++next;
}

void CalibrationHeap::sync() {
    writeHoles();
    if (next != isHole.size())
        throw std::logic_error("CalibrationHeap: fewer images than grid points");
    file.sync();
}

void CalibrationHeap::commit() {
    sync();
    file.commit();
}

void CalibrationHeap::writeHoles() {
    static constexpr float pixel[1] = {0};
    for (; next < isHole.size() && isHole[next]; ++next)
        writeBlock(file, 1, 1, pixel);
}

void CalibrationHeap::checkPixels(std::size_t count, const std::string& what) const {
    if (count != zt::u64{width} * height)
        throw Error(file.path() + ": " + what + " has " + std::to_string(count) + " pixels, not " +
                    sizeText(width, height));
}

namespace {

constexpr std::size_t mostTests = 27;
constexpr std::size_t enoughForGain = 128; // points that the gain is measured at

} // namespace

double divisorOf(std::span<const double> pixels, bool normalise) {
    return normalise ? meanOf(pixels) : 1;
}

std::vector<float> imageOf(std::span<const double> pixels, bool normalise) {
    const double level = divisorOf(pixels, normalise);
    std::vector<float> image(pixels.size());
    std::ranges::transform(pixels, image.begin(),
                           [level](double pixel) { return static_cast<float>(pixel / level); });
    return image;
}

std::vector<bool> testPoints(std::size_t count) {
    std::vector<bool> chosen(count, count <= mostTests);
    if (count > mostTests)
        for (std::size_t i = 0; i < mostTests; ++i)
            chosen[(2 * i + 1) * count / (2 * mostTests)] = true;
    return chosen;
}

AdaptiveHeaps::AdaptiveHeaps(const AdaptiveHeapPlan& plan, const AdaptiveHeapPaths& paths,
                             const std::function<void()>& advanced)
    : coarse(coarseGridOf(plan.grid)), tried(trialGridOf(plan.grid)),
      whole(paths.whole, plan.grid, plan.settings), trial(paths.trial, tried.grid, plan.settings),
      pointFacts(plan.grid.points().size(), {notANumber, 0}), transfer(plan.flats.subtractedDark()),
      leastLevel(std::numeric_limits<double>::infinity()) {
    if (coarse)
        coarseHeap.emplace(paths.coarse, coarse->grid, plan.settings);
    const auto triedCount =
        std::ranges::count_if(tried.grid.points(), [](const auto& point) { return point.has_value(); });
    const std::vector<bool> isTest = testPoints(static_cast<std::size_t>(triedCount));
    const auto& points = plan.grid.points();
    for (std::size_t i = 0, taken = 0; i < points.size(); ++i) {
        if (!points[i])
            continue;
        if (Interrupt::requested())
            throw Error("interrupted; nothing was written");
        addPoint(plan, i, plan.flats.read(*points[i]), tried.isKept[i] && isTest[taken++]);
        advanced();
    }
    trial.commit();
    if (coarseHeap)
        coarseHeap->commit();
}

void AdaptiveHeaps::addPoint(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat, bool isTest) {
    const GridRow& row = plan.flats.rows()[*plan.grid.points()[index]];
    const double level = meanOf(flat.ofAll);
    if (!(level > 0) || !(meanOf(flat.ofOthers) > 0))
        throw Error(row.file + ": the flat field's mean is not above 0");
    leastLevel = std::min(leastLevel, level);
    greatestLevel = std::max(greatestLevel, level);
    singles += flat.isTestKeptOut() ? 0 : 1;
    ++imageCount;
    if (flat.isTestKeptOut() && index % (pointFacts.size() / enoughForGain + 1) == 0)
        transfer.addSplit(*flat.test, flat.ofOthers, flat.frames);
    pointFacts[index] = {divisorOf(flat.ofAll, plan.normalise), static_cast<double>(flat.frames)};

    const std::vector<float> image = imageOf(flat.ofAll, plan.normalise);
    whole.append(image);
    if (tried.isKept[index])
        trial.append(imageOf(flat.ofOthers, plan.normalise));
    if (coarse && coarse->isKept[index])
        coarseHeap->append(image);
    if (isTest)
        addTest(plan, index, std::move(flat));
}

void AdaptiveHeaps::addTest(const AdaptiveHeapPlan& plan, std::size_t index, GridFlat flat) {
    const bool isBetween = coarse && coarse->isBetween[index];
    const bool isOwnFlat = !flat.isTestKeptOut();
    if (isOwnFlat && !isBetween)
        return;
    const auto place = isOwnFlat   ? testFrames.begin()
                       : isBetween ? testFrames.begin() + static_cast<std::ptrdiff_t>(betweenCount)
                                   : testFrames.end();
    testFrames.emplace(place, plan.flats.rows()[*plan.grid.points()[index]].point, std::move(flat),
                       plan.settings.compensationMask, FlatOrigin::WithoutTest);
    betweenCount += isBetween ? 1 : 0;
    ownFlatCount += isOwnFlat ? 1 : 0;
}

} // namespace ombrel
