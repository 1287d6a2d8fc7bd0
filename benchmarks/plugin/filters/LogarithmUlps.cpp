// How far the filters' logarithm is from the exact one, over many values of several kinds, and whether every
// variant returns the same bits.
//   bench_LogarithmUlps [VALUES-OF-EACH-KIND]
#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

namespace {

using PluginOmbrel::Vector;

struct LogarithmLoop {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(double* values, std::size_t count) {
        for (std::size_t i = 0; i + Lanes <= count; i += Lanes) {
            typename Vector<Lanes>::Doubles x;
            std::memcpy(&x, values + i, sizeof x);
            PluginOmbrel::Logarithm<Lanes>::replace(x);
            std::memcpy(values + i, &x, sizeof x);
        }
    }
};

struct Tally {
    double worstUlps = 0; // from the exact value
    std::size_t notNearest = 0;
    std::size_t beyondOne = 0; // further than 1 ulp from the correctly rounded value
    std::size_t differing = 0; // between variants
};

void add(Tally& tally, double x, double result) {
    const long double exact = logl(static_cast<long double>(x)); // 64 bits of mantissa
    const double nearest = static_cast<double>(exact);
    if (exact != 0) {
        int exponent = 0;
        frexpl(exact, &exponent);
        const auto ulps = static_cast<double>(fabsl(result - exact) / ldexpl(1, exponent - 53));
        tally.worstUlps = std::max(tally.worstUlps, ulps);
    }
    tally.notNearest += result != nearest;
    tally.beyondOne += result != nearest && result != std::nextafter(nearest, HUGE_VAL) &&
                       result != std::nextafter(nearest, -HUGE_VAL);
}

void addBlock(Tally& tally, const std::vector<double>& values) {
    std::vector<double> single = values;
    LogarithmLoop::run<1>(single.data(), single.size());
    std::vector<double> baseline = values;
    PluginOmbrel::runOnAnyProcessor<LogarithmLoop>(baseline.data(), baseline.size());
    std::vector<double> wide = values;
    PluginOmbrel::runVectorised<LogarithmLoop>(wide.data(), wide.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        add(tally, values[i], wide[i]);
        const auto bits = std::bit_cast<std::uint64_t>(wide[i]);
        tally.differing += bits != std::bit_cast<std::uint64_t>(baseline[i]) ||
                           bits != std::bit_cast<std::uint64_t>(single[i]);
    }
}

std::size_t report(const char* name, std::size_t count, const std::function<double()>& value) {
    Tally tally;
    std::vector<double> values(1 << 16);
    std::size_t done = 0;
    for (; done < count; done += values.size()) {
        std::ranges::generate(values, value);
        addBlock(tally, values);
    }
    std::printf("%-22s %11zu %9.4f %9.4f %% %12zu %12zu\n", name, done, tally.worstUlps,
                100 * static_cast<double>(tally.notNearest) / static_cast<double>(done), tally.beyondOne,
                tally.differing);
    return tally.beyondOne + tally.differing;
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 80'000'000;
    std::mt19937_64 random(17);
    const auto fraction = [&] { return static_cast<double>(random() >> 11) * 0x1p-53; };
    std::printf("%-22s %11s %9s %11s %12s %12s\n", "", "values", "worst ulp", "not nearest", "beyond 1 ulp",
                "variants off");
    std::size_t faults = 0;
    faults += report(
        "normal and denormal", count,
        [&] { return std::bit_cast<double>(1 + random() % 0x7FEFFFFFFFFFFFFF); });
    faults += report(
        "denormal", count / 4, [&] { return std::bit_cast<double>(1 + random() % 0x000FFFFFFFFFFFFF); });
    faults += report(
        "count rates 0 to 1e6", count, [&] { return 1e6 * (1 - fraction()); });
    faults += report("0.5 to 2", count, [&] { return 0.5 + 1.5 * fraction(); });
    faults += report("1 +- 2^-1 to 2^-53", count, [&] {
        const double distance = std::ldexp(1 + fraction(), -2 - static_cast<int>(random() % 52));
        return random() % 2 ? 1 + distance : 1 - distance;
    });
    return faults == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
