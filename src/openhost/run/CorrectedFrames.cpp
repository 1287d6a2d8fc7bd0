#include "run/CorrectedFrames.h"

#include "base/OrderedPipeline.h"
#include "run/BatchRun.h"

#include <utility>

namespace ombrel {

CorrectedFrames::CorrectedFrames(Plan framesPlan)
    : plan(std::move(framesPlan)), begun(plan.chain->remembers() ? 0 : plan.range.begin),
      thread([this] { run(); }) {}

CorrectedFrames::~CorrectedFrames() {
    const std::lock_guard lock(mutex);
    stopped = true;
    changed.notify_all();
}

CorrectedFrames::Answer CorrectedFrames::next(Item& item, std::chrono::milliseconds most) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, most, [&] { return !handed.empty() || ended; });
    if (!handed.empty()) {
        item = std::move(handed.front());
        handed.pop_front();
        if (handed.size() + 1 == plan.jobs) // the other side waits only then
            changed.notify_all();
        return Answer::Item;
    }
    if (failure)
        std::rethrow_exception(std::exchange(failure, nullptr));
    return ended ? Answer::End : Answer::Timeout;
}

bool CorrectedFrames::isStopped() {
    const std::lock_guard lock(mutex);
    return stopped;
}

void CorrectedFrames::read(Item& item) const {
    try {
        item.result.frame = plan.stack->readFrame(item.index);
    } catch (const Error& error) {
        item.result.failure = error.what();
    }
}

// Waits while the caller has not taken the frames before.
void CorrectedFrames::hand(Item& item) {
    if (item.index < plan.range.begin)
        return;
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return handed.size() < plan.jobs || stopped; });
    if (stopped)
        return;
    handed.push_back(std::move(item));
    if (handed.size() == 1) // likewise
        changed.notify_all();
}

void CorrectedFrames::run() {
    using Pipeline = OrderedPipeline<Item>;
    const Pipeline::Steps steps{
        [&](Item& item) {
            item.index = begun;
            return begun < plan.range.end && !isStopped() && ++begun;
        },
        [&](Item& item) { read(item); },
        [&](std::size_t, Item& item) {
            if (!item.result)
                return;
            if (plan.acqTime)
                item.result.frame->setAcqTime(*plan.acqTime);
            item.result = plan.chain->apply(std::move(item.result.frame));
        },
        [&](Item& item) { hand(item); },
    };
    const std::size_t workers = plan.chain->remembers() ? 1 : plan.jobs;
    std::exception_ptr thrown;
    try {
        Pipeline::run(steps,
                      {readersFor(*plan.stack, workers), workers, framesInFlight(*plan.stack, workers)});
    } catch (...) {
        thrown = std::current_exception();
    }
    const std::lock_guard lock(mutex);
    failure = thrown;
    ended = true;
    changed.notify_all();
}

} // namespace ombrel
