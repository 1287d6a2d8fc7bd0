#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

#include <QImage>

namespace {

// Two frames of 5 x 1: two even pixels, a masked one, one without counts, and one that was not corrected.
class Info : public ::testing::Test {
protected:
    void SetUp() override {
        writeTiff(raw, ImageStack<zt::u16>{5, 1, {100, 100, 100, 0, 100, 400, 400, 400, 0, 400}});
        writeTiff(corrected, ImageStack<double>{5, 1, {0.9, 1.1, 7, 7, NAN, 0.9, 1.1, 7, 7, NAN}});
        writeTiff(mask, ImageStack<zt::u8>{5, 1, {1, 1, 0, 1, 1}});
    }

    ProgramResult info(const std::vector<std::string>& options) const {
        std::vector<std::string> arguments{"info", corrected};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runOmbrel(arguments);
    }

    const TemporaryFolder folder;
    const std::string raw = folder / "raw.tif";
    const std::string corrected = folder / "corrected.tif";
    const std::string mask = folder / "mask.tif";
    const std::string picture = folder / "picture.png";
};

} // namespace

TEST_F(Info, HoldsWhatACorrectionLeftAgainstThePhotonStatisticsOfTheRawFrames) {
    const auto masked = info({"--raw", raw, "--mask", mask, "--each-frame"});
    EXPECT_EQ(masked.exitCode, 0) << masked.messages;
    EXPECT_THAT(masked.output, HasSubstr("  residual      mean 1.500, worst 2.000, times photon statistics\n"
                                         "  frame 0       residual 1.000\n"
                                         "  frame 1       residual 2.000\n"));
    EXPECT_THAT(info({"--raw", raw}).output,
                AllOf(HasSubstr("mean 14.148, worst 18.864"), Not(HasSubstr("frame 0"))));
}

TEST_F(Info, TellsHowEvenARegionIs) {
    EXPECT_THAT(info({"--region", "0,0,2,1"}).output,
                HasSubstr("region        mean 1, spread 10.00 %, photon statistics 100.00 %\n"));
    // Frames of which nothing counts are left out, and so are pixels.
    writeTiff(corrected, ImageStack<double>{3, 1, {3, 5, NAN, NAN, NAN, NAN}});
    EXPECT_THAT(info({"--region", "0,0,3,1"}).output,
                HasSubstr("mean 4, spread 25.00 %, photon statistics 50.00 %\n"));
}

TEST_F(Info, ReadsThePixelsWhenTheirRangeIsAskedFor) {
    EXPECT_THAT(info({}).output, Not(HasSubstr("range")));
    const auto asked = info({"--range"});
    EXPECT_THAT(asked.output, HasSubstr("  range         0.9 to 7\n  not a number  2 pixels\n"));
}

TEST_F(Info, NeedsTheDatabaseOfUnitsForMoreThanSeconds) {
    const std::string scan = folder / "scan.h5";
    {
        Hdf5Builder file(scan);
        file.images("/entry/data", 1, 1);
        file.data<double>("/entry/count_time", {1}, {0.1});
        file.attribute("/entry/count_time", "units", "ms");
    }
    EXPECT_THAT(runOmbrel({"info", scan}).output, HasSubstr("  time          0.0001 s\n"));
    const auto missing = runOmbrel({"info", scan}, {"UDUNITS2_XML_PATH=" + folder / "none.xml"});
    expectRefusal(missing, 1, "the unit \"ms\" cannot be looked up");
    EXPECT_EQ(std::ranges::count(missing.messages, '\n'), 1) << missing.messages;
}

TEST_F(Info, ShowsNoControlCharacters) {
    const std::string name = "\x1b[2J \xc2\x9b 2K \x9b \xc3\xa9 \xe2\x82\xac";
    EXPECT_THAT(runOmbrel({"info", folder / name}).messages,
                HasSubstr("\\x1b[2J \\xc2\\x9b 2K \\x9b \xc3\xa9 \xe2\x82\xac"));
}

TEST_F(Info, DrawsTheFirstFrameOfEachFileSideBySide) {
    runWell({"info", raw, corrected, "--region", "2,0,2,1", "--picture", picture});
    const QImage drawn(QString::fromStdString(picture));
    ASSERT_EQ(drawn.size(), QSize(2 + 4 + 2, 1));
    EXPECT_GT(qGray(drawn.pixel(0, 0)), qGray(drawn.pixel(1, 0)));
    EXPECT_EQ(drawn.pixel(3, 0), qRgb(255, 255, 255));
    EXPECT_EQ(drawn.pixel(6, 0), drawn.pixel(7, 0)) << "limits of its own";
}

TEST_F(Info, RefusesWhatDoesNotGoTogether) {
    const std::string wide = folder / "wide.tif";
    writeTiff(wide, ImageStack<zt::u16>{6, 1, std::vector<zt::u16>(12)});
    writeTiff(folder / "one.tif", ImageStack<zt::u16>{5, 1, {1, 1, 1, 1, 1}});
    const auto refuse = [&](const std::vector<std::string>& options, int exitCode, const char* words) {
        expectRefusal(info(options), exitCode, words);
    };
    refuse({"--mask", mask}, 2, "go with --raw");
    refuse({"--picture", folder / "picture.gif"}, 2, "must end in .png");
    refuse({"--raw", wide}, 1, "6 x 1");
    refuse({"--raw", raw, "--mask", wide}, 1, "6 x 1");
    refuse({"--raw", folder / "one.tif"}, 1, "has 2 frames");
    refuse({"--region", "4,0,1,1"}, 1, "no finite pixel");
    refuse({"--region", "4,0,2,1"}, 2, "beyond the frames of 5 x 1");
    for (const char* region : {"4,0,2,1", "0,0,0,1", "1,0,4294967295,1"}) {
        refuse({"--region", region, "--picture", picture}, 2, "region");
        EXPECT_FALSE(std::filesystem::exists(picture)) << region;
    }
}
