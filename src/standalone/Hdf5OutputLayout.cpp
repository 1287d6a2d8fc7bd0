#include "standalone/Hdf5OutputLayout.h"

#include "standalone/Error.h"
#include "standalone/Hdf5Handle.h"
#include "standalone/Hdf5Shape.h"
#include "standalone/OutputFile.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace ombrel {

namespace {

using Extent = std::initializer_list<hsize_t>;

// Makes the datasets of one file. All of them have their place in the file from the start, and nothing is
// written there: the room that the file gets afterwards reads as zeros.
class Maker {
public:
    Maker(const OutputFile& output, zt::u64 frames) : path{output.path()} {
        const Hdf5Properties access{H5Pcreate(H5P_FILE_ACCESS)};
        check(H5Pset_file_locking(access, false, true));
        check(H5Pset_meta_block_size(access, metadataRoom(frames)));
        file = Hdf5FileHandle{
            checked(H5Fcreate(output.temporaryPath().c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access))};
        linkCreation = Hdf5Properties{checked(H5Pcreate(H5P_LINK_CREATE))};
        check(H5Pset_create_intermediate_group(linkCreation, 1));
    }

    Hdf5Dataset dataset(const char* name, hid_t type, Extent extent, Extent chunk = {}) {
        const Hdf5Properties creation{checked(H5Pcreate(H5P_DATASET_CREATE))};
        check(H5Pset_alloc_time(creation, H5D_ALLOC_TIME_EARLY));
        check(H5Pset_fill_time(creation, H5D_FILL_TIME_NEVER));
        if (chunk.size() > 0)
            check(H5Pset_chunk(creation, static_cast<int>(chunk.size()), chunk.begin()));
        const Hdf5Space space{checked(
            extent.size() == 0 ? H5Screate(H5S_SCALAR)
                               : H5Screate_simple(static_cast<int>(extent.size()), extent.begin(), nullptr))};
        return Hdf5Dataset{checked(H5Dcreate2(file, name, type, space, linkCreation, creation, H5P_DEFAULT))};
    }

    // A dataset in one piece; returns its address.
    zt::u64 table(const char* name, hid_t type, Extent extent) {
        Hdf5Dataset made = dataset(name, type, extent);
        const haddr_t address = H5Dget_offset(made);
        check(address == HADDR_UNDEF || !made.close() ? -1 : 0);
        return address;
    }

    void text(const char* name, const std::string& value) {
        const Hdf5Type type = textType(value.size() + 1);
        const Hdf5Dataset made = dataset(name, type, {});
        check(H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, value.c_str()));
    }

    Hdf5Type textType(std::size_t bytes) {
        Hdf5Type type{checked(H5Tcopy(H5T_C_S1))};
        check(H5Tset_size(type, bytes));
        check(H5Tset_cset(type, H5T_CSET_UTF8));
        return type;
    }

    zt::u64 chunkAddress(hid_t made, zt::u64 frame, zt::u64 frameBytes) {
        const std::array<hsize_t, 3> start{frame, 0, 0};
        unsigned filters = 0;
        haddr_t address = HADDR_UNDEF;
        hsize_t bytes = 0;
        check(H5Dget_chunk_info_by_coord(made, start.data(), &filters, &address, &bytes));
        check(address == HADDR_UNDEF || bytes != frameBytes ? -1 : 0);
        return address;
    }

    void close() { check(file.close() ? 0 : -1); }

    void check(herr_t status) const {
        if (status < 0)
            throw Error(path + ": cannot be made" + Hdf5Session::reason());
    }

private:
    // The library takes room for its own tables in blocks of this size. With one block for all of them the
    // frames follow each other. Some 57 bytes a frame are needed.
    static hsize_t metadataRoom(zt::u64 frames) {
        constexpr hsize_t page = 4096;
        return (64 * frames / page + 4) * page;
    }

    hid_t checked(hid_t identifier) const {
        check(identifier < 0 ? -1 : 0);
        return identifier;
    }

    std::string path;
    Hdf5FileHandle file;
    Hdf5Properties linkCreation;
};

// The library walks through all chunks to find the address of one, so that asking for each would take hours
// for a million frames. It gives them their places in order: some are compared, and only if one differs all
// are asked for.
std::vector<zt::u64> frameAddresses(Maker& maker, hid_t data, zt::u64 frames, zt::u64 frameBytes) {
    constexpr zt::u64 samples = 16;
    const zt::u64 first = maker.chunkAddress(data, 0, frameBytes);
    bool inOrder = true;
    for (zt::u64 sample = 1; sample <= samples; ++sample) {
        const zt::u64 frame = (frames - 1) * sample / samples;
        inOrder = inOrder && maker.chunkAddress(data, frame, frameBytes) == first + frame * frameBytes;
    }
    std::vector<zt::u64> addresses(frames);
    for (zt::u64 frame = 0; frame < frames; ++frame)
        addresses[frame] = inOrder ? first + frame * frameBytes : maker.chunkAddress(data, frame, frameBytes);
    return addresses;
}

} // namespace

Hdf5OutputAddresses makeHdf5Output(const OutputFile& output, const OutputPlan& plan) {
    const Hdf5Session session;
    Maker maker(output, plan.frames);
    maker.text("/implements", "exchange:process");
    const hid_t pixel = nativeHdf5Type(plan.pixelType);
    Hdf5Dataset data = maker.dataset(outputlayout::data, pixel, {plan.frames, plan.height, plan.width},
                                     {1, plan.height, plan.width});
    Hdf5OutputAddresses addresses;
    addresses.frames =
        frameAddresses(maker, data, plan.frames, H5Tget_size(pixel) * plan.height * plan.width);
    addresses.framesDone = maker.table(outputlayout::framesDone, H5T_NATIVE_UINT64, {});
    addresses.complete = maker.table(outputlayout::complete, H5T_NATIVE_UINT8, {});
    addresses.failed = maker.table(outputlayout::failed, H5T_NATIVE_UINT8, {plan.frames});
    addresses.reason =
        maker.table(outputlayout::reason, maker.textType(outputlayout::reasonBytes), {plan.frames});
    maker.check(data.close() ? 0 : -1);
    maker.close();
    addresses.fileSize = output.descriptor().size();
    return addresses;
}

} // namespace ombrel
