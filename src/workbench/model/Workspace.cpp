#include "model/Workspace.h"

#include <algorithm>

namespace ombrel::workbench {

void Workspace::setInputs(std::vector<std::string> paths) {
    wantedStack = {std::move(paths), {}, 0, ++openings};
    emit inputsChanged();
}

void Workspace::setFacts(const StackFacts& facts) {
    shownStack = wantedStack;
    stack = facts;
    emit factsChanged();
}

void Workspace::keepShown() {
    wantedStack = shownStack;
}

void Workspace::setDevice(const DeviceState& device) {
    if (device == shownStack.device)
        return;
    if (device.mask != shownStack.device.mask) {
        wantedStack = {shownStack.files, device, shownStack.frame, ++openings};
        emit inputsChanged();
        return;
    }
    shownStack.device = device;
    if (!isWaiting())
        wantedStack = shownStack;
    emit deviceChanged();
}

void Workspace::setFrame(zt::u64 frame) {
    frame = std::min(frame, std::max<zt::u64>(stack.frames, 1) - 1);
    if (frame == shownStack.frame)
        return;
    shownStack.frame = frame;
    if (!isWaiting())
        wantedStack = shownStack;
    emit frameChanged();
}

int Workspace::addLink(const std::string& filter, const std::string& settings) {
    LinkState link;
    link.id = ++lastId;
    link.filter = filter;
    link.settings = settings;
    links.links.push_back(std::move(link));
    emit chainChanged();
    chooseLink(lastId);
    return lastId;
}

void Workspace::removeLink(int id) {
    const auto found = std::ranges::find(links.links, id, &LinkState::id);
    if (found == links.links.end())
        return;
    const auto next = links.links.erase(found);
    emit chainChanged();
    if (chosen == id)
        chooseLink(links.links.empty() ? 0 : next == links.links.end() ? links.links.back().id : next->id);
}

void Workspace::moveLink(int id, std::size_t place) {
    auto& all = links.links;
    const auto found = std::ranges::find(all, id, &LinkState::id);
    const auto target = all.begin() + static_cast<std::ptrdiff_t>(std::min(place, all.size()));
    if (found == all.end())
        return;
    if (found < target)
        std::rotate(found, found + 1, target);
    else
        std::rotate(target, found, found + 1);
    emit chainChanged();
}

void Workspace::setEnabled(int id, bool isEnabled) {
    LinkState* const link = links.find(id);
    if (!link || link->enabled == isEnabled)
        return;
    link->enabled = isEnabled;
    emit chainChanged();
}

void Workspace::chooseLink(int id) {
    if (chosen == id)
        return;
    chosen = id;
    emit chosenLinkChanged();
}

void Workspace::setSettings(int id, const std::string& path) {
    LinkState* const link = links.find(id);
    if (!link)
        return;
    link->settings = path;
    link->unsaved.reset();
    link->params.clear();
    ++link->revision;
    emit chainChanged();
}

void Workspace::setSaved(const LinkState& saved, const std::string& path) {
    LinkState* const link = links.find(saved.id);
    if (!link)
        return;
    link->settings = path;
    if (link->unsaved == saved.unsaved)
        link->unsaved.reset();
    std::erase_if(link->params, [&](const auto& edit) {
        const auto found = saved.params.find(edit.first);
        return found != saved.params.end() && found->second == edit.second;
    });
    ++link->revision;
    emit chainChanged();
}

void Workspace::setUnsaved(int id, std::shared_ptr<Settings> settings) {
    LinkState* const link = links.find(id);
    if (!link)
        return;
    link->unsaved = std::move(settings);
    ++link->revision;
    emit chainChanged();
}

void Workspace::setParam(int id, const std::string& name, const std::string& text) {
    LinkState* const link = links.find(id);
    if (!link)
        return;
    link->params[name] = text;
    emit chainChanged();
}

void Workspace::takeBackParam(int id, const std::string& name) {
    LinkState* const link = links.find(id);
    if (!link || link->params.erase(name) == 0)
        return;
    emit chainChanged();
}

} // namespace ombrel::workbench
