#include "standalone/Hdf5WholeMaker.h"

#include "host/DataType.h"
#include "standalone/Error.h"
#include "standalone/Hdf5FrameTable.h"
#include "standalone/Hdf5OutputLayout.h"
#include "standalone/Hdf5Shape.h"
#include "standalone/OutputFile.h"

#include <limits>

namespace ombrel {

namespace {

class WholeMaker {
public:
    WholeMaker(const std::string& path, const std::string& pathForMessages) : shownPath{pathForMessages} {
        const Hdf5Properties access{checked(H5Pcreate(H5P_FILE_ACCESS))};
        check(H5Pset_file_locking(access, false, true) >= 0);
        file = Hdf5FileHandle{checked(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access))};
        linkCreation = Hdf5Properties{checked(H5Pcreate(H5P_LINK_CREATE))};
        check(H5Pset_create_intermediate_group(linkCreation, 1) >= 0);
    }

    void value(const std::string& name, hid_t type, const std::vector<hsize_t>& extent, const void* bytes) {
        const Hdf5Space space{checked(extent.empty() ? H5Screate(H5S_SCALAR) : spaceOf(extent))};
        Hdf5Dataset made{
            checked(H5Dcreate2(file, name.c_str(), type, space, linkCreation, H5P_DEFAULT, H5P_DEFAULT))};
        check(H5Dwrite(made, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes) >= 0 && made.close());
    }

    void text(const std::string& name, const std::string& value) {
        const Hdf5Type type{checked(H5Tcopy(H5T_C_S1))};
        check(H5Tset_size(type, value.size() + 1) >= 0 && H5Tset_cset(type, H5T_CSET_UTF8) >= 0);
        this->value(name, type, {}, value.c_str());
    }

    // The first axis counts frames; `frame` is the extent of one.
    void view(const char* name, hid_t type, const std::vector<hsize_t>& frame, const RunRecord& record,
              const void* fill) {
        const auto extentOf = [&](zt::u64 frames) {
            std::vector<hsize_t> extent{frames};
            extent.insert(extent.end(), frame.begin(), frame.end());
            return extent;
        };
        const Hdf5Properties creation{checked(H5Pcreate(H5P_DATASET_CREATE))};
        check(!fill || H5Pset_fill_value(creation, type, fill) >= 0);
        const Hdf5Space whole{checked(spaceOf(extentOf(record.end - record.begin)))};
        for (const PartRecord& part : record.parts) {
            const auto extent = extentOf(part.end - part.begin);
            std::vector<hsize_t> start(extent.size(), 0);
            start[0] = part.begin - record.begin;
            const Hdf5Space source{checked(spaceOf(extent))};
            check(H5Sselect_hyperslab(whole, H5S_SELECT_SET, start.data(), nullptr, extent.data(), nullptr) >=
                      0 &&
                  H5Pset_virtual(creation, whole, part.path.c_str(), name, source) >= 0);
        }
        check(H5Sselect_all(whole) >= 0);
        Hdf5Dataset made{checked(H5Dcreate2(file, name, type, whole, linkCreation, creation, H5P_DEFAULT))};
        check(made.close());
    }

    void close() { check(file.close()); }

private:
    static hid_t spaceOf(const std::vector<hsize_t>& extent) {
        return H5Screate_simple(static_cast<int>(extent.size()), extent.data(), nullptr);
    }
    void check(bool succeeded) const {
        if (!succeeded)
            throw Error(shownPath + ": cannot be made" + Hdf5Session::reason());
    }
    hid_t checked(hid_t identifier) const {
        check(identifier >= 0);
        return identifier;
    }

    std::string shownPath;
    Hdf5FileHandle file;
    Hdf5Properties linkCreation;
};

} // namespace

void makeHdf5Whole(const OutputPlan& plan, const RunRecord& record,
                   const std::vector<std::string>& settings) {
    OutputFile output(plan.path);
    const Hdf5Session session;
    WholeMaker maker(output.newPath(), plan.path);
    const zt::u64 framesDone = plan.frames;
    const zt::u8 complete = 1;
    maker.value(outputlayout::framesDone, H5T_NATIVE_UINT64, {}, &framesDone);
    maker.value(outputlayout::complete, H5T_NATIVE_UINT8, {}, &complete);
    maker.text("/implements", "exchange:process");
    maker.text(outputlayout::record, plan.record);
    for (std::size_t i = 0; i < settings.size(); ++i)
        maker.value(outputlayout::settings + std::to_string(i), H5T_NATIVE_UINT8, {settings[i].size()},
                    settings[i].data());
    maker.view(outputlayout::frames, storedRowType(), {}, record, nullptr);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const double wideNan = nan;
    maker.view(outputlayout::data, nativeHdf5Type(plan.pixelType), {plan.height, plan.width}, record,
               plan.pixelType == zt::DT_FLOAT ? static_cast<const void*>(&nan) : &wideNan);
    maker.close();
    output.publish();
    output.keep();
}

} // namespace ombrel
