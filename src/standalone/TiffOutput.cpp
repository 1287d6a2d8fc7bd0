#include "standalone/TiffOutput.h"

#include "standalone/Error.h"

#include <stdexcept>

namespace ombrel {

TiffOutput::TiffOutput(const OutputPlan& plan)
    : file{plan.path}, stored{plan}, layout{plan}, framesPlanned{plan.frames} {
    file.reserveBehind(layout.pixelOffset(plan.frames));
    file.descriptor().writeAt(0, layout.header());
}

TiffOutput::~TiffOutput() {
    try {
        if (framesDone > 0)
            file.cut(size());
    } catch (const Error&) { // the room stays taken; the file is right all the same
    }
}

void TiffOutput::append(std::span<const double> pixels) {
    write(stored.store(pixels));
}

// A TIFF file has no place for the reason.
void TiffOutput::appendFailed(const std::string&) {
    write(stored.storeFailed());
}

void TiffOutput::write(std::span<const std::byte> frame) {
    if (framesDone >= framesPlanned)
        throw std::out_of_range("more frames than planned");
    const FileDescriptor& descriptor = file.descriptor();
    descriptor.writeAt(layout.pixelOffset(framesDone), frame);
    descriptor.writeAt(layout.directoryOffset(framesDone), layout.directory(framesDone));
    descriptor.writeAt(layout.linkOffset(framesDone), layout.linkTo(framesDone));
    if (framesDone++ == 0) {
        file.publish();
        file.keep();
    }
}

zt::u64 TiffOutput::size() const {
    return layout.directoryOffset(framesDone - 1) + layout.directory(framesDone - 1).size();
}

// The pages tell all there is; the destructor gives back the room that is left.
void TiffOutput::finish() {}

} // namespace ombrel
