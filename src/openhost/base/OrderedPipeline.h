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

// Items are begun in order, made and processed by several threads each, and delivered on the calling thread
// in the order of their beginning: reading, correcting and writing overlap.
template <typename Item>
class OrderedPipeline {
public:
    struct Steps {
        // Runs on one of the makers, in order. Returns false after the last item.
        std::function<bool(Item& item)> begin;
        // Runs on one of the makers.
        std::function<void(Item& item)> make;
        // Runs on one of the workers, which are numbered from 0.
        std::function<void(std::size_t worker, Item& item)> work;
        // Runs on the calling thread, in order.
        std::function<void(Item& item)> deliver;
    };

    struct Size {
        std::size_t makers = 1;
        std::size_t workers = 1;
        std::size_t room = 1; // items that exist at any time
    };

    // Needs at least one of each. Returns when all items are delivered. An exception from any step, or a
    // thread that cannot be created, stops all of them and is thrown from here.
    static void run(const Steps& steps, const Size& size) {
        OrderedPipeline pipeline(steps, size.room);
        {
            // Destroyed, and so joined, after a failure has stopped the running threads.
            std::vector<std::jthread> threads;
            pipeline.guarded([&] {
                pipeline.startThreads(threads, size);
                pipeline.deliverAll();
            });
        }
        if (pipeline.failure)
            std::rethrow_exception(pipeline.failure);
    }

private:
    struct Slot {
        Item item{};
        bool made = false;
        bool done = false;
    };

    OrderedPipeline(const Steps& given, std::size_t room) : steps(given), ring(room) {}

    void startThreads(std::vector<std::jthread>& threads, const Size& size) {
        const std::size_t wanted = size.makers + size.workers;
        try {
            threads.reserve(wanted);
            for (std::size_t maker = 0; maker < size.makers; ++maker)
                threads.emplace_back([this] { guarded([this] { makeAll(); }); });
            for (std::size_t worker = 0; worker < size.workers; ++worker)
                threads.emplace_back([this, worker] { guarded([this, worker] { workOnAll(worker); }); });
        } catch (const std::system_error& error) {
            throw Error("only " + std::to_string(threads.size()) + " of " + std::to_string(wanted) +
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
        while (Slot* const slot = beginNext()) {
            steps.make(slot->item);
            const std::lock_guard lock(mutex);
            slot->made = true;
            madeOne.notify_one();
        }
    }

    // Null after the last item.
    Slot* beginNext() {
        const std::lock_guard inOrder(beginMutex);
        std::unique_lock lock(mutex);
        freed.wait(lock, [&] { return stopped || begun >= end || begun < delivered + ring.size(); });
        if (stopped || begun >= end)
            return nullptr;
        Slot& slot = slotOf(begun);
        lock.unlock();
        const bool isLast = !steps.begin(slot.item);
        lock.lock();
        if (isLast) {
            end = begun;
            wakeAll();
            return nullptr;
        }
        ++begun;
        return &slot;
    }

    bool nextIsMade() { return taken < begun && slotOf(taken).made; }

    void workOnAll(std::size_t worker) {
        for (;;) {
            std::unique_lock lock(mutex);
            madeOne.wait(lock, [&] { return stopped || taken >= end || nextIsMade(); });
            if (stopped || taken >= end)
                return;
            Slot& slot = slotOf(taken++);
            // Another maker may have been faster; after the last item, no worker has anything to wait for.
            if (taken >= end)
                madeOne.notify_all();
            else if (nextIsMade())
                madeOne.notify_one();
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
            slot.made = slot.done = false;
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
    std::mutex beginMutex; // locked before the other
    std::mutex mutex;
    std::condition_variable freed;
    std::condition_variable madeOne;
    std::condition_variable doneOne;
    // Numbers of items so far.
    zt::u64 begun = 0;
    zt::u64 taken = 0;
    zt::u64 delivered = 0;
    zt::u64 end = std::numeric_limits<zt::u64>::max(); // the number of items, once it is known
    bool stopped = false;
    std::exception_ptr failure;
};

} // namespace ombrel
