#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "frame/FrameFile.h"

using ombrel::FrameFile;
using ombrel::FrameRole;

namespace {

class Hdf5Select : public ::testing::Test {
protected:
    using Content = void (*)(Hdf5Builder&);

    // The dataset that is chosen in a file of that content.
    std::string chosen(Content build, const std::string& dataset = "", FrameRole role = FrameRole::Any) {
        {
            Hdf5Builder file(path);
            build(file);
        }
        return FrameFile::open(path + dataset, role)->info().dataset;
    }

    // The message with which a file of that content is refused.
    std::string refusal(Content build, const std::string& dataset = "") {
        const std::string error = errorOf([&] { chosen(build, dataset); });
        EXPECT_THAT(error, StartsWith(path + ": "));
        return error;
    }

    const TemporaryFolder folder;
    const std::string path = folder / "some.h5";
};

void addDetector(Hdf5Builder& file, const std::string& group) {
    file.group(group);
    file.attribute(group, "NX_class", "NXdetector");
}

} // namespace

TEST_F(Hdf5Select, PrefersTheExchangeLayout) {
    const auto build = [](Hdf5Builder& file) {
        addDetector(file, "/entry/detector");
        file.images("/entry/detector/data", 1, 0);
        file.images("/exchange/data", 1, 0);
        file.images("/exchange/data_white", 1, 0);
    };
    EXPECT_EQ(chosen(build), "/exchange/data");
    EXPECT_EQ(chosen(build, "", FrameRole::Sample), "/exchange/data");
    EXPECT_EQ(chosen(build, "", FrameRole::Flat), "/exchange/data_white");
    EXPECT_EQ(chosen(build, "::/entry/detector/data", FrameRole::Flat), "/entry/detector/data");
    EXPECT_EQ(chosen([](Hdf5Builder& file) { file.images("/exchange/data", 1, 0); }, "", FrameRole::Flat),
              "/exchange/data");
}

TEST_F(Hdf5Select, PassesOverLinksThatLeadNowhere) {
    EXPECT_EQ(chosen([](Hdf5Builder& file) {
                  file.softLink("/exchange/data", "/nowhere");
                  addDetector(file, "/entry/a");
                  file.externalLink("/entry/a/data", "missing.h5", "/data");
                  addDetector(file, "/entry/b");
                  file.images("/entry/b/data", 1, 0);
                  file.softLink("/entry/circle", "/entry/circle");
                  file.hardLink("/entry/b/up", "/entry");
                  file.images("/another", 1, 0);
              }),
              "/entry/b/data");
}

TEST_F(Hdf5Select, FollowsLinksIntoOtherFiles) {
    {
        Hdf5Builder raw(folder / "raw.h5");
        raw.images("/deep/images", 3, 7);
        addDetector(raw, "/measured/camera");
        raw.images("/measured/camera/data", 2, 7);
    }
    const auto toDataset = [](Hdf5Builder& file) {
        addDetector(file, "/entry/camera");
        file.externalLink("/entry/camera/data", "raw.h5", "/deep/images");
    };
    EXPECT_EQ(chosen(toDataset), "/entry/camera/data");
    EXPECT_EQ(FrameFile::open(path)->readFrame(2)->pixels<zt::u16>()[3], 7);
    const auto toGroup = [](Hdf5Builder& file) { file.externalLink("/entry", "raw.h5", "/measured"); };
    EXPECT_EQ(chosen(toGroup), "/entry/camera/data");
    EXPECT_EQ(chosen(toGroup, "::/entry/camera/data"), "/entry/camera/data");
}

TEST_F(Hdf5Select, FollowsDefaultAndSignal) {
    const auto fromRoot = [](Hdf5Builder& file) {
        file.images("/one/plot/counts", 1, 0);
        file.images("/two/plot/counts", 1, 0);
        file.attribute("/", "default", "two");
        file.variableAttribute("/two", "default", "plot");
        file.attribute("/two/plot", "signal", "counts");
    };
    EXPECT_EQ(chosen(fromRoot), "/two/plot/counts");
    const auto fromEntry = [](Hdf5Builder& file) {
        file.images("/other", 1, 0);
        file.images("/entry/plot/counts", 1, 0);
        file.attribute("/entry", "default", "plot");
        file.attribute("/entry/plot", "signal", "counts");
    };
    EXPECT_EQ(chosen(fromEntry), "/entry/plot/counts");
    const auto circle = [](Hdf5Builder& file) {
        file.attribute("/", "default", "/");
        file.images("/only", 1, 0);
    };
    EXPECT_EQ(chosen(circle), "/only");
}

TEST_F(Hdf5Select, DecidesBetweenDetectorsByTheDefault) {
    const auto two = [](Hdf5Builder& file) {
        addDetector(file, "/entry/a");
        file.images("/entry/a/data", 1, 0);
        addDetector(file, "/entry/b");
        file.images("/entry/b/data", 1, 0);
        file.images("/elsewhere", 1, 0);
    };
    EXPECT_THAT(refusal(two), AllOf(HasSubstr("::/entry/a/data (1 x 2 x 2 u16), ::/entry/b/data"),
                                    Not(HasSubstr("elsewhere"))));
    EXPECT_EQ(chosen([](Hdf5Builder& file) {
                  addDetector(file, "/entry/a");
                  file.images("/entry/a/data", 1, 0);
                  addDetector(file, "/entry/b");
                  file.images("/entry/b/data", 1, 0);
                  file.softLink("/entry/plot/shown", "/entry/b/data");
                  file.attribute("/entry", "default", "plot");
                  file.attribute("/entry/plot", "signal", "shown");
              }),
              "/entry/b/data");
}

TEST_F(Hdf5Select, TakesTheOnlyStackOfNumbers) {
    EXPECT_EQ(chosen([](Hdf5Builder& file) {
                  file.images("/a/b/images", 1, 0);
                  file.hardLink("/same", "/a/b/images");
                  file.number("/temperature", 20);
                  file.data<double>("/angles", {3}, {0, 1, 2});
                  file.data<zt::u8>("/five", {1, 1, 1, 1, 1}, {0});
                  file.data<zt::u8>("/empty", {0, 4, 4}, {});
              }),
              "/same");
}

TEST_F(Hdf5Select, ListsWhatThereIs) {
    const auto two = [](Hdf5Builder& file) {
        file.images("/a", 5, 0);
        file.data<float>("/b", {3, 4}, std::vector<float>(12));
        file.softLink("/dead", "/nowhere");
    };
    EXPECT_THAT(refusal(two), HasSubstr("::/a (5 x 2 x 2 u16), ::/b (3 x 4 f32)"));
    EXPECT_THAT(refusal(two, "::/c"),
                AllOf(HasSubstr("/c does not exist"), HasSubstr("::/a (5 x 2 x 2 u16)")));
    EXPECT_THAT(refusal(two, "::/dead"), HasSubstr("dangling link"));
    EXPECT_THAT(refusal(two, "::/"), HasSubstr("/ is not a dataset of numbers"));
    const auto none = [](Hdf5Builder& file) {
        file.number("/100%s%n", 1);
        file.softLink("/data", "/nowhere");
    };
    EXPECT_THAT(refusal(none), HasSubstr("/100%s%n, /data (a dangling link)"));
}
