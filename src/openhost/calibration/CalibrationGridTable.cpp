#include "calibration/CalibrationGridTable.h"

#include "base/CsvTable.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/FrameFile.h"
#include "frame/Statistics.h"
#include "inspection/MeanDark.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <numeric>
#include <span>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace ombrel {

namespace {

constexpr std::array<const char*, 5> columnNames{"v", "t", "e", "file", "page"};
constexpr std::size_t pageColumn = 4; // optional

using Fields = std::vector<std::string>;
// The position of each column in a line.
using Columns = std::array<std::optional<std::size_t>, columnNames.size()>;

// An error in one line.
class BadLine : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

Fields split(const std::string& line) {
    const auto fields = splitCsvLine(line);
    if (!fields)
        throw BadLine("a double quote is not closed, or text follows it");
    return *fields;
}

Columns readHeader(const Fields& names) {
    Columns columns;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto known = std::ranges::find(columnNames, names[i]);
        if (known == columnNames.end() || columns[known - columnNames.begin()])
            throw BadLine("\"" + names[i] +
                          "\" is an unknown or repeated column; the first line names the columns " +
                          "v,t,e,file or v,t,e,file,page");
        columns[known - columnNames.begin()] = i;
    }
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (!columns[i] && i != pageColumn)
            throw BadLine(std::string("the column ") + columnNames[i] +
                          " is missing; the first line names the columns v,t,e,file or v,t,e,file,page");
    return columns;
}

template <typename T>
T numberOf(const Fields& fields, const Columns& columns, std::size_t column) {
    const std::string& text = fields[*columns[column]];
    const auto value = readNumber<T>(text);
    if (!value || !std::isfinite(static_cast<double>(*value)))
        throw BadLine("\"" + text + "\" is not a number for " + columnNames[column]);
    return *value;
}

GridRow readRow(const Fields& fields, const Columns& columns, const std::filesystem::path& folder) {
    const auto wanted = static_cast<std::size_t>(
        std::ranges::count_if(columns, [](const auto& column) { return column.has_value(); }));
    if (fields.size() != wanted)
        throw BadLine(countText(fields.size(), "field") + ", not " + std::to_string(wanted));
    GridRow row;
    row.point = {numberOf<float>(fields, columns, 0) + 0.0f, // not -0
                 numberOf<float>(fields, columns, 1) + 0.0f, numberOf<float>(fields, columns, 2) + 0.0f};
    const std::string& file = fields[*columns[3]];
    if (file.empty())
        throw BadLine("no file is named");
    row.file = (folder / file).string(); // an absolute one replaces the folder
    if (columns[pageColumn] && !fields[*columns[pageColumn]].empty())
        row.page = numberOf<zt::u32>(fields, columns, pageColumn);
    return row;
}

class TableReader {
public:
    explicit TableReader(const std::string& path)
        : problems(path), folder(std::filesystem::path(path).parent_path()) {}

    // Without a valid header no line can be read, so its errors are thrown immediately.
    void read(std::size_t number, const std::string& line) {
        try {
            if (columns)
                addRow(number, readRow(split(line), *columns, folder));
            else
                columns = readHeader(split(line));
        } catch (const BadLine& bad) {
            problems.add(number, bad.what());
            if (!columns)
                problems.throwIfAny();
        }
    }

    std::vector<GridRow> finish() const {
        problems.throwIfAny();
        return rows;
    }

private:
    void addRow(std::size_t number, GridRow row) {
        row.line = number;
        const auto [first, isNew] = lineOf.try_emplace(row.point, number);
        if (!isNew)
            throw BadLine("its grid point is named in line " + std::to_string(first->second) + " already");
        rows.push_back(std::move(row));
    }

    ParseErrors problems;
    std::filesystem::path folder;
    std::optional<Columns> columns;
    std::vector<GridRow> rows;
    std::map<GridPoint, std::size_t> lineOf;
};

// More than any list of flat fields needs; a larger file is not a table.
constexpr std::size_t longestLine = 65536;
constexpr zt::u64 largestTable = zt::u64{16} << 20;

std::string readTable(const std::string& path) {
    const FileDescriptor file = FileDescriptor::openForReading(path);
    checkRegular(file, path);
    if (file.size() > largestTable)
        throw Error(path + ": has " + countText(file.size(), "byte") + "; a table may have " +
                    std::to_string(largestTable));
    std::string text(file.size(), '\0');
    file.readAt(0, std::as_writable_bytes(std::span(text)));
    return text;
}

bool isPassedOver(const std::string& line) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    return first == std::string::npos || line[first] == '#';
}

} // namespace

std::vector<GridRow> readGridTable(const std::string& path) {
    std::istringstream file(readTable(path));
    TableReader reader(path);
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (line.size() > longestLine)
            throw Error(path + ": line " + std::to_string(number) + " has " + countText(line.size(), "byte") +
                        "; a line of a table may have " + std::to_string(longestLine));
        if (number == 1 && line.starts_with("\xEF\xBB\xBF"))
            line.erase(0, 3); // the byte order mark that spreadsheets write
        if (!isPassedOver(line))
            reader.read(number, line);
    }
    auto rows = reader.finish();
    if (rows.empty())
        throw Error(path + ": the table names no flat field");
    return rows;
}

namespace {

std::vector<double> divided(std::vector<double> sum, zt::u32 count) {
    for (double& value : sum)
        value /= count;
    return sum;
}

} // namespace

CalibrationGridFlats::CalibrationGridFlats(const std::string& tablePath, std::vector<GridRow> tableRows)
    : all(std::move(tableRows)) {
    ParseErrors problems(tablePath);
    for (const GridRow& row : all) {
        try {
            const FrameFileInfo info = FrameFile::open(row.file, FrameRole::Flat)->info();
            if (columns == 0) {
                columns = info.width;
                lines = info.height;
            }
            if (info.width != columns || info.height != lines)
                problems.add(row.line, row.file + " has " + sizeText(info.width, info.height) +
                                           " pixels, not " + sizeText(columns, lines));
            if (row.page.value_or(0) >= info.frames)
                problems.add(row.line, row.file + " has no page " + std::to_string(row.page.value_or(0)) +
                                           "; it has " + std::to_string(info.frames) + ", counted from 0");
            std::vector<zt::u32> frames(row.page ? 1 : info.frames);
            std::iota(frames.begin(), frames.end(), row.page.value_or(0));
            used.push_back(std::move(frames));
        } catch (const Error& error) {
            problems.add(row.line, error.what());
        }
    }
    problems.throwIfAny();
}

namespace {

std::string setName(const GridPoint& point) {
    return "frames of v " + numberText(point.v) + " t " + numberText(point.t) + " e " + numberText(point.e);
}

} // namespace

void CalibrationGridFlats::inspect(FieldInspection& inspection) {
    for (std::size_t row = 0; row < all.size(); ++row) {
        const auto file = FrameFile::open(all[row].file, FrameRole::Flat);
        FieldSet set{.name = setName(all[row].point),
                     .width = columns,
                     .height = lines,
                     .places = {},
                     .read = [&](std::size_t field) { return file->readFrame(used[row][field]); }};
        for (const zt::u32 frame : used[row])
            set.places.push_back({all[row].file, frame});
        std::vector<zt::u32> kept;
        for (const std::size_t field : inspection.judge(set))
            kept.push_back(used[row][field]);
        used[row] = std::move(kept);
    }
}

void CalibrationGridFlats::subtract(const DarkField& dark, Console& console) {
    const std::string& first = all.front().file;
    checkDarkSize(dark, columns, lines, first);
    console.warning(darkTimeNote(dark, FrameFile::open(first, FrameRole::Flat)->acqTime(used[0][0]), first));
    subtracted = dark;
}

GridFlat CalibrationGridFlats::read(std::size_t row) const {
    const auto file = FrameFile::open(all[row].file, FrameRole::Flat);
    if (file->info().width != columns || file->info().height != lines ||
        used[row].back() >= file->info().frames)
        throw Error(all[row].file + ": the file has changed meanwhile");

    GridFlat flat;
    std::vector<double> sum(std::size_t{columns} * lines);
    for (const zt::u32 frame : used[row]) {
        flat.test = file->readFrame(frame);
        if (subtracted)
            flat.test->subtract(subtracted->mean);
        const std::vector<double> pixels = doublesOf(*flat.test);
        ++flat.frames;
        if (frame == used[row].back() && flat.isTestKeptOut())
            flat.ofOthers = divided(sum, flat.frames - 1);
        std::ranges::transform(sum, pixels, sum.begin(), std::plus());
    }
    flat.ofAll = divided(std::move(sum), flat.frames);
    if (!flat.isTestKeptOut())
        flat.ofOthers = flat.ofAll;
    return flat;
}

} // namespace ombrel
