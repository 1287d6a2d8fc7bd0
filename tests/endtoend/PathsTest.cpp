// No command destroys a file: neither one that it reads or writes otherwise, nor one that is there.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"

#include <map>

namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

// Files of every kind in a folder whose contents are compared before and after each command.
class Paths : public ::testing::Test {
protected:
    Paths() {
        ImageStack<zt::u16> stack{6, 4, std::vector<zt::u16>(6 * 4 * 3, 500)};
        stack.pixels.front() = 501; // no two frames are the same: flat fields that repeat are left out
        stack.pixels.back() = 502;
        writeHdf5(at("in.h5"), stack);
        writeTiff(at("in.tif"), stack);
        fs::create_symlink("in.h5", at("link.h5"));
        fs::create_hard_link(at("in.h5"), at("twin.h5"));
        runWell({"calibrate", "flat-field", at("in.tif"), "-o", at("ff.xml")});
        runWell(binning({at("in.h5"), "-o", at("ok.h5")}));
        runWell(binning({at("in.h5"), "-o", at("ok.tif")}));
        writeFileText(at("a.bin"), "a heap");
        writeFileText(at("grid.csv"), "v,t,e,file\n1,1,1,in.tif\n1,1,2,in.tif\n");
    }

    std::string at(const std::string& name) const { return folder / name; }

    static Arguments binning(Arguments more) {
        more.insert(more.begin(), {"run", "-q", "-f", "Binning 2x2"});
        return more;
    }
    Arguments adaptive(const std::string& key, const std::string& value, const std::string& output) const {
        writeFileText(at("a.xml"), "<settings><group name=\"Settings\"><item key=\"" + key +
                                       "\" type=\"string\">" + value + "</item></group></settings>");
        return {"run", "-f", "AdaptiveFF=" + at("a.xml"), at("in.h5"), "-o", output, "--force"};
    }
    Arguments plus(Arguments arguments, const Arguments& more) const {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> all;
        for (const auto& file : fs::recursive_directory_iterator(folder.path))
            all[file.path().string()] = file.is_regular_file() ? fileText(file.path().string()) : "";
        return all;
    }

    // Refused with these words, and every file as it was.
    void refuse(const Arguments& arguments, int exitCode, const std::string& words) const {
        const auto before = contents();
        SCOPED_TRACE(testing::PrintToString(arguments));
        expectRefusal(runOmbrel(arguments), exitCode, words);
        EXPECT_TRUE(contents() == before);
    }

    const TemporaryFolder folder;
};

} // namespace

TEST_F(Paths, TwoPathsOfACommandLineMustBeTwoFiles) {
    const std::string out = at("out.h5");
    const std::string both = "is both";
    for (const char* option : {"--report", "--log"}) {
        refuse(binning({at("in.h5"), "-o", out, option, out}), 2, both);
        refuse(binning({at("in.h5"), "-o", out, option, at("in.h5"), "--force"}), 2, both);
        refuse(binning({at("in.h5"), "-o", out, option, at("nowhere/../out.h5")}), 1,
               "does not exist; create it");
    }
    refuse(binning({at("in.h5"), "-o", out, "--report", at("r"), "--log", at("./r")}), 2, both);
    for (const char* alias : {"link.h5", "twin.h5"})
        refuse(binning({at("in.h5"), "-o", at(alias), "--force"}), 2, "an input and the output");
    for (const char* dataset : {"::exchange/data", "::/exchange/data"})
        refuse(binning({at("in.h5") + dataset, "-o", at("in.h5"), "--force"}), 2, both);
    refuse(
        binning({at("in.h5"), "-o", out, "--device-mask", at("in.tif"), "--report", at("in.tif"), "--force"}),
        2, "the device mask and the report");
    refuse({"run", "-f", "Flat-Field=" + at("ff.xml"), at("in.h5"), "-o", out, "--log", at("ff.xml")}, 2,
           "the settings of Flat-Field and the log");
    refuse(binning({at("in.h5"), "-o", at("out.tif"), "--report", at("out.tif.ombrel.json")}), 2, both);
    refuse(binning({at("ok.tif"), "-o", out, "--log", at("ok.tif.ombrel.json")}), 2, both);
    refuse(binning({at("in.h5"), "-o", out, "--log", at("pictures/frame-000001.png"), "--preview",
                    at("pictures")}),
           2, "a preview");

    refuse({"info", at("in.h5"), "--picture", at("in.png"), "--raw", at("in.png"), "--force"}, 2, both);
    refuse({"info", at("in.h5"), "--picture", at("in.h5"), "--force"}, 2, "must end in .png");
    refuse({"merge", at("ok.h5"), "-o", at("ok.h5"), "--force"}, 2, both);
    refuse({"replay", at("ok.h5"), "-o", at("ok.h5"), "--force"}, 2, both);
    const Arguments flat{"calibrate", "flat-field", at("in.tif"), "-o", at("c.xml"), "--force"};
    refuse(plus(flat, {"--ascii", at("c.xml")}), 2, both);
    refuse(plus(flat, {"--ffc", at("t.ffc"), "--ascii", at("t.ffc")}), 2, both);
    refuse(plus(flat, {"--log", at("in.tif")}), 2, both);
    refuse({"calibrate", "beam-hardening", "--mask", "1=" + at("in.tif"), "-o", at("in.tif"), "--force"}, 2,
           both);
    const Arguments grid{"calibrate", "adaptive", "--grid", at("grid.csv"), "--force"};
    refuse(plus(grid, {"-o", at("b.xml"), "--log", at("b.bin")}), 2, "the calibration file and the log");
    refuse(plus(grid, {"-o", at("b.xml"), "--log", at("grid.csv")}), 2, both);
    refuse(plus(grid, {"--check", at("a.xml"), "--log", at("a.bin")}), 2, both);
    refuse({"configure", "Flat-Field", "--settings", at("in.tif"), "--frames", at("in.tif")}, 2, both);
}

TEST_F(Paths, WhatFilesNameMustNotBeWrittenEither) {
    const std::string out = at("out.h5");
    for (const char* key : {"LogFile", "LogQualityValuesFile"}) {
        for (const std::string& file : {at("in.h5"), out, at("a.bin"), at("a.xml"), at("link.h5")})
            refuse(adaptive(key, file, out), 1, std::string("the ") + key + " of AdaptiveFF");
        refuse({"run", "-f", "AdaptiveFF", "-p", std::string("AdaptiveFF:") + key + "=" + at("in.h5"),
                at("in.h5"), "-o", out},
               2, key);
    }
    const Arguments custom = adaptive("CustomMaskFile", at("ok.h5"), at("ok.h5"));
    refuse(custom, 1, "a calibration file of AdaptiveFF and the output");
    refuse(plus(adaptive("LogFile", at("log.txt"), out), {"--log", at("log.txt")}), 1, "and the log");
    refuse({"calibrate", "adaptive", "--grid", at("grid.csv"), "-o", at("b.xml"), "--log", at("in.tif")}, 1,
           "a flat field and the log");
    refuse({"replay", at("ok.h5"), "-o", at("in.h5"), "--force"}, 1, "an input and the output");
    adaptive("LogFile", at("in.h5"), out);
    refuse({"configure", "AdaptiveFF", "--settings", at("a.xml"), "--frames", at("in.h5")}, 1, "LogFile");
}

TEST_F(Paths, WhatIsThereIsKeptAndPlacesAreCheckedFirst) {
    const Arguments run = binning({at("in.h5"), "-o", at("out.h5")});
    fs::create_directory(at("pictures"));
    for (const char* name : {"mine", "mine.png", "mine.ffc", "pictures/frame-000001.png"})
        writeFileText(at(name), "precious");
    const Arguments flat{"calibrate", "flat-field", at("in.tif"), "-o", at("c.xml")};
    for (const Arguments& arguments :
         {plus(run, {"--report", at("mine")}), plus(run, {"--preview", at("pictures")}),
          plus(flat, {"--ffc", at("mine.ffc")}), plus(flat, {"--ascii", at("mine")}),
          Arguments{"info", at("in.h5"), "--picture", at("mine.png")}}) {
        refuse(arguments, 1, "exists; give --force");
        runWell(plus(arguments, {"--force"}));
        fs::remove(at("out.h5"));
        fs::remove(at("c.xml"));
    }
    EXPECT_EQ(contents()[at("pictures/frame-000001.png")].substr(1, 3), "PNG");
    EXPECT_EQ(runOmbrel(plus(run, {"--preview", at("pictures"), "--frames", "1:2", "--log", at("in.log")}))
                  .exitCode,
              1);
    EXPECT_THAT(fileText(at("in.log")), HasSubstr("frame-000001.png: exists"));

    for (const Arguments& more :
         {Arguments{"--report", at("no/r")}, {"--log", at("no/l")}, {"--preview", at("mine/p")}})
        refuse(plus(run, more), 1, more[1].substr(0, more[1].rfind('/')));
    for (const char* option : {"--ffc", "--ascii", "--log"})
        refuse(plus(flat, {option, at("no/t.ffc")}), 1, "does not exist; create it");
    refuse({"info", at("in.h5"), "--picture", at("in.tif/p.png")}, 1, "is not a folder");
}

TEST_F(Paths, SourcesOfInputsAreInputs) {
    Hdf5Builder(at("linked.h5")).images("/data", 1, 5);
    Hdf5Builder(at("viewed.h5")).images("/data", 1, 5);
    {
        Hdf5Builder master(at("master.h5"));
        master.externalLink("/entry/data", "linked.h5", "/data");
        master.view("/view", {{"viewed.h5", "/data"}}, 1);
    }
    for (const char* source : {"linked.h5", "viewed.h5"}) {
        const std::string before = fileText(at(source));
        for (const std::string& input : {at("master.h5::/entry/data"), at("master.h5::/view")})
            expectRefusal(runOmbrel({"run", "-f", "Binning 2x2", input, "-o", at(source), "--force"}), 1,
                          "a source of an input");
        EXPECT_EQ(fileText(at(source)), before);
    }
}

TEST_F(Paths, AClosedDescriptorIsNotTakenByAFile) {
    for (const char* closed : {"2>&-", ">&- 2>/dev/null", "<&- >&- 2>&-"}) {
        const std::string command = std::string(OMBREL_PROGRAM) + " run -q -f 'Binning 2x2' " + at("in.h5") +
                                    " -o " + at("out.h5") + " --force --report " + at("r.json") + " " +
                                    closed;
        EXPECT_EQ(std::system(command.c_str()), 0) << closed;
        EXPECT_EQ(readAllFrames(at("out.h5")), readAllFrames(at("ok.h5"))) << closed;
        EXPECT_EQ(fileText(at("r.json")).substr(0, 1), "{") << closed;
    }
}
