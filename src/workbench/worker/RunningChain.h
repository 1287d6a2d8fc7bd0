#pragma once

#include "frame/FrameRow.h"
#include "host/Chain.h"
#include "model/Workspace.h"
#include "run/SelectionLogs.h"
#include "worker/PluginHost.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The filter instances that correct the shown frames. They follow the chain that the user wants: what is new
// is made and loaded, what is edited gets the edits, what is gone ends. All of it on one thread.
class RunningChain {
public:
    explicit RunningChain(PluginHostPtr pluginHost) : host(std::move(pluginHost)) {}

    // Returns the report of each link for which something was done.
    std::vector<LinkReport> follow(const ChainState& wanted);
    FrameResult apply(FramePtr frame);
    // Of the first adaptive filter for the latest frame.
    std::optional<SelectedFlatField> choice();

    // Writes settings as the link has them now, other keys of its file included. Throws Error.
    void saveSettings(int id, const std::string& path);

private:
    struct RunningLink {
        LinkState state; // as it was followed
        FilterLink link;
        LinkReport report;
        std::map<std::string, std::string> original; // parameters as loaded
        // What the settings make the filter write, as texts by key. Here it writes nothing: a batch does.
        std::map<std::string, std::string> ownWrites;

        bool isFor(const LinkState& wanted) const {
            return state.id == wanted.id && state.revision == wanted.revision;
        }
    };

    RunningLink makeLink(const LinkState& wanted);
    void load(RunningLink& running);
    // False when there was nothing to do.
    bool applyEdits(RunningLink& running, const LinkState& wanted);
    std::string setParam(RunningLink& running, const std::string& name, const std::string& text);

    PluginHostPtr host; // the first member: filters end before it
    std::vector<RunningLink> links;
    SelectionLogs choices;
    zt::u64 choicesRead = 0;
};

} // namespace ombrel::workbench
