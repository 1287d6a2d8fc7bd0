#pragma once

#include "model/ParamCopy.h"
#include "settings/Settings.h"

#include <QObject>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

// A link of the chain as the user configured it. The filters themselves are created and loaded elsewhere.
struct LinkState {
    int id = 0; // not reused after the link is removed
    std::string filter;
    bool enabled = true;
    std::string settings; // file; may be empty
    // Settings in an open settings window that are not saved yet; they override the file. May be null;
    // immutable.
    std::shared_ptr<Settings> unsaved;
    int revision = 0;                          // a change requires a new filter instance
    std::map<std::string, std::string> params; // edited since loading, as texts by name

    bool operator==(const LinkState&) const = default;
};

// The chain as the user configured it.
struct ChainState {
    std::vector<LinkState> links;

    // Null for an unknown id.
    LinkState* find(int id) {
        const auto found = std::ranges::find(links, id, &LinkState::id);
        return found == links.end() ? nullptr : &*found;
    }
    const LinkState* find(int id) const { return const_cast<ChainState*>(this)->find(id); }
    bool operator==(const ChainState&) const = default;
};

// Facts about the detector that the user adds to the files.
struct DeviceState {
    std::string mask;              // file of its pixel mask or "none"; empty: the one next to the frames
    std::optional<double> acqTime; // seconds, of every frame; unset: as in the files

    bool operator==(const DeviceState&) const = default;
};

// The result of loading a link's filter or of applying edits to it.
struct LinkReport {
    int id = 0;
    int revision = 0;
    bool hasWindow = false;        // the filter has its own settings window
    std::string failure;           // why it can't correct; empty when it can
    std::vector<ParamCopy> params; // as loaded, before any edit
    bool isEdited = false;         // since it was loaded
    std::string editTrouble;       // why the last edit failed; empty on success
    double editSeconds = 0;        // duration of the last edit
};

// Files to show, the detector state for them, and the current frame.
struct StackChoice {
    std::vector<std::string> files;
    DeviceState device;
    zt::u64 frame = 0;
    int opening = 0; // incremented whenever files must be opened
};

// Properties of the open stack.
struct StackFacts {
    std::vector<std::string> inputs;
    int opening = 0; // number of the request
    zt::u64 frames = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::string pixelType;
    std::vector<std::string> filters; // filters that the plug-in registers for it
};

// The state of the user's work: the files, the current frame, the chain and the selected link. It knows
// neither widgets nor filters: callers change it through its functions and observe it through its signals.
//
// New files are first requested (wanted) and become the shown ones when they are open. Until then, and when
// opening fails, the previous files stay.
class Workspace final : public QObject {
    Q_OBJECT
public:
    const StackChoice& wanted() const { return wantedStack; }
    const std::vector<std::string>& inputs() const { return shownStack.files; }
    int opening() const { return shownStack.opening; }
    const StackFacts& facts() const { return stack; }
    bool isOpen() const { return stack.frames != 0; }
    zt::u64 frame() const { return shownStack.frame; }
    const DeviceState& device() const { return shownStack.device; }
    const ChainState& chain() const { return links; }
    // 0 when no link is selected.
    int chosenLink() const { return chosen; }

    // Requests these files; the chain is kept, the device state is not.
    void setInputs(std::vector<std::string> paths);
    // The requested files are open.
    void setFacts(const StackFacts& facts);
    // Opening the requested files failed.
    void keepShown();
    // A new mask requires opening the files again, since filters read the mask while they are loaded.
    void setDevice(const DeviceState& device);
    // Clamped to the frames of the stack.
    void setFrame(zt::u64 frame);

    // Returns the new link's id.
    int addLink(const std::string& filter, const std::string& settings = {});
    void removeLink(int id);
    // Moves the link in front of the one at index `place`, as counted before the move.
    void moveLink(int id, std::size_t place);
    void setEnabled(int id, bool isEnabled);
    void chooseLink(int id);
    // Drops the edits; a new instance is loaded from the file.
    void setSettings(int id, const std::string& path);
    // The file now holds the link as in `saved`; later edits are kept.
    void setSaved(const LinkState& saved, const std::string& path);
    // The present contents of the settings window; null when they equal the file.
    void setUnsaved(int id, std::shared_ptr<Settings> settings);
    void setParam(int id, const std::string& name, const std::string& text);
    void takeBackParam(int id, const std::string& name);

signals:
    // Files must be opened.
    void inputsChanged();
    // The files are open.
    void factsChanged();
    void frameChanged();
    void deviceChanged();
    void chainChanged();
    void chosenLinkChanged();

private:
    bool isWaiting() const { return wantedStack.opening != shownStack.opening; }

    StackChoice shownStack;
    StackChoice wantedStack;
    int openings = 0;
    StackFacts stack; // of the shown files
    ChainState links;
    int chosen = 0;
    int lastId = 0;
};

} // namespace ombrel::workbench
