// Loading a heap of 125 images of 256 x 256, against a memcpy of the file into fresh memory; and the
// interpolation of one grid point, against a loop that reads two images and writes one, into reused
// memory and into fresh memory.
#include "Interleaved.h"
#include "store/CalibrationImages.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <memory>
#include <random>

namespace {

constexpr int side = 256;
constexpr std::uint64_t perAxis = 5;

template <typename T>
void put(std::ofstream& file, T value) {
    file.write(reinterpret_cast<const char*>(&value), sizeof value);
}

void writeHeap(const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    put(file, 256);
    put(file, 0);
    for (int axis = 0; axis < 3; ++axis) {
        put(file, perAxis);
        for (std::uint64_t i = 0; i < perAxis; ++i)
            put(file, static_cast<float>(i + 1));
    }
    std::mt19937 random(1);
    std::vector<float> pixels(side * side);
    for (std::uint64_t i = 0; i < perAxis * perAxis * perAxis; ++i) {
        std::ranges::generate(pixels, [&] { return std::uniform_real_distribution<float>(1, 2)(random); });
        put(file, side);
        put(file, side);
        file.write(reinterpret_cast<const char*>(pixels.data()),
                   static_cast<std::streamsize>(pixels.size() * sizeof(float)));
    }
}

void compareLoading(const std::string& path) {
    std::ofstream noLog;
    const auto load = [&](c_CalibrationImages::InterpolationType interpolation) {
        return [&, interpolation] {
            c_CalibrationImages store;
            if (store.Init(path, interpolation, noLog) != 0)
                std::abort();
            keep(store.Images.data());
        };
    };
    const auto bytes = static_cast<std::size_t>(std::filesystem::file_size(path));
    const std::vector<char> contents(bytes, 1);
    const std::vector<double> seconds =
        interleavedMedians({{"load", load(c_CalibrationImages::InterpolationNone)},
                            {"memcpy", [&] {
                                 const std::unique_ptr<char, decltype(&std::free)> fresh(
                                     static_cast<char*>(std::malloc(bytes)), &std::free);
                                 std::memcpy(fresh.get(), contents.data(), bytes);
                                 keep(fresh.get());
                             }}});
    std::printf("%-44s %9.2f ms, memcpy %9.2f ms, ratio %5.2f (bar 4)\n", "load of 125 images",
                seconds[0] * 1e3, seconds[1] * 1e3, seconds[0] / seconds[1]);
}

void averageLoop(const AICImage& first, const AICImage& second, float* target) {
    const float* const a = first.pixels().data();
    const float* const b = second.pixels().data();
    for (std::size_t i = 0; i < first.pixels().size(); ++i)
        target[i] = a[i] + b[i];
    keep(target);
}

void report(const char* what, const std::vector<double>& seconds) {
    std::printf("%-44s %9.2f us, loop   %9.2f us, ratio %5.2f (bar 1.1)\n", what, seconds[0] * 1e6,
                seconds[1] * 1e6, seconds[0] / seconds[1]);
}

// Walks through the grid's images, as the load does; the loop walks through the same.
void compareInterpolation(const std::string& path) {
    c_CalibrationImages store;
    std::ofstream noLog;
    if (store.Init(path, c_CalibrationImages::InterpolationNone, noLog) != 0)
        std::abort();
    const std::size_t pairs = store.Images.size() - 1;
    std::size_t ours = 0;
    std::size_t theirs = 0;
    std::vector<ImageContainer> target(1);
    const auto interpolate = [&] {
        const auto next = store.Images.begin() + static_cast<std::ptrdiff_t>(ours++ % pairs);
        store.CombineLinear1D(next, next + 1, target.begin(), c_CalibrationImages::ParamE);
        keep(target[0].Image.pixels().data());
    };
    const auto loop = [&] {
        const std::size_t next = theirs++ % pairs;
        const std::unique_ptr<float, decltype(&std::free)> fresh(
            static_cast<float*>(std::aligned_alloc(64, side * side * sizeof(float))), &std::free);
        averageLoop(store.Images[next].Image, store.Images[next + 1].Image, fresh.get());
    };
    report("interpolated grid point, with its allocation",
           interleavedMedians({{"ours", interpolate}, {"loop", loop}}));
}

} // namespace

int main() {
    const std::string path = std::filesystem::temp_directory_path() / "ombrel-bench-heap.bin";
    writeHeap(path);
    for (const bool fresh : {true, false}) {
        std::printf("%s memory\n", fresh ? "fresh" : "used");
        // Above the threshold each block of memory is a separate mapping.
        mallopt(M_MMAP_THRESHOLD, fresh ? 1 << 17 : 1 << 30);
        mallopt(M_TRIM_THRESHOLD, fresh ? 1 << 17 : 1 << 30);
        compareLoading(path);
        compareInterpolation(path);
    }
    std::filesystem::remove(path);
}
