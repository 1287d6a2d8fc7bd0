#pragma once

#include "workbench/ChainState.h"
#include "workbench/DeviceState.h"
#include "workbench/FrameView.h"

#include <QObject>

#include <memory>
#include <string>
#include <vector>

namespace ombrel::workbench {

// What the user has before them: the files, the frame of them, the chain and the link that is chosen. It
// knows no widget and no filter; whoever changes it calls it, whoever shows or runs it hears of the change.
class Workspace final : public QObject {
    Q_OBJECT
public:
    const std::vector<std::string>& inputs() const { return files; }
    // Grows each time that files are to be opened.
    int opening() const { return openings; }
    const StackFacts& facts() const { return stack; }
    bool isOpen() const { return stack.frames != 0; }
    zt::u64 frame() const { return current; }
    const DeviceState& device() const { return detector; }
    const ChainState& chain() const { return links; }
    // 0 when none is chosen.
    int chosenLink() const { return chosen; }

    // Nothing of it is open until setFacts() tells what it is; the chain stays, the device does not.
    void setInputs(std::vector<std::string> paths);
    // Nothing is open when `facts` has no frames.
    void setFacts(const StackFacts& facts);
    // Another mask opens the files anew, since filters look at it while they are loaded.
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
    void inputsChanged();
    void factsChanged();
    void frameChanged();
    void deviceChanged();
    void chainChanged();
    void chosenLinkChanged();

private:
    std::vector<std::string> files;
    int openings = 0;
    StackFacts stack;
    zt::u64 current = 0;
    DeviceState detector;
    ChainState links;
    int chosen = 0;
    int lastId = 0;
};

} // namespace ombrel::workbench
