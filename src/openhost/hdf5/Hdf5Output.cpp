#include "hdf5/Hdf5Output.h"

#include "base/Error.h"
#include "frame/FailedFrame.h"
#include "hdf5/Hdf5FrameTable.h"

#include <algorithm>
#include <stdexcept>

namespace ombrel {

Hdf5Output::Hdf5Output(const OutputPlan& plan) : file{plan.path}, failedFrame{failedFramePixels(plan)} {
    if (plan.frames == 0)
        throw std::invalid_argument("an output of no frames");
    // A full disk is found here, before the library could be caught by it half-way.
    file.reserveSize(plan.frames * failedFrame.size());
    addresses = makeHdf5Output(file, plan);
    file.reserveSize(addresses.fileSize);
    storeSettings(plan);
    file.publish();
}

Hdf5Output::Hdf5Output(const OutputState& state)
    : file{OutputFile::reopen(state.plan.path)}, failedFrame{failedFramePixels(state.plan)},
      addresses{addressesInHdf5Output(state.plan.path)}, framesDone{state.framesDone} {}

void Hdf5Output::storeSettings(const OutputPlan& plan) {
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    for (std::size_t i = 0; i < plan.settingsFiles.size(); ++i) {
        const auto source = FileDescriptor::openForReading(plan.settingsFiles[i]);
        const zt::u64 size = source.size();
        for (zt::u64 offset = 0; offset < size; offset += buffer.size()) {
            const auto piece = std::span(buffer).first(std::min<zt::u64>(buffer.size(), size - offset));
            source.readAt(offset, piece);
            file.descriptor().writeAt(addresses.settings[i] + offset, piece);
        }
    }
}

void Hdf5Output::append(std::span<const std::byte> pixels, const FrameRow& row) {
    const std::span<const std::byte> frame = row.failed ? failedFrame : pixels;
    if (frame.size() != failedFrame.size())
        throw std::invalid_argument("a frame of another size than planned");
    if (framesDone >= addresses.frames.count)
        throw std::out_of_range("more frames than planned");
    const FileDescriptor& descriptor = file.descriptor();
    const StoredFrameRow stored = storedRow(row);
    descriptor.writeAt(addresses.frames.of(framesDone), frame);
    descriptor.writeAt(addresses.rows + framesDone * sizeof stored, std::as_bytes(std::span(&stored, 1)));
    const zt::u64 count = framesDone + 1;
    descriptor.writeAt(addresses.framesDone, std::as_bytes(std::span(&count, 1)));
    framesDone = count;
    file.keep();
    file.checkInPlace();
}

void Hdf5Output::finish() {
    file.checkInPlace();
    const zt::u8 mark = 1;
    file.descriptor().writeAt(addresses.complete, std::as_bytes(std::span(&mark, 1)));
}

} // namespace ombrel
