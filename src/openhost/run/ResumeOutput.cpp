#include "run/ResumeOutput.h"

#include "base/Error.h"

namespace ombrel {

std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record) {
    std::optional<OutputState> state = FrameOutput::stateToResume(path, record.toJson());
    if (!state)
        return state;
    const auto differences = record.differencesFrom(RunRecord::fromJson(state->plan.record));
    if (differences.empty())
        return state->framesDone > 0 ? std::move(state) : std::nullopt;
    std::string text = path + ": was made by another run and cannot be resumed";
    for (const std::string& difference : differences)
        text += "; " + difference;
    throw Error(text);
}

} // namespace ombrel
