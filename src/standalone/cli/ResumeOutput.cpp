#include "standalone/cli/ResumeOutput.h"

#include "standalone/Error.h"

namespace ombrel::cli {

std::optional<OutputState> outputToResume(const std::string& path, const RunRecord& record) {
    std::optional<OutputState> state = FrameOutput::stateOf(path);
    if (!state)
        return state;
    const auto differences = record.differencesFrom(RunRecord::fromJson(state->plan.record));
    if (differences.empty())
        return state;
    std::string text = path + ": was made by another run and cannot be gone on with";
    for (const std::string& difference : differences)
        text += "; " + difference;
    throw Error(text);
}

} // namespace ombrel::cli
