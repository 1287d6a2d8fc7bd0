#include "hdf5/Hdf5File.h"

#include "base/Error.h"
#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Mask.h"
#include "hdf5/Hdf5Output.h"
#include "hdf5/Hdf5Selection.h"
#include "hdf5/Hdf5Sources.h"
#include "hdf5/Hdf5Values.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

namespace ombrel {

namespace {

// The values of image_key.
enum ImageKey { SAMPLE_KEY = 0, FLAT_KEY = 1, DARK_KEY = 2 };

// The first dataset with that name and that many numbers, next to the frames or another link to them.
std::optional<Hdf5Numbers> numbersBeside(hid_t file, const std::vector<std::string>& groups,
                                         const std::string& name, zt::u64 count) {
    for (const std::string& group : groups)
        if (auto numbers = numbersAt(file, group + '/' + name, count))
            return numbers;
    return std::nullopt;
}

zt::u32 framesAt(hid_t file, const std::string& path) {
    const Hdf5Object object = openHdf5Object(file, path);
    if (!object.isOpen() || H5Iget_type(object) != H5I_DATASET || Hdf5Sources().problemOf(object))
        return 0;
    const auto shape = shapeOfImages(object);
    return shape ? shape->frames() : 0;
}

// Files in the Data Exchange layout keep flat and dark fields in datasets of their own.
std::optional<FrameKinds> exchangeKinds(hid_t file) {
    const FrameKinds kinds{framesAt(file, "/exchange/data"), framesAt(file, "/exchange/data_white"),
                           framesAt(file, "/exchange/data_dark")};
    return kinds.flat + kinds.dark > 0 ? std::optional(kinds) : std::nullopt;
}

} // namespace

Hdf5File::Hdf5File(const std::string& path, FrameRole role, const FrameFileInfo* alike) {
    const Hdf5Session session;
    const DatasetPath place = splitDatasetPath(path);
    file = openHdf5(place.file, "this HDF5 file is truncated or damaged");
    const auto known = alike ? selectAlike(file, place.file, *alike) : std::nullopt;
    const Hdf5Selection selection = known ? *known : selectDataset(file, place, role);
    images.emplace(file, selection.datasets, place.file);
    fillInfo(path, selection);
    std::ranges::remove_copy(selection.files, std::back_inserter(fileInfo.sources), place.file);
    readTimes();
    chooseFrames(role);
    if (!known)
        fileInfo.maskDataset = maskBeside(file, selection.groups, selection.detectorMask);
    if (fileInfo.acqTime)
        fileInfo.acqTime = acqTime(0);
}

void Hdf5File::fillInfo(const std::string& path, const Hdf5Selection& selection) {
    const Hdf5Shape& shape = images->shape();
    fileInfo.path = path;
    fileInfo.format = "HDF5";
    fileInfo.dataset = selection.text();
    fileInfo.groups = selection.groups;
    fileInfo.width = shape.width();
    fileInfo.height = shape.height();
    fileInfo.pixelType = shape.pixelType;
    fileInfo.frames = shape.frames();
    fileInfo.subFrames = shape.subFrames();
    if (fileInfo.dataset == outputlayout::data)
        fileInfo.run = readRunState(file, shape.frames());
    if (fileInfo.run) {
        fileInfo.frames = std::min(fileInfo.frames, fileInfo.run->framesDone);
        fileInfo.packing = packingOfHdf5(openHdf5Object(file, fileInfo.dataset));
    }
    if (fileInfo.packing) {
        fileInfo.pixelType = zt::DT_DOUBLE;
        scratchBytes = zt::u64{fileInfo.width} * fileInfo.height * sizeof(float);
    }
    if (fileInfo.frames == 0)
        throw Error(path + ": the run that wrote this file completed no frame");
}

void Hdf5File::readTimes() {
    const zt::u32 frames = images->shape().frames();
    auto time = numbersBeside(file, fileInfo.groups, "count_time", frames);
    if (!time && frames != 1)
        time = numbersBeside(file, fileInfo.groups, "count_time", 1);
    if (!time)
        return;
    const double factor = secondsPerUnit(time->unit);
    for (double& seconds : time->values)
        seconds = std::isfinite(seconds) && seconds > 0 ? seconds * factor : 0;
    fileInfo.acqTime = time->values.front();
    if (time->values.size() == frames)
        times = std::move(time->values);
}

double Hdf5File::secondsPerUnit(const std::string& unit) const {
    if (unit.find_first_not_of(" \t\r\n") == std::string::npos)
        return 1;
    try {
        return secondsIn(unit);
    } catch (const Error& error) {
        throw Error(fileInfo.path + ": the acquisition time (count_time): " + error.what());
    }
}

void Hdf5File::chooseFrames(FrameRole role) {
    if (fileInfo.run) // corrected frames, which all have the same role
        return;
    const zt::u32 frames = images->shape().frames();
    const auto keys = numbersBeside(file, fileInfo.groups, "image_key", frames);
    if (!keys) {
        if (fileInfo.dataset.starts_with("/exchange/"))
            fileInfo.kinds = exchangeKinds(file);
        return;
    }
    const auto count = [&](ImageKey key) {
        return static_cast<zt::u32>(std::ranges::count(keys->values, static_cast<double>(key)));
    };
    fileInfo.kinds = FrameKinds{count(SAMPLE_KEY), count(FLAT_KEY), count(DARK_KEY)};
    if (role == FrameRole::Any)
        return;
    const double wanted = role == FrameRole::Flat   ? FLAT_KEY
                          : role == FrameRole::Dark ? DARK_KEY
                                                    : SAMPLE_KEY;
    for (zt::u32 frame = 0; frame < frames; ++frame)
        if (keys->values[frame] == wanted)
            chosen.push_back(frame);
    if (chosen.empty())
        throw Error(fileInfo.path + ": no frame is marked as " +
                    (role == FrameRole::Flat   ? "a flat field (image_key 1)"
                     : role == FrameRole::Dark ? "a dark field (image_key 2)"
                                               : "one of the sample (image_key 0)"));
    fileInfo.frames = static_cast<zt::u32>(chosen.size());
}

double Hdf5File::acqTime(zt::u32 frame) const {
    return times.empty() ? fileInfo.acqTime.value_or(0) : times[storedFrame(frame)];
}

std::optional<FrameFile::RawImage> Hdf5File::rawImage(zt::u32 frame, zt::u32 subFrame) const {
    if (const FileDescriptor* const raw = fileInfo.packing ? nullptr : images->rawFile())
        return RawImage{*raw, images->rawOffset(storedFrame(frame), subFrame)};
    return std::nullopt;
}

void Hdf5File::readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) {
    const Hdf5Session session;
    try {
        fileInfo.packing ? readPacked(storedFrame(frame), pixels)
                         : images->read(storedFrame(frame), subFrame, pixels);
    } catch (const Error& error) {
        throw Error(where(frame) + ": " + error.what());
    }
}

void Hdf5File::readPacked(zt::u32 frame, std::span<std::byte> pixels) {
    const std::span values(reinterpret_cast<double*>(pixels.data()), pixels.size() / sizeof(double));
    const PixelPacking& packing = *fileInfo.packing;
    if (packing.isHalf) { // the library converts 16-bit floating-point numbers
        std::vector<float> numbers(values.size());
        images->read(frame, 0, std::as_writable_bytes(std::span(numbers)));
        std::ranges::transform(numbers, values.begin(),
                               [&](float number) { return packing.scale * number + packing.offset; });
    } else {
        std::vector<zt::u16> stored(values.size());
        images->read(frame, 0, std::as_writable_bytes(std::span(stored)));
        packing.unpack(stored, values);
    }
}

std::vector<std::string> hdf5FilesOf(const std::string& path) {
    return namesInHdf5(path)->files;
}

} // namespace ombrel
