#include "calibration/CalibrationGridFlats.h"

#include "base/Error.h"
#include "base/LineProblems.h"
#include "base/SizeText.h"
#include "frame/FrameFile.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace ombrel {

namespace {

std::vector<double> pixelsOf(const Frame& frame) {
    const FramePtr copy(static_cast<Frame*>(frame.clone()));
    copy->convertToType(zt::DT_DOUBLE);
    const auto pixels = std::as_const(*copy).pixels<double>();
    return {pixels.begin(), pixels.end()};
}

std::vector<double> divided(std::vector<double> sum, zt::u32 count) {
    for (double& value : sum)
        value /= count;
    return sum;
}

} // namespace

CalibrationGridFlats::CalibrationGridFlats(const std::string& tablePath, std::vector<GridRow> tableRows)
    : all(std::move(tableRows)) {
    LineProblems problems(tablePath);
    for (const GridRow& row : all) {
        try {
            const FrameFileInfo info = FrameFile::open(row.file, FrameRole::Flat)->info();
            darks.add(info);
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
        } catch (const Error& error) {
            problems.add(row.line, error.what());
        }
    }
    problems.throwIfAny();
}

GridFlat CalibrationGridFlats::read(std::size_t row) const {
    const auto file = FrameFile::open(all[row].file, FrameRole::Flat);
    const zt::u32 begin = all[row].page.value_or(0);
    if (file->info().width != columns || file->info().height != lines || begin >= file->info().frames)
        throw Error(all[row].file + ": the file has changed meanwhile");
    const zt::u32 end = all[row].page ? begin + 1 : file->info().frames;

    GridFlat flat;
    std::vector<double> sum(std::size_t{columns} * lines);
    for (zt::u32 frame = begin; frame < end; ++frame) {
        flat.test = file->readFrame(frame);
        const std::vector<double> pixels = pixelsOf(*flat.test);
        ++flat.frames;
        if (frame + 1 == end && flat.isTestKeptOut())
            flat.ofOthers = divided(sum, flat.frames - 1);
        std::ranges::transform(sum, pixels, sum.begin(), std::plus());
    }
    flat.ofAll = divided(std::move(sum), flat.frames);
    if (!flat.isTestKeptOut())
        flat.ofOthers = flat.ofAll;
    return flat;
}

} // namespace ombrel
