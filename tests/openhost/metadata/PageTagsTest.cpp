#include "base/FileContent.h"
#include "fixtures/FrameFiles.h"
#include "frame/FrameOutput.h"
#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Values.h"
#include "metadata/Metadata.h"
#include "tiff/TiffFile.h"

using ombrel::FrameOutput;
using ombrel::ImageTags;
using ombrel::ImageText;

namespace {

class PageTags : public ::testing::Test {
protected:
    PageTags() {
        TIFF* const tiff = TIFFOpen(input.c_str(), "w");
        for (int page = 0; page < 4; ++page) {
            setTiffFields(tiff, 5, 4, 8, SAMPLEFORMAT_UINT);
            TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 250.0);
            TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 125.0);
            TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
            TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION,
                         "ImageJ=1.49\nimages=4\nslices=4\nunit=micron\nmin=0\nspacing=2\n");
            TIFFSetField(tiff, TIFFTAG_SOFTWARE, "camera 1.2");
            TIFFSetField(tiff, TIFFTAG_DATETIME, "2024:05:06 07:08:09");
            TIFFSetField(tiff, TIFFTAG_PAGENAME, pageName(page).c_str());
            std::vector<zt::u8> pixels(20, static_cast<zt::u8>(page));
            TIFFWriteEncodedStrip(tiff, 0, pixels.data(), 20);
            TIFFWriteDirectory(tiff);
        }
        TIFFClose(tiff);
    }

    // Of different lengths; the first ones fit into an entry of a directory.
    static std::string pageName(int page) { return std::string(static_cast<std::size_t>(page) * 3 + 1, 'p'); }

    ombrel::OutputPlan planOf(const std::string& name, zt::u32 width, zt::u32 height) const {
        const std::vector<ombrel::FramesOfFile> sources{{input, 1, 4}};
        ombrel::OutputPlan plan = outputOf(folder / name, width, height, 3);
        plan.tags = ombrel::imageTagsOf(sources);
        plan.addMetadata = [=](const std::string& newFile) { ombrel::copyMetadata(sources, newFile, false); };
        return plan;
    }

    static void fill(FrameOutput& output, const ombrel::OutputPlan& plan, zt::u64 frames) {
        const std::vector<double> pixels(std::size_t{plan.width} * plan.height, 2);
        for (zt::u64 i = 0; i < frames; ++i) {
            ombrel::FrameRow row;
            const std::vector<float> stored(pixels.begin(), pixels.end());
            row.outputHash = ombrel::pixelHash(std::as_bytes(std::span(stored)));
            append(output, pixels, zt::DT_FLOAT, row);
        }
    }

    static std::string ascii(TIFF* tiff, zt::u32 tag) {
        char* text = nullptr;
        return TIFFGetField(tiff, tag, &text) == 1 ? text : "";
    }

    const TemporaryFolder folder;
    const std::string input = folder / "in.tif";
};

} // namespace

TEST_F(PageTags, AreThoseOfTheInputInEachPage) {
    for (const zt::u32 width : {5U, 2U}) {
        const ombrel::OutputPlan plan = planOf("out.tif", width, 4);
        fill(*FrameOutput::create(plan), plan, 2);
        auto state = FrameOutput::stateToResume(plan.path, plan.record);
        ASSERT_TRUE(state);
        EXPECT_EQ(state->framesDone, 2U);
        auto output = FrameOutput::resume(*state);
        fill(*output, plan, 1);
        output->finish();
        output.reset();

        TIFF* const tiff = TIFFOpen(plan.path.c_str(), "r");
        for (int page = 0; page < 3; ++page) {
            float x = 0;
            float y = 0;
            zt::u16 unit = 0;
            ASSERT_EQ(TIFFSetDirectory(tiff, static_cast<zt::u16>(page)), 1);
            // It does not hold for images of another size.
            ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x), width == 5 ? 1 : 0);
            TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y);
            TIFFGetField(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
            EXPECT_EQ(x, width == 5 ? 250.0F : 0);
            EXPECT_EQ(y, width == 5 ? 125.0F : 0);
            EXPECT_EQ(unit, width == 5 ? RESUNIT_CENTIMETER : 0);
            EXPECT_EQ(ascii(tiff, TIFFTAG_PAGENAME), pageName(page + 1));
            // The number and the range of the input's images do not hold for the output.
            EXPECT_EQ(ascii(tiff, TIFFTAG_IMAGEDESCRIPTION), "ImageJ=1.49\nunit=micron\nspacing=2\n");
            EXPECT_EQ(ascii(tiff, TIFFTAG_DATETIME), "2024:05:06 07:08:09");
            EXPECT_THAT(ascii(tiff, TIFFTAG_SOFTWARE),
                        AllOf(::testing::StartsWith("ombrel run "), EndsWith("; camera 1.2")));
        }
        TIFFClose(tiff);
        EXPECT_EQ(readAllFrames(plan.path), std::vector<double>(3U * plan.width * plan.height, 2));
        // A second run carries over the same.
        const ImageTags again = ombrel::imageTagsOf({{plan.path, 0, 3}});
        EXPECT_EQ(again.text(ImageText::PageName, 2), pageName(3));
        EXPECT_EQ(FrameOutput::stateOf(plan.path)->plan.tags, plan.tags);
    }
}

TEST_F(PageTags, BecomeDatasetsThatAreJoined) {
    for (const char* name : {"a.h5", "b.h5"}) {
        const ombrel::OutputPlan plan = planOf(name, 5, 4);
        const auto output = FrameOutput::create(plan);
        fill(*output, plan, 3);
        output->finish();
    }
    ombrel::OutputPlan plan = outputOf(folder / "both.h5", 5, 4, 4);
    plan.addMetadata = [&](const std::string& newFile) {
        ombrel::copyMetadata({{folder / "a.h5", 1, 3}, {folder / "b.h5", 0, 2}}, newFile, false);
    };
    const auto output = FrameOutput::create(plan);
    fill(*output, plan, 4);
    output->finish();

    const ombrel::Hdf5Session session;
    const auto file = ombrel::openHdf5(plan.path, "damaged");
    EXPECT_EQ(ombrel::numbersAt(file, "/measurement/tiff/x_resolution", 1)->values[0], 250);
    EXPECT_EQ(ombrel::numbersAt(file, "/measurement/tiff/x_resolution", 1)->unit, "1/cm");
    const ombrel::Hdf5Object names = ombrel::openHdf5Object(file, "/measurement/tiff/page_name");
    const ombrel::Hdf5Type type{H5Dget_type(names)};
    const std::size_t size = H5Tget_size(type);
    std::string bytes(4 * size, '\0');
    ASSERT_GE(H5Dread(names, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()), 0);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < 4; ++i)
        texts.emplace_back(bytes.substr(i * size, size).c_str());
    EXPECT_THAT(texts, ElementsAre(pageName(2), pageName(3), pageName(1), pageName(2)));
}

// What the frames do not have in common is not claimed for all of them.
TEST_F(PageTags, OfDifferentFilesAreEachTheirOwn) {
    writeTiff<zt::u8>(folder / "plain.tif", {5, 4, std::vector<zt::u8>(20)});
    const ImageTags tags = ombrel::imageTagsOf({{input, 0, 1}, {folder / "plain.tif", 0, 1}});
    EXPECT_FALSE(tags.resolution);
    EXPECT_EQ(tags.text(ImageText::PageName, 0), pageName(0));
    EXPECT_EQ(tags.text(ImageText::PageName, 1), "");
    EXPECT_TRUE(ombrel::imageTagsOf({{folder / "plain.tif", 0, 1}}).isEmpty());
    {
        Hdf5Builder file(folder / "in.h5");
        file.images("/entry/camera/data", 1, 3);
        for (const char* name : {"/entry/camera/x_pixel_size", "/entry/camera/y_pixel_size"}) {
            file.number(name, 6.5);
            file.attribute(name, "units", "um");
        }
    }
    const auto resolution = ombrel::imageTagsOf({{folder / "in.h5", 0, 1}}).resolution;
    ASSERT_TRUE(resolution);
    EXPECT_EQ(resolution->x, (ombrel::Ratio{1'000'000'000, 650'000}));
    EXPECT_TRUE(ombrel::imageTagsOf({{input, 0, 1}, {folder / "in.h5", 0, 1}}).isEmpty());
}
