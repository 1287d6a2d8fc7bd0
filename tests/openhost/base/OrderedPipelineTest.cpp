#include "base/OrderedPipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using ombrel::OrderedPipeline;

// Workers that wait while another one takes the last item must end, too: a lost wake-up shows as a hang, in
// some rounds of many.
TEST(OrderedPipeline, EndsWithMoreWorkersThanItems) {
    for (int round = 0; round < 300; ++round) {
        int begun = 0;
        std::atomic<bool> isEnd = false;
        std::vector<int> delivered;
        OrderedPipeline<int>::run(
            {.begin =
                 [&](int& item) {
                     item = begun;
                     isEnd = begun == 3;
                     return begun++ < 3;
                 },
             .make =
                 [&](int& item) { // the last one is made when all workers have heard of the end
                     for (int turn = 0; item == 2 && (!isEnd || turn < 200); ++turn)
                         std::this_thread::yield();
                 },
             .work = [](std::size_t, int& item) { item *= 2; },
             .deliver = [&](int& item) { delivered.push_back(item); }},
            {.makers = 3, .workers = 8, .room = 12});
        ASSERT_EQ(delivered, (std::vector{0, 2, 4})) << round;
    }
}
