// The median of tables, against a literal bisection and std::nth_element on a copy.
#include "Interleaved.h"
#include "fixtures/PlainMedian.h"
#include "kernels/FlatField.h"

#include <bit>
#include <random>

namespace {

double nthElement(const std::vector<double>& values) {
    std::vector<double> copy = values;
    const auto place = copy.begin() + static_cast<std::ptrdiff_t>((copy.size() + 1) / 2 - 1);
    std::ranges::nth_element(copy, place);
    return *place;
}

template <typename Distribution>
void compare(const char* name, std::size_t count, Distribution distribution) {
    std::mt19937_64 random(3);
    std::vector<double> values(count);
    std::ranges::generate(values, [&] { return static_cast<double>(distribution(random)); });
    double ours = 0, literal = 0, nth = 0;
    const std::vector<double> seconds = interleavedMedians(
        {
            {"ours", [&] { ours = PluginOmbrel::medianOf(values); }},
            {"literal", [&] { literal = medianPlainly(values); }},
            {"nth_element", [&] { nth = nthElement(values); }},
        },
        count > 1'000'000 ? 5 : 31);
    std::printf("%-22s %9zu %9.3f %9.3f %9.3f %9.1f %9.1f %s\n", name, count, seconds[0] * 1e3,
                seconds[1] * 1e3, seconds[2] * 1e3, seconds[1] / seconds[0], seconds[2] / seconds[0],
                std::bit_cast<long>(ours) == std::bit_cast<long>(literal) && ours == nth ? "" : "DIFFERENT");
}

} // namespace

int main() {
    std::printf("ms; bars at 16 million: literal/ours >= 60, nth/ours >= 6\n");
    std::printf("%-22s %9s %9s %9s %9s %9s %9s\n", "values", "count", "ours", "literal", "nth", "lit/ours",
                "nth/ours");
    for (const std::size_t count : {std::size_t{65536}, std::size_t{16} << 20}) {
        compare("uniform", count, std::uniform_real_distribution<double>(0, 1));
        compare("normal", count, std::normal_distribution<double>(1000, 30));
        compare("Poisson counts", count, std::poisson_distribution<int>(1000));
        compare("log-normal", count, std::lognormal_distribution<double>(0, 2));
        compare("half of them zero", count,
                [u = std::uniform_real_distribution<double>(-1, 1)](auto& random) mutable {
                    return std::max(0.0, u(random));
                });
        compare("zeros of both signs", count,
                [u = std::uniform_real_distribution<double>(-1, 1)](auto& random) mutable {
                    const double value = u(random);
                    return std::abs(value) < 0.5 ? std::copysign(0.0, value) : value;
                });
        compare("constant", count, std::uniform_int_distribution<int>(7, 7));
    }
}
