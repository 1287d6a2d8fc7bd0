#include "stack/Hdf5WholeMaker.h"

#include "frame/OutputFile.h"
#include "hdf5/Hdf5FrameTable.h"
#include "hdf5/Hdf5Maker.h"
#include "hdf5/Hdf5OutputLayout.h"
#include "hdf5/Hdf5Shape.h"
#include "zt/DataType.h"

#include <limits>

namespace ombrel {

void makeHdf5Whole(const OutputPlan& plan, const RunRecord& record,
                   const std::vector<std::string>& settings) {
    OutputFile output(plan.path);
    const Hdf5Session session;
    Hdf5Maker maker(output.newPath(), plan.path, plan.frames, 0);
    const zt::u64 framesDone = plan.frames;
    const zt::u8 complete = 1;
    maker.value(outputlayout::framesDone, H5T_NATIVE_UINT64, {}, &framesDone);
    maker.value(outputlayout::complete, H5T_NATIVE_UINT8, {}, &complete);
    maker.text("/implements", "exchange:process");
    maker.text(outputlayout::record, plan.record);
    for (std::size_t i = 0; i < settings.size(); ++i)
        maker.value((outputlayout::settings + std::to_string(i)).c_str(), H5T_NATIVE_UINT8,
                    {settings[i].size()}, settings[i].data());
    maker.view(outputlayout::frames, storedRowType(), {}, record.parts, nullptr);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const double wideNan = nan;
    maker.view(outputlayout::data, nativeHdf5Type(plan.pixelType), {plan.height, plan.width}, record.parts,
               plan.pixelType == zt::DT_FLOAT ? static_cast<const void*>(&nan) : &wideNan);
    maker.close();
    output.publish();
    output.keep();
}

} // namespace ombrel
