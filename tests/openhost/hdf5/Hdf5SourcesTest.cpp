// Datasets whose values are in other files.

#include "Hdf5Fixture.h"

#include <sys/stat.h>

namespace {

class Hdf5Sources : public Hdf5Fixture {
protected:
    // A file with a stack of `count` images of that value as /data.
    void makeSource(const std::string& name, hsize_t count, zt::u16 value) const {
        Hdf5Builder file(folder / name);
        file.images("/data", count, value);
    }

    void expectRefusal(const std::string& words, const std::string& dataset = "") const {
        EXPECT_THAT(refusal(dataset), HasSubstr(words));
    }
};

} // namespace

TEST_F(Hdf5Sources, AreReadThroughViewsOfViewsBesideTheFile) {
    std::filesystem::create_directory(folder / "parts");
    makeSource("parts/a.h5", 2, 1);
    makeSource("parts/b.h5", 2, 2);
    {
        Hdf5Builder file(folder / "parts/both.h5");
        file.view("/data", {{"a.h5", "/data"}, {"b.h5", "/data"}}, 2);
    }
    make([](Hdf5Builder& file) {
        file.view("/whole", {{"parts/both.h5", "/data"}}, 4);
        file.view("/entry/twice", {{".", "/whole"}, {".", "/whole"}}, 4);
    });
    EXPECT_THAT(firstPixels("::/entry/twice"), ElementsAre(1, 1, 2, 2, 1, 1, 2, 2));

    std::filesystem::rename(folder / "parts/b.h5", folder / "b.h5");
    expectRefusal("its source b.h5 is missing", "::/entry/twice");
    setenv("HDF5_VDS_PREFIX", folder.path.c_str(), 1);
    EXPECT_THAT(firstPixels("::/whole"), ElementsAre(1, 1, 2, 2));
    unsetenv("HDF5_VDS_PREFIX");
}

TEST_F(Hdf5Sources, OfASeriesMustBeThereToItsEnd) {
    for (const int block : {0, 1, 2})
        for (const char* camera : {"left-", "right-"})
            makeSource(camera + std::to_string(block) + ".h5", 1, static_cast<zt::u16>(block));
    const auto pair = [](Hdf5Builder& file) {
        file.series("/pair", {{"left-%b.h5", "/data"}, {"right-%b.h5", "/data"}});
    };
    make(pair);
    EXPECT_THAT(firstPixels(), ElementsAre(0, 0, 1, 1, 2, 2));
    std::filesystem::remove(folder / "right-1.h5");
    expectRefusal("/pair: its source right-1.h5::/data is missing");
    for (const int block : {0, 1, 2})
        std::filesystem::remove(folder / ("left-" + std::to_string(block) + ".h5"));
    expectRefusal("left-0.h5::/data is missing");
}

TEST_F(Hdf5Sources, ThatCannotBeReadAreNamed) {
    makeSource("good.h5", 1, 1);
    const auto use = [&](const std::string& file, const std::string& dataset) {
        make([&](Hdf5Builder& builder) {
            builder.view("/data", {{"good.h5", "/data"}, {file, dataset}}, 1);
        });
    };
    use("missing.h5", "/data");
    expectRefusal("/data: its source missing.h5 is missing");
    use("good.h5", "/other");
    expectRefusal("its source good.h5::/other is missing");
    writeFileText(folder / "words.h5", "words");
    use("words.h5", "/data");
    expectRefusal("words.h5: a source that cannot be opened");
    mkfifo((folder / "pipe").c_str(), 0600);
    use("pipe", "/data");
    expectRefusal("its source pipe is not a regular file");
    use("/dev/zero", "/data");
    expectRefusal("its source /dev/zero is not a regular file");
    make([](Hdf5Builder& file) { file.series("/data", {{"100%%s", "/%b"}}); });
    expectRefusal("its source 100%s::/0 is missing");
    make([](Hdf5Builder& file) { file.externalLink("/exchange/data", "pipe", "/data"); });
    expectRefusal("/exchange/data is a link to pipe::/data, which is not a regular file");
}

TEST_F(Hdf5Sources, ThatLeadBackAreRefused) {
    make([](Hdf5Builder& file) { file.view("/data", {{".", "/data"}}, 1); });
    expectRefusal("/data: it is a source of itself");
    make([](Hdf5Builder& file) {
        file.series("/0", {{".", "/%b"}});
        file.view("/entry/data", {{"some.h5", "/0"}}, 1);
    });
    expectRefusal("it is a source of itself", "::/entry/data");
    make([](Hdf5Builder& file) {
        file.images("/0", 1, 7);
        for (int depth = 1; depth < 40; ++depth)
            file.view("/" + std::to_string(depth), {{".", "/" + std::to_string(depth - 1)}}, 1);
    });
    expectRefusal("nested more than 16 deep", "::/39");
    EXPECT_THAT(firstPixels("::/9"), ElementsAre(7));
}

// Where nothing else marks a dataset as the frames, it may be some other picture.
TEST_F(Hdf5Sources, OfDeadLinksAreNamedInPlaceOfAnUnrelatedDataset) {
    make([](Hdf5Builder& file) {
        file.images("/entry/mask", 1, 1);
        file.externalLink("/entry/data", "raw.h5", "/data");
        file.softLink("/plot", "/entry/data");
    });
    for (const char* dataset : {"", "::/entry/data", "::/entry/data/deep", "::/plot"})
        expectRefusal("/entry/data is a link to raw.h5::/data, which does not exist", dataset);
    EXPECT_THAT(firstPixels("::/entry/mask"), ElementsAre(1));
    makeSource("raw.h5", 2, 5);
    EXPECT_THAT(firstPixels("::/entry/data"), ElementsAre(5, 5));
}

// Taken for absent, they would make flat fields frames of the sample.
TEST_F(Hdf5Sources, OfDeadLinksBesideTheFramesAreNamed) {
    for (const char* name : {"image_key", "count_time"}) {
        make([&](Hdf5Builder& file) {
            file.images("/entry/data", 1, 1);
            file.externalLink(std::string("/entry/") + name, "keys.h5", "/keys");
        });
        expectRefusal(std::string("/entry/") + name + " is a link to keys.h5::/keys, which does not exist");
    }
}

TEST_F(Hdf5Sources, ThatHoldFarLessThanIsClaimedAreRefused) {
    make([](Hdf5Builder& file) {
        file.data<double>("/data", {1, 60000, 60000}, {}, chunked({1, 1000, 1000}));
    });
    expectRefusal("/data: it claims 28.8 GB of values, but holds 0 bytes");
}
