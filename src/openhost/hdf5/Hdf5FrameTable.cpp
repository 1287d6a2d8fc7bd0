#include "hdf5/Hdf5FrameTable.h"

#include "base/Error.h"
#include "base/Numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace ombrel {

namespace {

// Truncates the reason to the available bytes, but not within a UTF-8 character.
void storeReason(const std::string& reason, char (&text)[StoredFrameRow::reasonBytes]) {
    std::size_t length = std::min(reason.size(), sizeof text - 1);
    const auto isContinuation = [&](std::size_t index) { return (reason[index] & 0xC0) == 0x80; };
    while (length > 0 && length < reason.size() && isContinuation(length))
        --length;
    std::memcpy(text, reason.data(), length);
}

StoredFrameRow::Figures stored(const FrameStatistics& figures) {
    return {figures.mean, figures.spread, figures.zeroPixels, figures.notFinite};
}

FrameStatistics figuresOf(const StoredFrameRow::Figures& figures) {
    return {figures.mean, figures.spread, figures.zeroPixels, figures.notFinite};
}

void insert(hid_t compound, const std::string& name, std::size_t offset, hid_t type) {
    if (H5Tinsert(compound, name.c_str(), offset, type) < 0)
        throw Error("the table of frames has no type" + Hdf5Session::reason());
}

void insertFigures(hid_t compound, const std::string& prefix, std::size_t offset) {
    using Figures = StoredFrameRow::Figures;
    insert(compound, prefix + "_mean", offset + offsetof(Figures, mean), H5T_NATIVE_DOUBLE);
    insert(compound, prefix + "_spread", offset + offsetof(Figures, spread), H5T_NATIVE_DOUBLE);
    insert(compound, prefix + "_zero_pixels", offset + offsetof(Figures, zeroPixels), H5T_NATIVE_UINT64);
    insert(compound, prefix + "_not_finite", offset + offsetof(Figures, notFinite), H5T_NATIVE_UINT64);
}

void insertPoint(hid_t compound, const std::string& prefix, std::size_t offset) {
    using Point = StoredFrameRow::Point;
    insert(compound, prefix + "_v", offset + offsetof(Point, v), H5T_NATIVE_DOUBLE);
    insert(compound, prefix + "_t", offset + offsetof(Point, t), H5T_NATIVE_DOUBLE);
    insert(compound, prefix + "_e", offset + offsetof(Point, e), H5T_NATIVE_DOUBLE);
    insert(compound, prefix + "_value", offset + offsetof(Point, value), H5T_NATIVE_DOUBLE);
}

// Reads the first `count` rows as `type`, which may contain only some of the members.
template <typename Row>
std::vector<Row> readAs(hid_t table, hid_t type, zt::u64 count) {
    std::vector<Row> rows(count);
    if (count == 0)
        return rows;
    const Hdf5Space inFile{H5Dget_space(table)};
    const hsize_t start = 0;
    const hsize_t wanted = count;
    const Hdf5Space inMemory{H5Screate_simple(1, &wanted, nullptr)};
    if (H5Sselect_hyperslab(inFile, H5S_SELECT_SET, &start, nullptr, &wanted, nullptr) < 0 ||
        H5Dread(table, type, inMemory, inFile, H5P_DEFAULT, rows.data()) < 0)
        throw Error("the table of frames cannot be read" + Hdf5Session::reason());
    return rows;
}

} // namespace

StoredFrameRow storedRow(const FrameRow& row) {
    StoredFrameRow stored{};
    stored.inputHash = row.inputHash;
    stored.outputHash = row.outputHash;
    stored.input = ombrel::stored(row.input);
    stored.output = ombrel::stored(row.output);
    stored.seconds = row.seconds;
    stored.best = stored.next = {notANumber, notANumber, notANumber, notANumber};
    if (row.choice) {
        const auto& [best, next, ambiguous, outside] = *row.choice;
        stored.best = {best.v, best.t, best.e, best.value};
        stored.next = {next.v, next.t, next.e, next.value};
        stored.ambiguous = ambiguous;
        stored.outside = outside;
    }
    stored.failed = row.failed;
    stored.marked = static_cast<zt::u32>(row.marked);
    stored.level = row.level.value_or(notANumber);
    stored.notPositive = row.notPositive;
    storeReason(row.reason, stored.reason);
    return stored;
}

FrameRow frameRow(const StoredFrameRow& stored) {
    FrameRow row;
    row.failed = stored.failed != 0;
    row.reason.assign(stored.reason, ::strnlen(stored.reason, sizeof stored.reason));
    row.marked = stored.marked;
    row.inputHash = stored.inputHash;
    row.outputHash = stored.outputHash;
    row.input = figuresOf(stored.input);
    row.output = figuresOf(stored.output);
    row.seconds = stored.seconds;
    if (!std::isnan(stored.level))
        row.level = stored.level;
    row.notPositive = stored.notPositive;
    if (!std::isnan(stored.best.value))
        row.choice = SelectedFlatField{{stored.best.v, stored.best.t, stored.best.e, stored.best.value},
                                       {stored.next.v, stored.next.t, stored.next.e, stored.next.value},
                                       stored.ambiguous != 0,
                                       stored.outside};
    return row;
}

Hdf5Type storedRowType() {
    Hdf5Type compound{H5Tcreate(H5T_COMPOUND, sizeof(StoredFrameRow))};
    Hdf5Type text{H5Tcopy(H5T_C_S1)};
    H5Tset_size(text, StoredFrameRow::reasonBytes);
    H5Tset_cset(text, H5T_CSET_UTF8);
    insert(compound, "input_hash", offsetof(StoredFrameRow, inputHash), H5T_NATIVE_UINT64);
    insert(compound, "output_hash", offsetof(StoredFrameRow, outputHash), H5T_NATIVE_UINT64);
    insertFigures(compound, "input", offsetof(StoredFrameRow, input));
    insertFigures(compound, "output", offsetof(StoredFrameRow, output));
    insert(compound, "seconds", offsetof(StoredFrameRow, seconds), H5T_NATIVE_DOUBLE);
    insertPoint(compound, "grid", offsetof(StoredFrameRow, best));
    insertPoint(compound, "grid_next", offsetof(StoredFrameRow, next));
    insert(compound, "grid_ambiguous", offsetof(StoredFrameRow, ambiguous), H5T_NATIVE_UINT8);
    insert(compound, "grid_outside", offsetof(StoredFrameRow, outside), H5T_NATIVE_UINT8);
    insert(compound, "failed", offsetof(StoredFrameRow, failed), H5T_NATIVE_UINT8);
    insert(compound, "reason", offsetof(StoredFrameRow, reason), text);
    insert(compound, "marked", offsetof(StoredFrameRow, marked), H5T_NATIVE_UINT32);
    insert(compound, "level", offsetof(StoredFrameRow, level), H5T_NATIVE_DOUBLE);
    insert(compound, "not_positive", offsetof(StoredFrameRow, notPositive), H5T_NATIVE_UINT64);
    return compound;
}

std::vector<FrameRow> readRows(hid_t table, zt::u64 count) {
    std::vector<FrameRow> rows;
    for (const StoredFrameRow& stored : readAs<StoredFrameRow>(table, storedRowType(), count))
        rows.push_back(frameRow(stored));
    return rows;
}

zt::u64 countFailed(hid_t table, zt::u64 count) {
    Hdf5Type failed{H5Tcreate(H5T_COMPOUND, sizeof(zt::u8))};
    insert(failed, "failed", 0, H5T_NATIVE_UINT8);
    return static_cast<zt::u64>(std::ranges::count(readAs<zt::u8>(table, failed, count), zt::u8{1}));
}

} // namespace ombrel
