#pragma once

#include "kernels/Neighbourhood.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace PluginOmbrel {

// The surrounded bad pixels of one pass: those at least two away from every edge whose neighbours are all
// good. Pixels filled in a pass are not used as sources in the same pass, so several can be collected: their
// neighbours are prefetched in the meantime, and their sums are computed together.
template <typename T>
class FillQueue {
public:
    FillQueue(T* frameData, std::size_t frameWidth) : data(frameData), width(frameWidth) {}

    void add(std::size_t x, std::size_t y) {
        if (count == firstNeighbours.size())
            fillAll();
        const std::size_t first = (y - neighbourReach) * width + x - neighbourReach;
        firstNeighbours[count++] = first;
        const T* row = data + first;
        for (std::size_t i = 0; i < neighbourSide; ++i, row += width) {
            __builtin_prefetch(row);
            __builtin_prefetch(row + neighbourSide - 1);
        }
    }

    void fillAll() {
        std::size_t i = 0;
        for (; i + together <= count; i += together)
            fill<together>(firstNeighbours.data() + i);
        for (; i < count; ++i)
            fill<1>(firstNeighbours.data() + i);
        count = 0;
    }

private:
    // Each addition to a sum waits for the previous one, so several sums take hardly longer than one.
    static constexpr std::size_t together = 4;

    template <std::size_t Pixels>
    void fill(const std::size_t* firsts) {
        std::array<double, Pixels> sums{};
        const T* row = data;
        for (std::size_t y = 0; y < neighbourSide; ++y, row += width)
            for (std::size_t x = 0; x < neighbourSide; ++x) {
                if (y == neighbourReach && x == neighbourReach)
                    continue;
                const double weight = inverseDistances[y][x];
                for (std::size_t i = 0; i < Pixels; ++i)
                    sums[i] += weight * row[firsts[i] + x];
            }
        for (std::size_t i = 0; i < Pixels; ++i)
            data[firsts[i] + neighbourReach * (width + 1)] = static_cast<T>(sums[i] / surroundedWeightSum);
    }

    T* data;
    std::size_t width;
    std::array<std::size_t, 32> firstNeighbours; // index of the upper left one
    std::size_t count = 0;
};

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
