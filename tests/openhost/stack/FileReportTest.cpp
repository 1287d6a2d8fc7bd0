#include "stack/FileReport.h"

#include "base/Numbers.h"
#include "fixtures/FrameFiles.h"
#include "frame/FrameOutput.h"

using ombrel::fileReportText;
using ombrel::FrameFile;
using ombrel::FrameOutput;
using ombrel::notANumber;
using ombrel::pixelReportText;
using ombrel::reportOnFile;
using ombrel::reportOnPixels;

namespace {

class FileReportOf : public ::testing::Test {
protected:
    // All lines on the file.
    std::string text() const {
        const auto file = FrameFile::open(path);
        const auto pixels = reportOnPixels(*file, [] { return true; });
        return fileReportText(reportOnFile(*file)) + pixelReportText(pixels.value());
    }

    const TemporaryFolder folder;
    const std::string path = folder / "some.h5";
};

} // namespace

TEST_F(FileReportOf, TellsWhatAScanHolds) {
    {
        Hdf5Builder file(path);
        file.data<zt::i16>("/entry/data", {3, 2, 1, 2}, {5, -3, 0, 0, 1, 1, 2, 2, 7, 4, 1, 0});
        file.data<zt::u8>("/entry/image_key", {3}, {1, 0, 0});
        file.data<double>("/entry/count_time", {3}, {0.1, 0.07, 0.1});
        file.attribute("/entry/count_time", "units", "millisecond");
    }
    EXPECT_EQ(text(), path + "\n"
                             "  kind          HDF5, /entry/data\n"
                             "  frames        3\n"
                             "  sub-frames    2 each\n"
                             "  size          2 x 1, i16\n"
                             "  time          0.00007 to 0.0001 s\n"
                             "  marked        2 of the sample, 1 flat, 0 dark\n"
                             "  run uses      2 frames of the sample\n"
                             "  calibration   uses 1 flat field and 0 dark fields\n"
                             "  range         -3 to 8\n");
    const auto file = FrameFile::open(path);
    EXPECT_FALSE(reportOnPixels(*file, [] { return false; })) << "stopped";
}

TEST_F(FileReportOf, TellsHowFarARunCame) {
    const auto output = FrameOutput::create(outputOf(path, 2, 1, 3, zt::DT_DOUBLE));
    append(*output, {1e300, -0.5}, zt::DT_DOUBLE);
    appendFailed(*output, "no light");
    EXPECT_EQ(text(), path + "\n"
                             "  kind          HDF5, /exchange/data\n"
                             "  frames        2\n"
                             "  size          2 x 1, f64\n"
                             "  run           2 of 3 frames done, 1 failed, not complete\n"
                             "  range         -0.5 to 1e+300\n"
                             "  not a number  2 pixels\n");
    append(*output, {0.0, 0.0}, zt::DT_DOUBLE);
    output->finish();
    EXPECT_NE(text().find("3 of 3 frames done, 1 failed, complete"), std::string::npos);
}

TEST_F(FileReportOf, LeavesOutOfTheRangeWhatIsNoNumber) {
    const auto rangeOf = [&](const std::vector<double>& pixels) {
        writeHdf5<double>(path, {static_cast<zt::u32>(pixels.size()), 1, pixels});
        return reportOnPixels(*FrameFile::open(path), [] { return true; }).value();
    };
    EXPECT_EQ(rangeOf({notANumber, 3, notANumber, -2, notANumber}).range.min, -2);
    EXPECT_EQ(rangeOf({notANumber, 3, notANumber, -2, notANumber}).range.max, 3);
    EXPECT_EQ(rangeOf({notANumber, 3, notANumber, -2, notANumber}).nanPixels, 3U);
    EXPECT_TRUE(rangeOf({notANumber, notANumber}).range.isEmpty());
    EXPECT_EQ(rangeOf({-std::numeric_limits<double>::infinity(), 1}).range.min,
              -std::numeric_limits<double>::infinity());
}
