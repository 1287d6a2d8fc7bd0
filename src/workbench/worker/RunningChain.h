#pragma once

#include "frame/FrameRow.h"
#include "host/Chain.h"
#include "model/Workspace.h"
#include "run/ChoiceRecorder.h"
#include "run/RunDark.h"
#include "run/RunSigma.h"
#include "worker/PluginHost.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

// The filter instances that correct the shown frames. They follow the chain that the user configured: new
// links are created and loaded, edits applied, removed links ended. Used on one thread only.
class RunningChain {
public:
    explicit RunningChain(PluginHostPtr pluginHost) : host(std::move(pluginHost)) {}

    // Returns a report for each link that was loaded or edited.
    std::vector<LinkReport> follow(const ChainState& wanted);
    // Subtracts the dark that the calibrations carry from a frame, as a run does. Throws Error if they carry
    // different ones, or one of another size.
    void subtractDark(Frame& frame) const;
    // Null without a dark.
    const DarkField* subtractedDark() const { return dark ? &*dark : nullptr; }
    FrameResult apply(FramePtr frame);
    // The links that are switched on and loaded.
    std::vector<FilterLink*> activeLinks();
    // The same, with their files; a link with settings that are not saved has none.
    std::vector<LoadedLink> loadedLinks();
    // The choice of the first adaptive filter for the latest frame.
    std::optional<SelectedFlatField> choice();

    // Writes the link's present settings; other keys of its file are kept. Throws Error.
    void saveSettings(int id, const std::string& path);

private:
    struct RunningLink {
        LinkState state; // as of the last follow()
        FilterLink link;
        LinkReport report;
        std::map<std::string, std::string> original; // parameters as loaded
        // Settings that make the filter write files, as texts by key. They are off here and apply to batch
        // runs only.
        std::map<std::string, std::string> ownWrites;
        LinkFacts facts; // without settings, those of no calibration

        bool isFor(const LinkState& wanted) const {
            return state.id == wanted.id && state.revision == wanted.revision;
        }
    };

    RunningLink makeLink(const LinkState& wanted);
    void load(RunningLink& running);
    void chooseDark();
    // False when no edit differs.
    bool applyEdits(RunningLink& running, const LinkState& wanted);
    std::string setParam(RunningLink& running, const std::string& name, const std::string& text);

    PluginHostPtr host; // first member: the filters end before the host
    std::vector<RunningLink> links;
    std::optional<DarkField> dark; // subtracted from each frame, as in a run
    std::string darkFailure;       // why it cannot be chosen; else empty
    ChoiceRecorder choices;
    zt::u64 choicesRead = 0;
};

} // namespace ombrel::workbench
