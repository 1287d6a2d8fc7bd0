#include "Hdf5Fixture.h"

namespace {

class Hdf5Select : public Hdf5Fixture {
protected:
    using Content = std::function<void(Hdf5Builder&)>;

    // The dataset that is chosen in a file of that content.
    std::string chosen(const Content& build, const std::string& dataset = "",
                       FrameRole role = FrameRole::Any) {
        make(build);
        return FrameFile::open(path + dataset, role)->info().dataset;
    }

    // The message with which a file of that content is refused.
    std::string refusalOf(const Content& build, const std::string& dataset = "") {
        make(build);
        return refusal(dataset);
    }
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
        for (const std::string detector : {"/entry/a", "/entry/b"}) {
            addDetector(file, detector);
            file.images(detector + "/data", 1, 0);
        }
        file.images("/elsewhere", 1, 0);
    };
    EXPECT_THAT(refusalOf(two), AllOf(HasSubstr("::/entry/a/data (1 x 2 x 2 u16), ::/entry/b/data"),
                                      Not(HasSubstr("elsewhere"))));
    const auto withDefault = [&](Hdf5Builder& file) {
        two(file);
        file.softLink("/entry/plot/shown", "/entry/b/data");
        file.attribute("/entry", "default", "plot");
        file.attribute("/entry/plot", "signal", "shown");
    };
    EXPECT_EQ(chosen(withDefault), "/entry/b/data");
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
    EXPECT_THAT(refusalOf(two), HasSubstr("::/a (5 x 2 x 2 u16), ::/b (3 x 4 f32)"));
    EXPECT_THAT(refusalOf(two, "::/c"),
                AllOf(HasSubstr("/c does not exist"), HasSubstr("::/a (5 x 2 x 2 u16)")));
    EXPECT_THAT(refusalOf(two, "::/dead"), HasSubstr("dangling link"));
    EXPECT_THAT(refusalOf(two, "::/"), HasSubstr("/ is not a dataset of numbers"));
    const auto none = [](Hdf5Builder& file) {
        file.number("/100%s%n", 1);
        file.softLink("/data", "/nowhere");
    };
    EXPECT_THAT(refusalOf(none), HasSubstr("/100%s%n, /data (a dangling link)"));
}

// Masters link one file for every few hundred frames.
TEST_F(Hdf5Select, TakesNumberedDatasetsAsOneStack) {
    for (int i = 1; i <= 11; ++i)
        Hdf5Builder(folder / ("data" + std::to_string(i) + ".h5"))
            .images("/data", 2, static_cast<zt::u16>(i));
    const auto master = [this](int files, const std::string& signal) {
        Hdf5Builder file(path);
        addDetector(file, "/entry/instrument/detector");
        file.data<zt::u32>("/entry/instrument/detector/pixel_mask", {2, 2}, {0, 0, 0, 0});
        file.number("/entry/instrument/detector/count_time", 0.25);
        for (int i = 1; i <= files; ++i)
            file.externalLink("/entry/data/data_" + std::to_string(i), "data" + std::to_string(i) + ".h5",
                              "/data");
        if (!signal.empty())
            file.attribute("/entry/data", "signal", signal);
    };
    for (const char* signal : {"", "data_1"}) {
        master(11, signal);
        auto frames = FrameFile::open(path);
        EXPECT_EQ(frames->info().dataset, "/entry/data/data_1 to data_11");
        EXPECT_EQ(frames->info().frames, 22U);
        EXPECT_EQ(frames->info().acqTime, 0.25);
        for (const zt::u32 frame : {21U, 0U, 3U, 18U})
            EXPECT_EQ(frames->readFrame(frame)->pixels<zt::u16>()[0], frame / 2 + 1);
        EXPECT_EQ(FrameFile::open(path + "::/entry/data")->info().frames, 22U);
        EXPECT_EQ(FrameFile::open(path + "::/entry/data/data_3")->info().frames, 2U);
        frames.reset(); // the library does not replace a file that is open
        master(12, signal);
        EXPECT_THAT(
            errorOf([&] { FrameFile::open(path); }),
            AllOf(HasSubstr("/entry/data/data_12"), HasSubstr("data12.h5"), HasSubstr("does not exist")));
    }
    EXPECT_THAT(refusalOf([](Hdf5Builder& file) {
                    file.images("/entry/data/data_1", 1, 0);
                    file.images("/entry/data/data_3", 1, 0);
                }),
                HasSubstr("a dataset between them is missing"));
    EXPECT_THAT(refusalOf([](Hdf5Builder& file) {
                    file.images("/entry/data/data_1", 1, 0);
                    file.data<zt::u16>("/entry/data/data_2", {1, 2, 3}, {});
                }),
                HasSubstr("must be alike"));
}

// A listing of the file is kept, but not longer than the file stays as it is.
TEST_F(Hdf5Select, OpensANamedDatasetWithAllItsNames) {
    const auto build = [](zt::u16 value, const std::string& name) {
        return [=](Hdf5Builder& file) {
            addDetector(file, "/entry/camera");
            file.images("/entry/camera/" + name, 2, value);
            file.data<zt::u8>("/entry/camera/image_key", {2}, {1, 0});
            file.hardLink("/plot/shown", "/entry/camera/" + name);
            file.images("/other", 3, 0);
        };
    };
    make(build(5, "data"));
    for (int twice = 0; twice < 2; ++twice) {
        const auto shown = FrameFile::open(path + "::/plot/shown", FrameRole::Sample);
        EXPECT_EQ(shown->info().frames, 1U); // by the image_key in the detector
        EXPECT_EQ(shown->readFrame(0)->pixels<zt::u16>()[0], 5);
    }
    EXPECT_EQ(FrameFile::open(path + "::other")->info().frames, 3U);
    make(build(6, "moved"));
    EXPECT_EQ(FrameFile::open(path + "::/plot/shown")->readFrame(0)->pixels<zt::u16>()[0], 6);
    EXPECT_THAT(refusal("::/entry/camera/data"),
                AllOf(HasSubstr("does not exist"), HasSubstr("::/plot/shown (")));
}
