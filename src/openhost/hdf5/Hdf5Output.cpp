#include "hdf5/Hdf5Output.h"

#include "base/Error.h"
#include "base/FileDescriptor.h"
#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "frame/PixelType.h"
#include "hdf5/Hdf5FrameTable.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Nexus.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"
#include "hdf5/Hdf5Writer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace ombrel {

std::optional<RunState> readRunState(hid_t file, zt::u32 frames) {
    const auto done = numbersAt(file, outputlayout::framesDone, 1);
    const auto complete = numbersAt(file, outputlayout::complete, 1);
    const Hdf5Object table = openHdf5Object(file, outputlayout::frames);
    if (!done || !complete || !table.isOpen() || H5Iget_type(table) != H5I_DATASET ||
        Hdf5Sources().problemOf(table))
        return std::nullopt;
    const Hdf5Space space{H5Dget_space(table)};
    if (H5Sget_simple_extent_npoints(space) != static_cast<hssize_t>(frames))
        return std::nullopt;
    RunState state;
    state.framesPlanned = frames;
    state.framesDone = static_cast<zt::u32>(std::clamp<double>(done->values[0], 0, frames));
    state.complete = complete->values[0] == 1;
    try {
        state.framesFailed = static_cast<zt::u32>(countFailed(table, state.framesDone));
    } catch (const Error&) { // a table of another program with the same name
        return std::nullopt;
    }
    return state;
}

namespace {

// The library searches all chunks for the address of one, so asking for each would take hours for a million
// frames. It normally places them in order, at equal distances: a sample is compared, and only if one differs
// all are asked for.
Hdf5FrameAddresses frameAddresses(hid_t data, zt::u64 frames) {
    constexpr zt::u64 samples = 16;
    const auto asked = [&](zt::u64 frame) { return chunkAddress(data, frame); };
    Hdf5FrameAddresses addresses{.first = asked(0), .count = frames, .listed = {}};
    addresses.distance = frames > 1 ? asked(1) - addresses.first : 0;
    bool inOrder = true;
    for (zt::u64 sample = 1; sample <= samples && inOrder; ++sample) {
        const zt::u64 frame = (frames - 1) * sample / samples;
        inOrder = asked(frame) == addresses.of(frame);
    }
    if (!inOrder)
        for (zt::u64 frame = 0; frame < frames; ++frame)
            addresses.listed.push_back(asked(frame));
    return addresses;
}

Hdf5Object openThing(hid_t file, const std::string& name) {
    Hdf5Object object = openHdf5Object(file, name);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET)
        throw Error("it was not written by ombrel: " + name + " is missing");
    if (const auto problem = Hdf5Sources().problemOf(object))
        throw Error(name + ": " + *problem);
    return object;
}

zt::u64 addressOf(hid_t file, const std::string& name) {
    const haddr_t address = H5Dget_offset(openThing(file, name));
    if (address == HADDR_UNDEF)
        throw Error(name + " has no storage allocated in the file" + Hdf5Session::reason());
    return address;
}

std::string textAt(hid_t file, const std::string& name) {
    const Hdf5Object object = openThing(file, name);
    const Hdf5Type type{H5Dget_type(object)};
    const Hdf5Space space{H5Dget_space(object)};
    if (H5Tget_class(type) != H5T_STRING || H5Tis_variable_str(type) > 0 ||
        H5Sget_simple_extent_npoints(space) != 1)
        throw Error(name + " is damaged: it is not one text of fixed length");
    std::string text(H5Tget_size(type), '\0');
    if (H5Dread(object, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, text.data()) < 0)
        throw Error(name + " cannot be read" + Hdf5Session::reason());
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

// Reads from an output; prefixes the path to an error.
template <typename Read>
auto readOutput(const std::string& path, Read read) {
    const Hdf5Session session;
    const Hdf5FileHandle file = openHdf5(path, "cannot be opened");
    try {
        return read(file);
    } catch (const Error& error) {
        throw Error(path + ": " + error.what());
    }
}

OutputPlan planOf(hid_t file, const std::string& path) {
    OutputPlan plan;
    plan.path = path;
    plan.record = textAt(file, outputlayout::record);
    const Hdf5Object data = openThing(file, outputlayout::data);
    plan.units = textAttribute(data, "units").value_or("");
    plan.quantity = textAttribute(data, "quantity").value_or("");
    plan.level = numberAttribute(data, "level");
    const auto shape = shapeOfImages(data);
    plan.packing = packingOfHdf5(data);
    if (!shape || shape->extent.size() != 3 ||
        (shape->pixelType != zt::DT_FLOAT && shape->pixelType != zt::DT_DOUBLE && !plan.packing))
        throw Error(std::string(outputlayout::data) + " is not a stack of corrected frames");
    plan.width = shape->width();
    plan.height = shape->height();
    plan.frames = shape->frames();
    plan.pixelType = plan.packing ? zt::u8{zt::DT_U16} : shape->pixelType;
    for (const char* const name : planeNames)
        if (openHdf5Object(file, std::string(outputlayout::planes) + name).isOpen())
            plan.planes.push_back(name);
    return plan;
}

void readClipped(hid_t file, OutputState& state) {
    if (!state.plan.packing)
        return;
    const Hdf5Object object = openThing(file, outputlayout::clipped);
    std::vector<zt::u64> counts(state.plan.frames);
    if (H5Sget_simple_extent_npoints(Hdf5Space{H5Dget_space(object)}) !=
            static_cast<hssize_t>(counts.size()) ||
        H5Dread(object, H5T_NATIVE_UINT64, H5S_ALL, H5S_ALL, H5P_DEFAULT, counts.data()) < 0)
        throw Error(std::string(outputlayout::clipped) + " cannot be read" + Hdf5Session::reason());
    for (std::size_t i = 0; i < state.rows.size(); ++i)
        state.rows[i].clipped = counts[i];
}

} // namespace

Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan) {
    using namespace outputlayout;
    const Hdf5Session session;
    const Hdf5Type pixel = storedHdf5Type(plan.pixelType, plan.packing);
    const zt::u64 frameBytes = zt::u64{plan.width} * plan.height * pixelSize(plan.pixelType);
    Hdf5Writer maker(output.newPath(), output.path(), plan.frames * (1 + plan.planes.size()), frameBytes);
    Hdf5OutputAddresses addresses;
    // First, at the start of a page: a count across two pages could be left half written.
    addresses.framesDone = maker.table(framesDone, H5T_NATIVE_UINT64, {});
    addresses.complete = maker.table(complete, H5T_NATIVE_UINT8, {});
    addresses.rows = maker.table(frames, storedRowType(), {plan.frames});
    if (plan.packing)
        addresses.clipped = maker.table(clipped, H5T_NATIVE_UINT64, {plan.frames});
    if (!plan.touched.empty())
        addresses.touched = maker.table(touched, H5T_STD_U32LE, {plan.height, plan.width});
    maker.text("/implements", "exchange:process");
    maker.text(record, plan.record);
    for (std::size_t i = 0; i < plan.settingsFiles.size(); ++i) {
        const std::string name = settings + std::to_string(i);
        const zt::u64 bytes = FileDescriptor::openForReading(plan.settingsFiles[i]).size();
        addresses.settings.push_back(maker.table(name.c_str(), H5T_NATIVE_UINT8, {bytes}));
    }
    {
        const Hdf5Dataset pixels =
            maker.dataset(data, pixel, {plan.frames, plan.height, plan.width}, {1, plan.height, plan.width});
        addresses.frames = frameAddresses(pixels, plan.frames);
    }
    for (const std::string& name : plan.planes) {
        const Hdf5Dataset plane =
            maker.dataset((planes + name).c_str(), H5T_NATIVE_FLOAT, {plan.frames, plan.height, plan.width},
                          {1, plan.height, plan.width});
        addresses.planes.push_back(frameAddresses(plane, plan.frames));
    }
    markFrames(maker, plan);
    maker.close();
    if (plan.addMetadata)
        plan.addMetadata(output.newPath());
    addresses.fileSize = output.descriptor().size();
    return addresses;
}

OutputState readHdf5Output(const std::string& path) {
    return readOutput(
        path,
        [&](hid_t file) {
            OutputState state{planOf(file, path), 0, false, {}};
            const auto run = readRunState(file, static_cast<zt::u32>(state.plan.frames));
            if (!run)
                throw Error("it was not written by ombrel");
            state.framesDone = run->framesDone;
            state.complete = run->complete;
            state.rows = readRows(openThing(file, outputlayout::frames), state.framesDone);
            readClipped(file, state);
            return state;
        });
}

std::optional<OutputState> hdf5StateToResume(const std::string& path) {
    std::optional<OutputState> state = FrameOutput::stateOf(path);
    if (!state)
        return state;
    const bool isPacked = readOutput(path, [](hid_t file) {
        const Hdf5Properties creation{H5Dget_create_plist(openThing(file, outputlayout::data))};
        return H5Pget_layout(creation) == H5D_CHUNKED && H5Pget_nfilters(creation) > 0;
    });
    if (isPacked)
        throw Error(path + ": was written by ombrel pack, and cannot be resumed; choose another output");
    return state;
}

Hdf5OutputAddresses addressesInHdf5Output(const std::string& path) {
    return readOutput(
        path,
        [&](hid_t file) {
            const OutputPlan plan = planOf(file, path);
            Hdf5OutputAddresses addresses;
            addresses.framesDone = addressOf(file, outputlayout::framesDone);
            addresses.complete = addressOf(file, outputlayout::complete);
            addresses.rows = addressOf(file, outputlayout::frames);
            if (plan.packing)
                addresses.clipped = addressOf(file, outputlayout::clipped);
            addresses.frames = frameAddresses(openThing(file, outputlayout::data), plan.frames);
            for (const std::string& name : plan.planes)
                addresses.planes.push_back(
                    frameAddresses(openThing(file, outputlayout::planes + name), plan.frames));
            return addresses;
        });
}

std::string settingsInHdf5Output(const std::string& path, std::size_t index) {
    return readOutput(
        path,
        [&](hid_t file) {
            const std::string name = outputlayout::settings + std::to_string(index);
            const Hdf5Object object = openThing(file, name);
            const Hdf5Space space{H5Dget_space(object)};
            std::string bytes(static_cast<std::size_t>(H5Sget_simple_extent_npoints(space)), '\0');
            if (H5Dread(object, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()) < 0)
                throw Error(name + " cannot be read" + Hdf5Session::reason());
            return bytes;
        });
}

std::vector<zt::u32> touchedInHdf5Output(const std::string& path) {
    return readOutput(
        path,
        [](hid_t file) {
            std::vector<zt::u32> pixels;
            if (!openHdf5Object(file, outputlayout::touched).isOpen())
                return pixels;
            const Hdf5Object object = openThing(file, outputlayout::touched);
            const auto shape = shapeOfImages(object);
            const auto frames = shapeOfImages(openThing(file, outputlayout::data));
            if (!shape || !frames || shape->width() != frames->width() ||
                shape->height() != frames->height() || shape->extent.size() != 2)
                throw Error(std::string(outputlayout::touched) + " does not belong to the frames");
            pixels.resize(std::size_t{shape->width()} * shape->height());
            if (H5Dread(object, H5T_NATIVE_UINT32, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels.data()) < 0)
                throw Error(std::string(outputlayout::touched) + " cannot be read" + Hdf5Session::reason());
            return pixels;
        });
}

Hdf5Output::Hdf5Output(const OutputPlan& plan)
    : file{plan.path}, failedFrame{failedFramePixels(plan)}, planePixels{std::size_t{plan.width} *
                                                                         plan.height} {
    if (plan.frames == 0)
        throw std::invalid_argument("an output without frames");
    // A full disk is detected here, before the library could fail in the middle of its work.
    const zt::u64 planeBytes = zt::u64{plan.width} * plan.height * sizeof(float) * plan.planes.size();
    file.reserveSize(plan.frames * (failedFrame.size() + planeBytes));
    addresses = makeHdf5Output(file, plan);
    file.reserveSize(addresses.fileSize);
    storeSettings(plan);
    if (!plan.touched.empty())
        file.descriptor().writeAt(addresses.touched, std::as_bytes(std::span(plan.touched)));
    file.publish();
}

Hdf5Output::Hdf5Output(const OutputState& state)
    : file{OutputFile::reopen(state.plan.path)}, failedFrame{failedFramePixels(state.plan)},
      planePixels{std::size_t{state.plan.width} * state.plan.height},
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

void Hdf5Output::storePlane(std::size_t plane, std::span<const float> pixels) {
    if (pixels.size() != planePixels)
        throw std::invalid_argument("the plane differs from the planned size");
    file.descriptor().writeAt(addresses.planes.at(plane).of(framesDone), std::as_bytes(pixels));
}

void Hdf5Output::append(std::span<const std::byte> pixels, const FrameRow& row) {
    const std::span<const std::byte> frame = row.failed ? failedFrame : pixels;
    if (frame.size() != failedFrame.size())
        throw std::invalid_argument("the frame differs from the planned size");
    if (framesDone >= addresses.frames.count)
        throw std::out_of_range("more frames than planned");
    for (std::size_t plane = 0; row.failed && plane < addresses.planes.size(); ++plane)
        storePlane(plane, std::vector<float>(planePixels, std::numeric_limits<float>::quiet_NaN()));
    const FileDescriptor& descriptor = file.descriptor();
    const StoredFrameRow stored = storedRow(row);
    descriptor.writeAt(addresses.frames.of(framesDone), frame);
    descriptor.writeAt(addresses.rows + framesDone * sizeof stored, std::as_bytes(std::span(&stored, 1)));
    if (addresses.clipped != 0)
        descriptor.writeAt(addresses.clipped + framesDone * sizeof row.clipped,
                           std::as_bytes(std::span(&row.clipped, 1)));
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
