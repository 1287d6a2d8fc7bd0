#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <time.h>
#include <vector>

// Compares the times of several functions on a shared machine: they run alternately in short samples, so that
// a slow phase affects all of them, and the median of each one's samples counts. Times are the thread's
// processor time, since other programs may interrupt it.
struct Contender {
    std::string name;
    std::function<void()> work;
};

// Seconds a call, one median per contender. A sample repeats its work until it lasts some milliseconds.
inline std::vector<double> interleavedMedians(const std::vector<Contender>& contenders, int rounds = 31) {
    const auto now = [] {
        timespec time;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    const auto sample = [&](const Contender& contender, int calls) {
        const double start = now();
        for (int i = 0; i < calls; ++i)
            contender.work();
        return (now() - start) / calls;
    };

    std::vector<int> calls;
    for (const Contender& contender : contenders) {
        sample(contender, 1); // first touch
        calls.push_back(std::max(1, static_cast<int>(0.004 / std::max(1e-9, sample(contender, 1)))));
    }
    std::vector<std::vector<double>> seconds(contenders.size());
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < contenders.size(); ++i)
            seconds[i].push_back(sample(contenders[i], calls[i]));

    std::vector<double> medians;
    for (std::vector<double>& samples : seconds) {
        std::ranges::nth_element(samples, samples.begin() + rounds / 2);
        medians.push_back(samples[static_cast<std::size_t>(rounds) / 2]);
    }
    return medians;
}

// Keeps the compiler from removing work whose result is not used.
inline void keep(const void* result) {
    asm volatile("" : : "g"(result) : "memory");
}
