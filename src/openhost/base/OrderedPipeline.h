#pragma once

#include "base/Error.h"
#include "zt/Types.h"

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace ombrel {

// Items are made by one thread, processed by several, and delivered on the calling thread in the order of
// making: reading, correcting and writing overlap. At most `room` items exist at any time.
template <typename Item>
class OrderedPipeline {
public:
    struct Steps {
        // Runs on a separate thread. Returns false after the last item.
        std::function<bool(Item& item)> make;
        // Runs on one of the workers, which are numbered from 0.
        std::function<void(std::size_t worker, Item& item)> work;
        // Runs on the calling thread, in order.
        std::function<void(Item& item)> deliver;
    };

    // Needs at least one worker and room for one item. Returns when all items are delivered. An exception
    // from any step, or a thread that cannot be created, stops all of them and is thrown from here.
    static void run(const Steps& steps, std::size_t workers, std::size_t room) {
        OrderedPipeline pipeline(steps, room);
        {
            // Destroyed, and so joined, after a failure has stopped the running threads.
            std::vector<std::jthread> threads;
            pipeline.guarded([&] {
                pipeline.startThreads(threads, workers);
                pipeline.deliverAll();
            });
        }
        if (pipeline.failure)
            std::rethrow_exception(pipeline.failure);
    }

private:
    struct Slot {
        Item item{};
        bool done = false;
    };

    OrderedPipeline(const Steps& given, std::size_t room) : steps(given), ring(room) {}

    void startThreads(std::vector<std::jthread>& threads, std::size_t workers) {
        try {
            threads.reserve(workers + 1);
            threads.emplace_back([this] { guarded([this] { makeAll(); }); });
            for (std::size_t worker = 0; worker < workers; ++worker)
                threads.emplace_back([this, worker] { guarded([this, worker] { workOnAll(worker); }); });
        } catch (const std::system_error& error) {
            throw Error("only " + std::to_string(threads.size()) + " of " + std::to_string(workers + 1) +
                        " threads can be made: " + error.code().message() +
                        "; give fewer --jobs or more memory");
        }
    }

    template <typename Work>
    void guarded(Work work) {
        try {
            work();
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (!failure)
                failure = std::current_exception();
            stopped = true;
            wakeAll();
        }
    }

    void makeAll() {
        for (zt::u64 number = 0;; ++number) {
            std::unique_lock lock(mutex);
            freed.wait(lock, [&] { return stopped || number < delivered + ring.size(); });
            if (stopped)
                return;
            lock.unlock();
            const bool isMade = steps.make(slotOf(number).item);
            lock.lock();
            if (!isMade) {
                end = number;
                wakeAll();
                return;
            }
            ++made;
            madeOne.notify_one();
        }
    }

    void workOnAll(std::size_t worker) {
        for (;;) {
            std::unique_lock lock(mutex);
            madeOne.wait(lock, [&] { return stopped || taken < made || taken >= end; });
            if (stopped || taken >= end)
                return;
            Slot& slot = slotOf(taken++);
            lock.unlock();
            steps.work(worker, slot.item);
            lock.lock();
            slot.done = true;
            doneOne.notify_one();
        }
    }

    void deliverAll() {
        for (;;) {
            std::unique_lock lock(mutex);
            Slot& slot = slotOf(delivered);
            doneOne.wait(lock, [&] { return stopped || slot.done || delivered >= end; });
            if (stopped || delivered >= end)
                return;
            lock.unlock();
            steps.deliver(slot.item);
            slot.item = Item{};
            lock.lock();
            slot.done = false;
            ++delivered;
            freed.notify_one();
        }
    }

    void wakeAll() {
        freed.notify_all();
        madeOne.notify_all();
        doneOne.notify_all();
    }

    Slot& slotOf(zt::u64 number) { return ring[static_cast<std::size_t>(number % ring.size())]; }

    const Steps& steps;
    std::vector<Slot> ring;
    std::mutex mutex;
    std::condition_variable freed;
    std::condition_variable madeOne;
    std::condition_variable doneOne;
    // The number of items made so far.
    zt::u64 made = 0;
    zt::u64 taken = 0;
    zt::u64 delivered = 0;
    zt::u64 end = std::numeric_limits<zt::u64>::max(); // the number of items, once it is known
    bool stopped = false;
    std::exception_ptr failure;
};

} // namespace ombrel
