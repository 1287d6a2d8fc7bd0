#include "tiff/TiffOutput.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "frame/FrameOutput.h"

#include <algorithm>
#include <stdexcept>

namespace ombrel {

TiffOutput::TiffOutput(const OutputPlan& plan)
    : file{plan.path}, failedFrame{failedFramePixels(plan)}, record{plan}, layout{plan, record.run()},
      framesPlanned{plan.frames} {
    file.reserveBehind(layout.pixelOffset(plan.frames));
    file.descriptor().writeAt(0, layout.header());
}

TiffOutput::TiffOutput(const OutputState& state)
    : file{OutputFile::reopen(state.plan.path)}, failedFrame{failedFramePixels(state.plan)}, record{state},
      layout{state.plan, record.run()}, framesPlanned{state.plan.frames}, framesDone{state.framesDone} {
    file.descriptor().writeAt(layout.linkOffset(framesDone), layout.lastLink());
    file.reserveBehind(layout.pixelOffset(framesPlanned));
}

TiffOutput::~TiffOutput() {
    if (framesDone == 0)
        return;
    try {
        checkInPlace();
        record.write();
        file.cut(size());
    } catch (const std::exception&) { // the space stays allocated; the file is valid anyway
    }
}

void TiffOutput::keepWholeFrames(OutputState& state) {
    const auto file = FileDescriptor::openForReading(state.plan.path);
    const TiffLayout layout(state.plan, TiffRecord::runOf(state.plan.path));
    std::vector<std::byte> frame = failedFramePixels(state.plan);
    const zt::u64 failedHash = pixelHash(frame);
    std::vector<std::byte> found;
    const auto holds = [&](zt::u64 offset, std::span<const std::byte> bytes) {
        found.resize(bytes.size());
        return !file.tryReadAt(offset, found) && std::ranges::equal(found, bytes);
    };
    const auto isWhole = [&](zt::u64 page, const FrameRow& row) {
        const std::vector<std::byte> directory = layout.directory(page);
        const std::size_t linkless = directory.size() - layout.lastLink().size();
        return holds(layout.linkOffset(page), layout.linkTo(page)) &&
               holds(layout.textOffset(page), layout.texts(page)) &&
               holds(layout.directoryOffset(page), std::span(directory).first(linkless)) &&
               !file.tryReadAt(layout.pixelOffset(page), frame) &&
               pixelHash(frame) == (row.failed ? failedHash : row.outputHash);
    };
    zt::u64 whole = 0;
    while (whole < state.framesDone && isWhole(whole, state.rows[whole]))
        ++whole;
    state.complete = state.complete && whole == state.framesDone;
    state.framesDone = whole;
    state.rows.resize(whole);
}

void TiffOutput::append(std::span<const std::byte> pixels, const FrameRow& row) {
    const std::span<const std::byte> frame = row.failed ? failedFrame : pixels;
    if (frame.size() != failedFrame.size())
        throw std::invalid_argument("the frame differs from the planned size");
    if (framesDone >= framesPlanned)
        throw std::out_of_range("more frames than planned");
    writePage(frame);
    ++framesDone;
    record.add(row);
    checkInPlace();
}

void TiffOutput::writePage(std::span<const std::byte> pixels) {
    const FileDescriptor& descriptor = file.descriptor();
    descriptor.writeAt(layout.pixelOffset(framesDone), pixels);
    descriptor.writeAt(layout.textOffset(framesDone), layout.texts(framesDone));
    descriptor.writeAt(layout.directoryOffset(framesDone), layout.directory(framesDone));
    descriptor.writeAt(layout.linkOffset(framesDone), layout.linkTo(framesDone));
    if (framesDone > 0)
        return;
    // The record is renamed after its pages, so that pages of an earlier output never have a newer record.
    // Everything that may fail for lack of space is done before the earlier output is replaced.
    record.prepare();
    file.publish();
    record.commit();
    file.keep();
}

void TiffOutput::checkInPlace() const {
    file.checkInPlace();
    if (!record.isInPlace())
        throw Error(TiffRecord::pathFor(file.path()) +
                    ": was removed or replaced during the run; the output has no record; repeat the run");
}

zt::u64 TiffOutput::size() const {
    return layout.directoryOffset(framesDone - 1) + layout.directory(framesDone - 1).size();
}

void TiffOutput::finish() {
    checkInPlace();
    record.setComplete();
    record.write();
}

} // namespace ombrel
