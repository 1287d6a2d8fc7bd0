#include "standalone/TiffOutput.h"

#include "standalone/Error.h"
#include "standalone/FailedFrame.h"
#include "standalone/FrameFile.h"

#include <stdexcept>

namespace ombrel {

TiffOutput::TiffOutput(const OutputPlan& plan)
    : file{plan.path}, failedFrame{failedFramePixels(plan)}, layout{plan}, record{plan}, framesPlanned{
                                                                                             plan.frames} {
    file.reserveBehind(layout.pixelOffset(plan.frames));
    file.descriptor().writeAt(0, layout.header());
}

TiffOutput::TiffOutput(const OutputState& state)
    : file{OutputFile::reopen(state.plan.path)}, failedFrame{failedFramePixels(state.plan)},
      layout{state.plan}, record{state}, framesPlanned{state.plan.frames},
      pagesDone{FrameFile::open(state.plan.path)->info().frames}, framesDone{state.framesDone} {
    file.reserveBehind(layout.pixelOffset(framesPlanned));
}

TiffOutput::~TiffOutput() {
    if (pagesDone == 0)
        return;
    try {
        record.write();
        file.cut(size());
    } catch (const std::exception&) { // the room stays taken; the file is right all the same
    }
}

void TiffOutput::append(std::span<const std::byte> pixels, const FrameRow& row) {
    const std::span<const std::byte> frame = row.failed ? failedFrame : pixels;
    if (frame.size() != failedFrame.size())
        throw std::invalid_argument("a frame of another size than planned");
    if (framesDone >= framesPlanned)
        throw std::out_of_range("more frames than planned");
    if (framesDone == pagesDone)
        writePage(frame);
    ++framesDone;
    record.add(row);
}

void TiffOutput::writePage(std::span<const std::byte> pixels) {
    const FileDescriptor& descriptor = file.descriptor();
    descriptor.writeAt(layout.pixelOffset(pagesDone), pixels);
    descriptor.writeAt(layout.directoryOffset(pagesDone), layout.directory(pagesDone));
    if (pagesDone == 0)
        record.write();
    descriptor.writeAt(layout.linkOffset(pagesDone), layout.linkTo(pagesDone));
    if (pagesDone++ == 0) {
        file.publish();
        file.keep();
    }
}

zt::u64 TiffOutput::size() const {
    return layout.directoryOffset(pagesDone - 1) + layout.directory(pagesDone - 1).size();
}

void TiffOutput::finish() {
    record.setComplete();
    record.write();
}

} // namespace ombrel
