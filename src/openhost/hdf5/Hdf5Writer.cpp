#include "hdf5/Hdf5Writer.h"

#include "base/Error.h"

#include <algorithm>
#include <array>

namespace ombrel {

namespace {

constexpr hsize_t pageBytes = 4096;

// The library allocates its own tables, about 57 bytes per frame, in blocks of this size. With one block of
// whole pages for all of them, the frames are contiguous.
hsize_t roomForTables(zt::u64 frames) {
    return (64 * frames / pageBytes + 12) * pageBytes;
}

} // namespace

Hdf5Writer::Hdf5Writer(const std::string& path, const std::string& pathForMessages, zt::u64 frames,
                       zt::u64 frameBytes)
    : shownPath{pathForMessages} {
    Hdf5Session::checkMemory();
    const Hdf5Properties access{checked(H5Pcreate(H5P_FILE_ACCESS))};
    check(H5Pset_file_locking(access, false, true) >= 0);
    check(H5Pset_meta_block_size(access, roomForTables(frames)) >= 0);
    boundCache(access);
    // Large frames are aligned to memory pages: this writes them up to twice as fast.
    constexpr hsize_t large = 65536;
    check((frameBytes >= large ? H5Pset_alignment(access, large, pageBytes)
                               : H5Pset_alignment(access, 1, 16)) >= 0);
    file = Hdf5FileHandle{checked(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access))};
    linkCreation = Hdf5Properties{checked(H5Pcreate(H5P_LINK_CREATE))};
    check(H5Pset_create_intermediate_group(linkCreation, 1) >= 0);
}

// The library would keep its tables of all chunks in memory until the file is closed. They take about 300
// bytes per frame, six times their size on the disk, which the library uses for its limit.
void Hdf5Writer::boundCache(hid_t access) const {
    H5AC_cache_config_t cache{};
    cache.version = H5AC__CURR_CACHE_CONFIG_VERSION;
    check(H5Pget_mdc_config(access, &cache) >= 0);
    cache.set_initial_size = true;
    cache.initial_size = cache.min_size = cache.max_size = std::size_t{1} << 17;
    cache.incr_mode = H5C_incr__off;
    cache.flash_incr_mode = H5C_flash_incr__off;
    cache.decr_mode = H5C_decr__off;
    check(H5Pset_mdc_config(access, &cache) >= 0);
}

Hdf5Dataset Hdf5Writer::dataset(const char* name, hid_t type, Extent extent, Extent chunk) {
    const Hdf5Properties creation{checked(H5Pcreate(H5P_DATASET_CREATE))};
    check(H5Pset_alloc_time(creation, H5D_ALLOC_TIME_EARLY) >= 0);
    check(H5Pset_fill_time(creation, H5D_FILL_TIME_NEVER) >= 0);
    if (chunk.size() > 0)
        check(H5Pset_chunk(creation, static_cast<int>(chunk.size()), chunk.begin()) >= 0);
    const Hdf5Space space{checked(
        extent.size() == 0 ? H5Screate(H5S_SCALAR)
                           : H5Screate_simple(static_cast<int>(extent.size()), extent.begin(), nullptr))};
    return Hdf5Dataset{checked(H5Dcreate2(file, name, type, space, linkCreation, creation, H5P_DEFAULT))};
}

zt::u64 Hdf5Writer::table(const char* name, hid_t type, Extent extent) {
    Hdf5Dataset made = dataset(name, type, extent);
    const haddr_t address = H5Dget_offset(made);
    check(address != HADDR_UNDEF && made.close());
    return address;
}

void Hdf5Writer::value(const char* name, hid_t type, Extent extent, const void* bytes) {
    Hdf5Dataset made = dataset(name, type, extent);
    check(H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes) >= 0 && made.close());
}

void Hdf5Writer::text(const char* name, const std::string& text) {
    value(name, textType(text.size() + 1), {}, text.c_str());
}

void Hdf5Writer::view(const char* name, hid_t type, Extent frame, const std::vector<PartRecord>& parts,
                      const void* fill) {
    const zt::u64 begin = parts.front().begin;
    std::vector<hsize_t> extent{parts.back().end - begin};
    extent.insert(extent.end(), frame.begin(), frame.end());
    const auto spaceOf = [&] {
        return checked(H5Screate_simple(static_cast<int>(extent.size()), extent.data(), nullptr));
    };
    const Hdf5Properties creation{checked(H5Pcreate(H5P_DATASET_CREATE))};
    check(!fill || H5Pset_fill_value(creation, type, fill) >= 0);
    const Hdf5Space whole{spaceOf()};
    for (const PartRecord& part : parts) {
        std::vector<hsize_t> start(extent.size(), 0);
        start[0] = part.begin - begin;
        extent[0] = part.end - part.begin;
        const Hdf5Space source{spaceOf()};
        check(H5Sselect_hyperslab(whole, H5S_SELECT_SET, start.data(), nullptr, extent.data(), nullptr) >=
                  0 &&
              H5Pset_virtual(creation, whole, part.path.c_str(), name, source) >= 0);
    }
    check(H5Sselect_all(whole) >= 0);
    Hdf5Dataset made{checked(H5Dcreate2(file, name, type, whole, linkCreation, creation, H5P_DEFAULT))};
    check(made.close());
}

void Hdf5Writer::group(const char* name, const char* nexusClass) {
    Hdf5Group made{checked(H5Gcreate2(file, name, linkCreation, H5P_DEFAULT, H5P_DEFAULT))};
    check(made.close());
    attribute(name, "NX_class", {nexusClass});
}

void Hdf5Writer::attribute(const char* object, const char* name, const std::vector<std::string>& texts) {
    std::size_t length = 1;
    for (const std::string& text : texts)
        length = std::max(length, text.size() + 1);
    std::string bytes;
    for (const std::string& text : texts)
        bytes += text + std::string(length - text.size(), '\0');
    const Hdf5Type type = textType(length);
    const hsize_t count = texts.size();
    const Hdf5Space space{checked(count == 1 ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &count, nullptr))};
    Hdf5Attribute made{
        checked(H5Acreate_by_name(file, object, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT))};
    check(H5Awrite(made, type, bytes.data()) >= 0 && made.close());
}

void Hdf5Writer::attribute(const char* object, const char* name, hid_t type, double value) {
    const Hdf5Space space{checked(H5Screate(H5S_SCALAR))};
    Hdf5Attribute made{
        checked(H5Acreate_by_name(file, object, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT))};
    check(H5Awrite(made, H5T_NATIVE_DOUBLE, &value) >= 0 && made.close());
}

void Hdf5Writer::link(const char* existing, const char* name) {
    check(H5Lcreate_hard(file, existing, file, name, linkCreation, H5P_DEFAULT) >= 0);
}

Hdf5Type Hdf5Writer::textType(std::size_t bytes) const {
    Hdf5Type type{checked(H5Tcopy(H5T_C_S1))};
    check(H5Tset_size(type, bytes) >= 0);
    check(H5Tset_cset(type, H5T_CSET_UTF8) >= 0);
    return type;
}

void Hdf5Writer::close() {
    check(file.close());
}

void Hdf5Writer::check(bool succeeded) const {
    if (!succeeded)
        throw Error(shownPath + ": cannot be created" + Hdf5Session::reason());
}

hid_t Hdf5Writer::checked(hid_t identifier) const {
    check(identifier >= 0);
    return identifier;
}

zt::u64 chunkAddress(hid_t dataset, zt::u64 index) {
    const std::array<hsize_t, 3> start{index, 0, 0};
    unsigned filters = 0;
    haddr_t address = HADDR_UNDEF;
    hsize_t bytes = 0;
    if (H5Dget_chunk_info_by_coord(dataset, start.data(), &filters, &address, &bytes) < 0 ||
        address == HADDR_UNDEF)
        throw Error("frame " + std::to_string(index) + " has no storage allocated in the file" +
                    Hdf5Session::reason());
    return address;
}

} // namespace ombrel
