#pragma once

#include "settings/Settings.h"

#include <algorithm>
#include <map>
#include <memory>
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

} // namespace ombrel::workbench
