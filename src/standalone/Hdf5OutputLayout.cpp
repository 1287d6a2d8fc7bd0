#include "standalone/Hdf5OutputLayout.h"

#include "standalone/Hdf5Maker.h"
#include "standalone/Hdf5Shape.h"
#include "standalone/OutputFile.h"
#include "standalone/PixelType.h"

namespace ombrel {

namespace {

// The library walks through all chunks to find the address of one, so that asking for each would take hours
// for a million frames. It gives them their places in order, at equal distances: some are compared, and only
// if one differs all are asked for.
std::vector<zt::u64> frameAddresses(const Hdf5Maker& maker, hid_t data, zt::u64 frames) {
    constexpr zt::u64 samples = 16;
    const auto asked = [&](zt::u64 frame) { return maker.chunkAddress(data, frame); };
    const zt::u64 first = asked(0);
    const zt::u64 distance = frames > 1 ? asked(1) - first : 0;
    const auto expected = [&](zt::u64 frame) { return first + frame * distance; };
    bool inOrder = true;
    for (zt::u64 sample = 1; sample <= samples && inOrder; ++sample) {
        const zt::u64 frame = (frames - 1) * sample / samples;
        inOrder = asked(frame) == expected(frame);
    }
    std::vector<zt::u64> addresses(frames);
    for (zt::u64 frame = 0; frame < frames; ++frame)
        addresses[frame] = inOrder ? expected(frame) : asked(frame);
    return addresses;
}

} // namespace

Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan) {
    using namespace outputlayout;
    const Hdf5Session session;
    const hid_t pixel = nativeHdf5Type(plan.pixelType);
    const zt::u64 frameBytes = zt::u64{plan.width} * plan.height * pixelSize(plan.pixelType);
    Hdf5Maker maker(output.newPath(), output.path(), plan.frames, frameBytes);
    Hdf5OutputAddresses addresses;
    // First, where a page begins: a count that lies on two of them could be left half written.
    addresses.framesDone = maker.table(framesDone, H5T_NATIVE_UINT64, {});
    addresses.complete = maker.table(complete, H5T_NATIVE_UINT8, {});
    addresses.failed = maker.table(failed, H5T_NATIVE_UINT8, {plan.frames});
    addresses.reason = maker.table(reason, maker.textType(reasonBytes), {plan.frames});
    maker.text("/implements", "exchange:process");
    {
        const Hdf5Dataset frames =
            maker.dataset(data, pixel, {plan.frames, plan.height, plan.width}, {1, plan.height, plan.width});
        addresses.frames = frameAddresses(maker, frames, plan.frames);
    }
    maker.close();
    addresses.fileSize = output.descriptor().size();
    return addresses;
}

} // namespace ombrel
