#include "hdf5/Hdf5Nexus.h"

#include "base/FileContent.h"
#include "hdf5/Hdf5Output.h"

namespace ombrel {

bool isNexusPath(const std::string& path) {
    return hasSuffix(path, ".nxs");
}

namespace {

void makeTomography(Hdf5Writer& writer) {
    using namespace nexuslayout;
    writer.group(entry, "NXentry");
    writer.attribute(entry, "default", {"data"});
    writer.text("/entry/definition", "NXtomo");
    writer.group(instrument, "NXinstrument");
    writer.group(detector, "NXdetector");
    writer.link(outputlayout::data, "/entry/instrument/detector/data");
    writer.group(sample, "NXsample");
    writer.group(view, "NXdata");
    writer.attribute(view, "signal", {"data"});
    writer.link(outputlayout::data, "/entry/data/data");
}

// Viewers draw the first plane as error bars of the frames.
void markPlanes(Hdf5Writer& writer, const OutputPlan& plan) {
    for (const std::string& name : plan.planes) {
        const std::string path = outputlayout::planes + name;
        writer.attribute(path.c_str(), "interpretation", {"image"});
        if (!plan.units.empty())
            writer.attribute(path.c_str(), "units", {plan.units});
    }
    if (plan.planes.empty())
        return;
    const std::string first = plan.planes.front();
    writer.attribute(outputlayout::data, "uncertainties", {first});
    if (isNexusPath(plan.path))
        writer.link((outputlayout::planes + first).c_str(), "/entry/data/data_errors");
}

// Readers of the convention for climate data show values instead of stored numbers.
void markPacking(Hdf5Writer& writer, const std::optional<PixelPacking>& packing) {
    if (!packing)
        return;
    writer.attribute(outputlayout::data, "scale_factor", H5T_IEEE_F64LE, packing->scale);
    writer.attribute(outputlayout::data, "add_offset", H5T_IEEE_F64LE, packing->offset);
    if (!packing->isHalf)
        writer.attribute(outputlayout::data, "_FillValue", H5T_STD_U16LE, packing->storedNan());
}

} // namespace

void markFrames(Hdf5Writer& writer, const OutputPlan& plan) {
    constexpr char exchange[] = "/exchange";
    writer.attribute(outputlayout::data, "interpretation", {"image"});
    if (!plan.units.empty())
        writer.attribute(outputlayout::data, "units", {plan.units});
    markPacking(writer, plan.packing);
    if (!plan.quantity.empty())
        writer.attribute(outputlayout::data, "quantity", {plan.quantity});
    if (plan.level)
        writer.attribute(outputlayout::data, "level", H5T_NATIVE_DOUBLE, *plan.level);
    writer.attribute("/", "NX_class", {"NXroot"});
    writer.attribute(exchange, "NX_class", {"NXdata"});
    writer.attribute(exchange, "signal", {"data"});
    const bool isNexus = isNexusPath(plan.path);
    writer.attribute("/", "default", {isNexus ? nexuslayout::entry + 1 : exchange + 1});
    if (isNexus)
        makeTomography(writer);
    markPlanes(writer, plan);
}

} // namespace ombrel
