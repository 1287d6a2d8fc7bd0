#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace PluginOmbrel {

// The remaining work in a bad area that is too wide to fill in one pass: for each row the columns that its
// next visit must check, and how many of its pixels are bad. With it the cost of a pass depends on its
// changes, not on the area. The memory is reused by later interpolations.
class FillFront {
public:
    struct Place {
        std::uint32_t column;
        std::uint32_t row;
    };

    void start(std::size_t rowCount) {
        firsts.assign(rowCount, none);
        unfilled.assign(rowCount, 0);
        changed.clear();
        taken = 0;
        nodes.clear();
        unused = none;
    }

    bool isStarted() const { return !firsts.empty(); }
    void stop() { firsts.clear(); }

    // A column may be added at most once per row.
    void add(Place place) {
        std::uint32_t index = unused;
        if (index == none) {
            index = static_cast<std::uint32_t>(nodes.size());
            nodes.push_back({});
        } else {
            unused = nodes[index].next;
        }
        nodes[index] = {place.column, firsts[place.row]};
        firsts[place.row] = index;
    }

    // One of the columns of a row; a number beyond all columns for an empty row.
    std::size_t anyColumn(std::size_t row) const {
        return firsts[row] == none ? none : nodes[firsts[row]].column;
    }
    // The address of that column, for a prefetch.
    const void* placeOfColumns(std::size_t row) const {
        return nodes.data() + (firsts[row] == none ? 0 : firsts[row]);
    }

    // Drops the columns for which `stays` returns false. `stays` must not add any.
    template <typename Stays>
    void visit(std::size_t row, Stays stays) {
        std::uint32_t* link = &firsts[row];
        while (*link != none) {
            const std::uint32_t index = *link;
            Node& node = nodes[index];
            if (stays(std::size_t{node.column})) {
                link = &node.next;
                continue;
            }
            *link = node.next;
            node.next = unused;
            unused = index;
        }
    }

    // Pixels changed by the running pass, in the order of rows: their neighbours must be checked in the next.
    void addChanged(Place place) { changed.push_back(place); }
    bool hasChanged() const { return taken < changed.size(); }
    Place firstChanged() const { return changed[taken]; }
    Place takeFirstChanged() {
        const Place place = changed[taken++];
        if (!hasChanged()) {
            changed.clear();
            taken = 0;
        }
        return place;
    }

    std::vector<std::uint32_t> unfilled; // by row

private:
    static constexpr std::uint32_t none = 0xffff'ffff;

    struct Node {
        std::uint32_t column;
        std::uint32_t next;
    };

    std::vector<std::uint32_t> firsts; // by row
    std::vector<Node> nodes;
    std::vector<Place> changed;
    std::size_t taken = 0; // number of taken elements
    std::uint32_t unused = none;
};

} // namespace PluginOmbrel
