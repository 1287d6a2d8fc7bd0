#include "metadata/Metadata.h"

#include "fixtures/FrameFiles.h"
#include "hdf5/Hdf5Nexus.h"
#include "hdf5/Hdf5Values.h"

#include <sys/stat.h>

using ombrel::FrameOutput;
using ombrel::FramesOfFile;

namespace {

class MetadataTest : public ::testing::Test {
protected:
    // An output of the frames of these sources.
    void write(const std::string& name, const std::vector<FramesOfFile>& sources) {
        zt::u64 frames = 0;
        for (const FramesOfFile& source : sources)
            frames += source.end - source.begin;
        ombrel::OutputPlan plan = outputOf(folder / name, 2, 2, frames);
        plan.units = "counts";
        plan.addMetadata = [&](const std::string& newFile) {
            ombrel::copyMetadata(sources, newFile, ombrel::isNexusPath(name));
        };
        const auto output = FrameOutput::create(plan);
        for (zt::u64 i = 0; i < frames; ++i)
            append(*output, {1, 2, 3, 4});
        output->finish();
    }

    // The numbers at a path of an output; empty if the path is missing.
    std::vector<double> numbers(const std::string& name, const std::string& path, zt::u64 count) {
        const ombrel::Hdf5Session session;
        const auto file = ombrel::openHdf5(folder / name, "damaged");
        const auto found = ombrel::numbersAt(file, path, count);
        return found ? found->values : std::vector<double>();
    }

    bool exists(const std::string& name, const std::string& path) {
        const ombrel::Hdf5Session session;
        return ombrel::openHdf5Object(ombrel::openHdf5(folder / name, "damaged"), path).isOpen();
    }

    std::string attribute(const std::string& name, const std::string& path, const char* key) {
        const ombrel::Hdf5Session session;
        const auto file = ombrel::openHdf5(folder / name, "damaged");
        return ombrel::textAttribute(ombrel::openHdf5Object(file, path), key).value_or("");
    }

    void writeExchange(const std::string& name, double start) const {
        Hdf5Builder file(folder / name);
        file.images("/exchange/data", 4, 1);
        file.images("/exchange/data_white", 2, 9);
        file.data<float>("/exchange/theta", {4},
                         {static_cast<float>(start), static_cast<float>(start + 1),
                          static_cast<float>(start + 2), static_cast<float>(start + 3)});
        file.attribute("/exchange/theta", "units", "degree");
        file.number("/measurement/distance", 0.5);
        file.data<double>("/measurement/current", {4}, {1, 2, 3, 4});
        file.data<double>("/measurement/large", {200'000}, {});
        file.externalLink("/measurement/pipe", "pipe", "/x");
        file.softLink("/measurement/loop", "/measurement");
        file.number("/process/acquisition/speed", 2);
        file.number("/process/ombrel/old", 1);
    }

    const TemporaryFolder folder;
};

} // namespace

TEST_F(MetadataTest, OfTheExchangeLayoutFollowsTheFrames) {
    mkfifo((folder / "pipe").c_str(), 0600);
    writeExchange("a.h5", 10);
    writeExchange("b.h5", 20);
    for (const char* name : {"out.h5", "out.nxs"}) {
        write(name, {{folder / "a.h5", 1, 4}, {folder / "b.h5", 0, 2}});
        EXPECT_THAT(numbers(name, "/exchange/theta", 5), ElementsAre(11, 12, 13, 20, 21));
        EXPECT_EQ(attribute(name, "/exchange/theta", "units"), "degree");
        EXPECT_THAT(numbers(name, "/measurement/current", 5), ElementsAre(2, 3, 4, 1, 2));
        EXPECT_THAT(numbers(name, "/measurement/distance", 1), ElementsAre(0.5));
        EXPECT_THAT(numbers(name, "/process/acquisition/speed", 1), ElementsAre(2));
        for (const char* path : {"/measurement/large", "/measurement/pipe", "/measurement/loop/distance",
                                 "/process/ombrel/old", "/exchange/data_white"})
            EXPECT_FALSE(exists(name, path)) << path;
    }
    EXPECT_EQ(attribute("out.h5", "/", "default"), "exchange");
    EXPECT_EQ(attribute("out.h5", "/exchange", "NX_class"), "NXdata");
    EXPECT_EQ(attribute("out.nxs", "/", "default"), "entry");
    EXPECT_EQ(attribute("out.nxs", "/entry/data/data", "units"), "counts");
    EXPECT_THAT(numbers("out.nxs", "/entry/sample/rotation_angle", 5), ElementsAre(11, 12, 13, 20, 21));
    // A second run has the same to carry over.
    write("again.h5", {{folder / "out.nxs", 1, 3}});
    EXPECT_THAT(numbers("again.h5", "/exchange/theta", 2), ElementsAre(12, 13));
}

TEST_F(MetadataTest, OfAnNXtomoIsThatOfTheSample) {
    {
        Hdf5Builder file(folder / "a.nxs");
        const auto group = [&](const std::string& path, const char* name) {
            file.group(path);
            file.attribute(path, "NX_class", name);
        };
        group("/scan", "NXentry");
        group("/scan/instrument", "NXinstrument");
        group("/scan/instrument/camera", "NXdetector");
        group("/scan/bone", "NXsample");
        file.images("/scan/instrument/camera/data", 5, 1);
        file.data<zt::u8>("/scan/instrument/camera/image_key", {5}, {2, 0, 1, 0, 0});
        file.number("/scan/instrument/camera/x_pixel_size", 5e-6);
        file.data<double>("/scan/bone/rotation_angle", {5}, {0, 10, 20, 30, 40});
        file.number("/scan/energy", 25);
    }
    for (const char* name : {"out.h5", "out.nxs"}) {
        write(name, {{folder / "a.nxs", 0, 2}});
        EXPECT_THAT(numbers(name, "/exchange/theta", 2), ElementsAre(10, 30));
        EXPECT_THAT(numbers(name, "/entry/sample/rotation_angle", 2), ElementsAre(10, 30));
        EXPECT_THAT(numbers(name, "/entry/instrument/detector/image_key", 2), ElementsAre(0, 0));
        EXPECT_THAT(numbers(name, "/entry/instrument/detector/x_pixel_size", 1), ElementsAre(5e-6));
        EXPECT_THAT(numbers(name, "/entry/energy", 1), ElementsAre(25));
        EXPECT_EQ(readAllFrames(folder / name).size(), 8U);
    }
}

// theta with an angle for each flat and dark frame too says nothing unless these are marked.
TEST_F(MetadataTest, AnglesOfOtherFramesAreLeftOut) {
    const auto build = [&](bool marked) {
        Hdf5Builder file(folder / "a.h5");
        file.images("/exchange/data", 2, 1);
        file.images("/exchange/data_white", 1, 9);
        file.images("/exchange/data_dark", 1, 0);
        file.data<double>("/exchange/theta", {4}, {0, 1, 2, 3});
        if (marked)
            file.data<zt::u8>("/exchange/image_key", {4}, {2, 0, 1, 0});
    };
    build(false);
    write("out.h5", {{folder / "a.h5", 0, 2}});
    EXPECT_FALSE(exists("out.h5", "/exchange/theta"));
    build(true);
    write("out.h5", {{folder / "a.h5", 0, 2}});
    EXPECT_THAT(numbers("out.h5", "/exchange/theta", 2), ElementsAre(1, 3));
}
