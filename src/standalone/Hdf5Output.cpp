#include "standalone/Hdf5Output.h"

#include "standalone/Error.h"

#include <array>
#include <cstring>
#include <stdexcept>

namespace ombrel {

namespace {

using ReasonText = std::array<char, outputlayout::reasonBytes>;

// Cut to the room there is, but not within a character of UTF-8.
ReasonText reasonText(const std::string& reason) {
    ReasonText text{};
    std::size_t length = std::min(reason.size(), text.size() - 1);
    const auto isContinuation = [&](std::size_t index) { return (reason[index] & 0xC0) == 0x80; };
    while (length > 0 && length < reason.size() && isContinuation(length))
        --length;
    std::memcpy(text.data(), reason.data(), length);
    return text;
}

} // namespace

Hdf5Output::Hdf5Output(const OutputPlan& plan) : file{plan.path}, stored{plan} {
    if (plan.frames == 0)
        throw std::invalid_argument("an output of no frames");
    // A full disk is found here, before the library could be caught by it half-way.
    file.reserveSize(plan.frames * stored.frameBytes());
    addresses = makeHdf5Output(file, plan);
    file.reserveSize(addresses.fileSize);
    file.publish();
}

void Hdf5Output::append(std::span<const double> pixels) {
    write(stored.store(pixels), false, {});
}

void Hdf5Output::appendFailed(const std::string& reason) {
    write(stored.storeFailed(), true, reason);
}

void Hdf5Output::write(std::span<const std::byte> frame, bool failed, const std::string& reason) {
    const FileDescriptor& descriptor = file.descriptor();
    const zt::u8 failedRow = failed ? 1 : 0;
    const ReasonText reasonRow = reasonText(reason);
    descriptor.writeAt(addresses.frames.at(framesDone), frame);
    descriptor.writeAt(addresses.failed + framesDone, std::as_bytes(std::span(&failedRow, 1)));
    descriptor.writeAt(addresses.reason + framesDone * reasonRow.size(), std::as_bytes(std::span(reasonRow)));
    const zt::u64 count = framesDone + 1;
    descriptor.writeAt(addresses.framesDone, std::as_bytes(std::span(&count, 1)));
    framesDone = count;
    file.keep();
}

void Hdf5Output::finish() {
    const zt::u8 mark = 1;
    file.descriptor().writeAt(addresses.complete, std::as_bytes(std::span(&mark, 1)));
}

} // namespace ombrel
