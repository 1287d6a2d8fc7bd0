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

// A link of the chain as the user wants it. The filters themselves are made and loaded by those who run it.
struct LinkState {
    int id = 0; // never used again once the link is gone
    std::string filter;
    bool enabled = true;
    std::string settings; // the file; empty: none
    // What a settings window holds and has not saved yet, in place of what the file holds; may be null. It
    // does not change any more.
    std::shared_ptr<Settings> unsaved;
    int revision = 0;                          // another one: a new instance is to be loaded
    std::map<std::string, std::string> params; // edited since, as texts by name

    bool operator==(const LinkState&) const = default;
};

// The chain as the user wants it.
struct ChainState {
    std::vector<LinkState> links;

    // Null when there is none.
    LinkState* find(int id) {
        const auto found = std::ranges::find(links, id, &LinkState::id);
        return found == links.end() ? nullptr : &*found;
    }
    const LinkState* find(int id) const { return const_cast<ChainState*>(this)->find(id); }
    bool operator==(const ChainState&) const = default;
};

// What the user tells of the detector behind the frames.
struct DeviceState {
    std::string mask;              // the file of its pixel mask; empty: no pixel is masked
    std::optional<double> acqTime; // seconds, of every frame; else what the files tell

    bool operator==(const DeviceState&) const = default;
};

// What became of a link when its filter was loaded, or given edits.
struct LinkReport {
    int id = 0;
    int revision = 0;
    bool hasWindow = false;        // settings of its own kind
    std::string failure;           // why it can't correct; empty when it can
    std::vector<ParamCopy> params; // as loaded, before any edit
    bool isEdited = false;         // since it was loaded
    std::string editTrouble;       // what the last edit failed of; empty when it was taken over
    double editSeconds = 0;        // that the last edit took
};

// Files to look at, as a detector of this kind measured them, and the frame of them.
struct StackChoice {
    std::vector<std::string> files;
    DeviceState device;
    zt::u64 frame = 0;
    int opening = 0; // another number for each time that files are to be opened
};

// What was opened.
struct StackFacts {
    std::vector<std::string> inputs;
    int opening = 0; // of the request for it
    zt::u64 frames = 0;
    zt::u32 width = 0;
    zt::u32 height = 0;
    std::string pixelType;
    std::vector<std::string> filters; // that there are for it
};

// What the user has before them: the files, the frame of them, the chain and the link that is chosen. It
// knows no widget and no filter; whoever changes it calls it, whoever shows or runs it hears of the change.
//
// Other files are wanted first, and shown when they are open. Until then, and when they can't be opened,
// those that were shown stay.
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
    // 0 when none is chosen.
    int chosenLink() const { return chosen; }

    // Wants these; the chain stays, the device does not.
    void setInputs(std::vector<std::string> paths);
    // What is wanted is open.
    void setFacts(const StackFacts& facts);
    // What is wanted can't be opened.
    void keepShown();
    // Another mask wants the files to be opened again, since filters look at it while they are loaded.
    void setDevice(const DeviceState& device);
    // The nearest that there is.
    void setFrame(zt::u64 frame);

    // Each returns the new link's number.
    int addLink(const std::string& filter, const std::string& settings = {});
    void removeLink(int id);
    // To the place before which `place` links stand.
    void moveLink(int id, std::size_t place);
    void setEnabled(int id, bool isEnabled);
    void chooseLink(int id);
    // Another instance is loaded from the file, and edits are gone.
    void setSettings(int id, const std::string& path);
    // The link stands in the file as it was; what was edited since stays.
    void setSaved(const LinkState& saved, const std::string& path);
    // What a settings window holds now; null: what the file holds.
    void setUnsaved(int id, std::shared_ptr<Settings> settings);
    void setParam(int id, const std::string& name, const std::string& text);
    void takeBackParam(int id, const std::string& name);

signals:
    // Files are to be opened.
    void inputsChanged();
    // They are open.
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
    StackFacts stack; // of what is shown
    ChainState links;
    int chosen = 0;
    int lastId = 0;
};

} // namespace ombrel::workbench
