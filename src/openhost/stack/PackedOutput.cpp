#include "stack/PackedOutput.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "base/Numbers.h"
#include "frame/FrameOutput.h"
#include "frame/OutputFile.h"
#include "frame/RunRecord.h"
#include "hdf5/Hdf5Contents.h"
#include "hdf5/Hdf5Images.h"
#include "hdf5/Hdf5Output.h"
#include "hdf5/Hdf5Values.h"
#include "metadata/Hdf5Copy.h"
#include "stack/MergedParts.h"

#include <algorithm>
#include <span>
#include <utility>

namespace ombrel {

namespace {

struct Compression {
    const char* name;
    H5Z_filter_t filter;
    bool shuffle; // bytes of equal weight are stored together first
    std::vector<unsigned> values;
};

const std::vector<Compression>& compressions() {
    static const std::vector<Compression> all{
        {"deflate", H5Z_FILTER_DEFLATE, true, {4}}, // levels above take much longer for few per cent
        {"lz4", 32004, true, {}},
        {"bitshuffle", 32008, false, {0, 2}}, // blocks of the usual size, compressed by LZ4
    };
    return all;
}

const Compression& compressionNamed(const std::string& name) {
    const Compression& found = *std::ranges::find(compressions(), name, &Compression::name);
    unsigned abilities = 0;
    if (H5Zfilter_avail(found.filter) <= 0 || H5Zget_filter_info(found.filter, &abilities) < 0 ||
        (abilities & H5Z_FILTER_CONFIG_ENCODE_ENABLED) == 0)
        throw Error("--compress " + name + ": the HDF5 filter " + std::to_string(found.filter) +
                    " is not installed; install " + hdf5FilterPackages(found.filter) + ", or choose deflate");
    return found;
}

std::vector<std::string> namesIn(hid_t group) {
    std::vector<std::string> names;
    const auto add = [](hid_t, const char* name, const H5L_info_t*, void* data) -> herr_t {
        static_cast<std::vector<std::string>*>(data)->emplace_back(name);
        return 0;
    };
    H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, nullptr, add, &names);
    return names;
}

class Packing {
public:
    Packing(OutputState outputState, hid_t source, hid_t target, const Compression& chosen,
            const std::function<bool()>& done)
        : state(std::move(outputState)), record(RunRecord::fromJson(state.plan.record)), from(source),
          to(target), compression(chosen), frameDone(done) {}

    void run() {
        const Hdf5Object root = openHdf5Object(from, "/");
        known.emplace_back(Hdf5Identity::of(root), "/");
        copyAttributes(root, openHdf5Object(to, "/"));
        copyMembers(root, "");
    }

private:
    using Known = std::pair<Hdf5Identity, std::string>;

    static void check(bool succeeded) {
        if (!succeeded)
            throw Error("cannot be packed" + Hdf5Session::reason());
    }

    void copyMembers(hid_t group, const std::string& groupPath) {
        for (const std::string& name : namesIn(group))
            copyLink(groupPath + '/' + name);
    }

    void copyLink(const std::string& name) {
        H5L_info_t link{};
        check(H5Lget_info(from, name.c_str(), &link, H5P_DEFAULT) >= 0);
        if (link.type != H5L_TYPE_HARD) // leads to the same place in the new file
            return check(H5Lcopy(from, name.c_str(), to, name.c_str(), H5P_DEFAULT, H5P_DEFAULT) >= 0);
        Hdf5Object object = openHdf5Object(from, name);
        check(object.isOpen());
        const auto identity = Hdf5Identity::of(object);
        const auto before = std::ranges::find(known, identity, &Known::first);
        if (before != known.end())
            return check(
                H5Lcreate_hard(to, before->second.c_str(), to, name.c_str(), H5P_DEFAULT, H5P_DEFAULT) >= 0);
        known.emplace_back(identity, name);
        copyObject(object, name);
    }

    void copyObject(const Hdf5Object& object, const std::string& name) {
        if (H5Iget_type(object) == H5I_DATASET)
            return copyDataset(object, name);
        if (H5Iget_type(object) != H5I_GROUP)
            return copyAsItIs(name);
        const Hdf5Group made{H5Gcreate2(to, name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)};
        check(made.isOpen());
        copyAttributes(object, made);
        copyMembers(object, name);
    }

    void copyAsItIs(const std::string& name) const {
        check(H5Ocopy(from, name.c_str(), to, name.c_str(), H5P_DEFAULT, H5P_DEFAULT) >= 0);
    }

    void copyDataset(const Hdf5Object& dataset, const std::string& name) {
        constexpr hsize_t smallest = 65536; // bytes of an image that are worth a filter
        const auto shape = shapeOfImages(dataset);
        const auto images = shape ? shape->extent : std::vector<hsize_t>();
        const hsize_t pixelBytes = H5Tget_size(Hdf5Type{H5Dget_type(dataset)});
        const bool isStack = images.size() == 3 && images[0] == state.plan.frames;
        const bool isImage = images.size() == 2 && images[0] * images[1] * pixelBytes >= smallest;
        if (isStack || isImage)
            copyImages(dataset, name);
        else if (name == outputlayout::record && !record.parts.empty())
            copyRecord();
        else if (H5Pget_layout(Hdf5Properties{H5Dget_create_plist(dataset)}) == H5D_VIRTUAL)
            copyValues(dataset, name);
        else
            copyAsItIs(name);
    }

    // A merged output refers to its parts; the packed one holds their frames.
    void copyRecord() const {
        RunRecord whole = record;
        whole.parts.clear();
        const std::string text = whole.toJson();
        const Hdf5Type type{H5Tcopy(H5T_C_S1)};
        H5Tset_size(type, text.size() + 1);
        H5Tset_cset(type, H5T_CSET_UTF8);
        const Hdf5Dataset made{H5Dcreate2(to, outputlayout::record, type, Hdf5Space{H5Screate(H5S_SCALAR)},
                                          H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)};
        check(made.isOpen() && H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, text.c_str()) >= 0);
    }

    Hdf5Dataset make(const Hdf5Object& dataset, const std::string& name, hid_t creation) const {
        const Hdf5Type type{H5Dget_type(dataset)};
        const Hdf5Space space{H5Dget_space(dataset)};
        Hdf5Dataset made{H5Dcreate2(to, name.c_str(), type, space, H5P_DEFAULT, creation, H5P_DEFAULT)};
        check(made.isOpen());
        copyAttributes(dataset, made);
        return made;
    }

    void copyValues(const Hdf5Object& dataset, const std::string& name) const {
        const Hdf5Dataset made = make(dataset, name, H5P_DEFAULT);
        const Hdf5Type type{H5Dget_type(dataset)};
        hsize_t bytes = H5Tget_size(type);
        for (const hsize_t side : extentOf(Hdf5Space{H5Dget_space(dataset)}))
            bytes *= side;
        std::vector<std::byte> values(bytes);
        check(H5Dread(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()) >= 0 &&
              H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()) >= 0);
    }

    Hdf5Properties chunksOf(const std::vector<hsize_t>& image) const {
        Hdf5Properties creation{H5Pcreate(H5P_DATASET_CREATE)};
        check(H5Pset_chunk(creation, static_cast<int>(image.size()), image.data()) >= 0 &&
              (!compression.shuffle || H5Pset_shuffle(creation) >= 0) &&
              H5Pset_filter(creation, compression.filter, H5Z_FLAG_MANDATORY, compression.values.size(),
                            compression.values.data()) >= 0);
        return creation;
    }

    void copyImages(const Hdf5Object& dataset, const std::string& name) {
        std::vector<hsize_t> image = extentOf(Hdf5Space{H5Dget_space(dataset)});
        const hsize_t count = image.size() == 3 ? std::exchange(image[0], 1) : 1;
        // They have several names in an NXtomo.
        const bool isOfRun =
            Hdf5Identity::of(dataset) == Hdf5Identity::of(openHdf5Object(from, outputlayout::data));
        const Hdf5Dataset made = make(dataset, name, chunksOf(image));
        const Hdf5Type type{H5Dget_type(dataset)};
        const Hdf5Space space{H5Dget_space(dataset)};
        const Hdf5Space memory{H5Screate_simple(static_cast<int>(image.size()), image.data(), nullptr)};
        std::vector<hsize_t> start(image.size(), 0);
        std::vector<std::byte> pixels(static_cast<std::size_t>(H5Sget_simple_extent_npoints(memory)) *
                                      H5Tget_size(type));
        for (start[0] = 0; start[0] < count; ++start[0]) {
            check(H5Sselect_hyperslab(space, H5S_SELECT_SET, start.data(), nullptr, image.data(), nullptr) >=
                      0 &&
                  H5Dread(dataset, type, memory, space, H5P_DEFAULT, pixels.data()) >= 0);
            if (isOfRun)
                checkFrame(start[0], pixels);
            check(H5Dwrite(made, type, memory, space, H5P_DEFAULT, pixels.data()) >= 0);
        }
    }

    void checkFrame(hsize_t frame, std::span<const std::byte> pixels) const {
        const FrameRow& row = state.rows.at(frame);
        if (!row.failed && pixelHash(pixels) != row.outputHash)
            throw Error("frame " + std::to_string(frame) +
                        ": its stored pixels have changed since the run; repeat the run with ombrel replay");
        if (!frameDone())
            throw Error("interrupted after " + countText(frame + 1, "frame") + "; nothing was written");
    }

    OutputState state;
    RunRecord record;
    hid_t from;
    hid_t to;
    const Compression& compression;
    const std::function<bool()>& frameDone;
    std::vector<Known> known; // copied objects with their names
};

OutputState stateToPack(const std::string& output) {
    if (fileKind(FileDescriptor::openForReading(output)) != FileKind::Hdf5)
        throw Error(output + ": is not an HDF5 output; ombrel replay writes it as one, with -o NEW.h5");
    auto state = FrameOutput::stateOf(output);
    if (!state)
        throw Error(output + ": does not exist");
    if (!state->complete)
        throw Error(output + ": is incomplete: " + std::to_string(state->framesDone) + " of " +
                    countText(state->plan.frames, "frame") + " done; finish it with --resume");
    checkPartsOf(output);
    return std::move(*state);
}

} // namespace

std::vector<std::string> compressionNames() {
    std::vector<std::string> names;
    for (const Compression& compression : compressions())
        names.emplace_back(compression.name);
    return names;
}

void packOutput(const std::string& output, const std::string& packed, const std::string& compression,
                const std::function<bool()>& frameDone) {
    OutputState state = stateToPack(output);
    const Hdf5Session session;
    const Compression& chosen = compressionNamed(compression);
    const Hdf5FileHandle source = openHdf5(output, "cannot be opened");
    OutputFile file(packed);
    const Hdf5Properties access{H5Pcreate(H5P_FILE_ACCESS)};
    H5Pset_file_locking(access, false, true);
    Hdf5FileHandle target{H5Fcreate(file.newPath().c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access)};
    if (!target.isOpen())
        throw Error(packed + ": cannot be created" + Hdf5Session::reason());
    try {
        Packing(std::move(state), source, target, chosen, frameDone).run();
    } catch (const Error& error) {
        throw Error(output + ": " + error.what());
    }
    if (!target.close())
        throw Error(packed + ": cannot be written" + Hdf5Session::reason());
    file.publish();
    file.keep();
}

} // namespace ombrel
