// What the filters have in common: how they end, and how they refuse.
#include "filters/DeviceFilter.h"

#include "FilterFixtures.h"
#include "filters/AdaptiveFF.h"
#include "filters/Binning2x2.h"
#include "fixtures/NotAFrame.h"
#include "host/Param.h"

namespace {

// One instance may get frames and other data on several threads at once: nothing of it may change.
TEST(Binning, StaysAsItIsInEveryByte) {
    std::vector<std::string> lines;
    ombrel::Host host([&](const std::string& line) { lines.push_back(line); });
    PluginOmbrel::Binning2x2 filter(&host, &host.addDevice(1, 2, 2));
    const auto bytesOf = [](const PluginOmbrel::Binning2x2& object) {
        return std::string(reinterpret_cast<const char*>(&object), sizeof object);
    };
    const std::string before = bytesOf(filter);
    NotAFrame data;
    EXPECT_EQ(filter.filterReplace(&data), 0);
    EXPECT_EQ(filter.filter(&data), nullptr);
    EXPECT_EQ(bytesOf(filter), before);
    constexpr const char* notAFrame = "Cannot filter data that is not of type IMpxFrame";
    EXPECT_THAT(lines, ElementsAre(notAFrame, notAFrame));
}

// A frame of 2 x 2 pixels whose clones are 4 x 1.
class FlatClones final : public zt::IMpxFrame {
public:
    int type() const override { return TYPE_FRAME; }
    void addRef() override {}
    void release() override {}
    void destroy() override {}
    zt::IData* clone() const override {
        auto frame = ombrel::Frame::create(4, 1, zt::DT_DOUBLE);
        std::ranges::copy(Values{1, 2, 3, 4}, frame->pixels<double>().begin());
        return frame.release();
    }
    void getData(zt::IByteBuff*, zt::u8) override {}
    void refData(zt::IRefByteBuff*, double) override {}
    double* doubleData(double) override { return nullptr; }
    zt::u64 size() const override { return 4; }
    zt::u32 width() const override { return 2; }
    zt::u32 height() const override { return 2; }
    zt::u8 frameDataType() const override { return zt::DT_DOUBLE; }
    void convertToType(zt::u8) override {}
    void frameName(zt::IString*) const override {}
    void clear() override {}
    void addFrame(zt::IMpxFrame*) override {}
    void multiplyBy(double) override {}
    double acqTime() const override { return 0; }
    int subFrameCount() const override { return 0; }
    void subFrames(zt::IPtrList<zt::IMpxFrame*>*) const override {}
};

TEST(Binning, TakesTheShapeOfItsInput) {
    ombrel::Host host(nullptr);
    PluginOmbrel::Binning2x2 filter(&host, &host.addDevice(1, 2, 2));
    const FlatClones frame;
    const ombrel::FramePtr result(static_cast<ombrel::Frame*>(filter.filter(&frame)));
    EXPECT_THAT(result->pixels<double>(), ElementsAre(10, 10, 10, 10));
}

// Parameters that are changed once more while they end.
class LastChangeParamMgr final : public zt::IParamMgr {
public:
    zt::IParam* createBool(const char* name, const char* description, bool value, zt::ParamCallback callback,
                           void* userData, int flags) override {
        return owned.createBool(name, description, value, callback, userData, flags);
    }
    zt::IParam* createInt(const char* name, const char* description, zt::i32 value,
                          zt::ParamCallback callback, void* userData, int flags) override {
        return owned.createInt(name, description, value, callback, userData, flags);
    }
    zt::IParam* createDouble(const char* name, const char* description, double value,
                             zt::ParamCallback callback, void* userData, int flags) override {
        return owned.createDouble(name, description, value, callback, userData, flags);
    }
    zt::IParam* createString(const char* name, const char* description, const char* value,
                             zt::ParamCallback callback, void* userData, int flags) override {
        return owned.createString(name, description, value, callback, userData, flags);
    }
    zt::IParam* param(const char* name) override { return owned.param(name); }
    zt::u64 paramCount() const override { return owned.paramCount(); }
    void params(zt::IPtrList<zt::IParam*>* out) const override { owned.params(out); }
    void destroy() override {
        param("Search")->setInt(1);
        delete this;
    }

private:
    ombrel::ParamMgr owned;
};

// The open host but for its parameters.
class LastChangeHost final : public zt::IZenteo {
public:
    std::vector<std::string> lines;
    ombrel::Host host{[this](const std::string& line) { lines.push_back(line); }};

    void log(const char*, int, const char* format, ...) override { lines.emplace_back(format); }
    void devices(zt::IPtrList<zt::IDev*>* out) override { host.devices(out); }
    zt::IParamMgr* createParamMgr() override { return new LastChangeParamMgr; }
    zt::ISettings* createSettings(const char* path, int flag) override {
        return host.createSettings(path, flag);
    }
    zt::IDataMgr* dataMgr() override { return host.dataMgr(); }
    zt::IFilterMgr* filterMgr() override { return host.filterMgr(); }
};

TEST(AdaptiveFF, IsWholeWhileItsParametersEnd) {
    const TemporaryFolder folder;
    LastChangeHost host;
    auto* const filter = new PluginOmbrel::AdaptiveFF(&host, &host.host.addDevice(1, 2, 2));
    std::ofstream(folder / "set.bin") << "no calibration";
    const auto store = host.host.openSettings(folder / "set.xml");
    filter->loadFromSettings(store.get());
    filter->destroy();
    constexpr const char* engineRefuses = "Cannot initialize adaptive FF filter";
    EXPECT_THAT(host.lines, ElementsAre(engineRefuses, engineRefuses));
}

// A store whose host leaves the size alone when there is no such blob.
class SilentStore final : public zt::ISettings {
public:
    explicit SilentStore(ombrel::Settings& settings) : store(settings) {}

    void load() override {}
    void save() override {}
    void setString(const char*, const char*, const char*) override {}
    void setInt(const char*, const char*, int) override {}
    void setDouble(const char*, const char*, double) override {}
    void setBool(const char*, const char*, bool) override {}
    void setBlob(const char*, const char*, const void*, zt::u64) override {}
    void getString(const char* group, const char* key, const char* missing, zt::IString* out) override {
        store.getString(group, key, missing, out);
    }
    int getInt(const char* group, const char* key, int missing) override {
        return store.getInt(group, key, missing);
    }
    double getDouble(const char* group, const char* key, double missing) override {
        return store.getDouble(group, key, missing);
    }
    bool getBool(const char* group, const char* key, bool missing) override {
        return store.getBool(group, key, missing);
    }
    void getBlob(const char* group, const char* key, void* buffer, zt::u64* byteSize) override {
        zt::u64 copied = *byteSize;
        store.getBlob(group, key, buffer, &copied);
        *byteSize = copied != 0 ? copied : *byteSize;
    }
    void getFilePath(zt::IString* out) const override { out->set(""); }
    void destroy() override {}

private:
    ombrel::Settings& store;
};

using SilentFFStoreTest = FFFilterFixture;
TEST_F(SilentFFStoreTest, LeavesTablesOfThisSizeAndMakesOthersOnes) {
    const auto settings = host.openSettings(folder / "ff.xml");
    SilentStore store(*settings);
    filter = filterWith({1, 2, 3, 4, 5, 6});
    filter->loadFromSettings(&store);
    EXPECT_EQ(coefficientsOf(*filter), (Values{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(coefficientsOf(*filter, 6, true), Values(6, 1));
    settings->setInt("FF", "CoeffsSize", 4);
    filter->loadFromSettings(&store);
    EXPECT_EQ(coefficientsOf(*filter, 4), Values(4, 1));
}

using SilentBHStoreTest = BHFilterFixture;
TEST_F(SilentBHStoreTest, MakesMasksOfZeros) {
    const auto settings = host.openSettings(folder / "bh.xml");
    SilentStore store(*settings);
    settings->setInt("Settings", "MaskCount", 1);
    for (const auto& [key, value] : {std::pair("Size", 12), std::pair("Width", 4), std::pair("Height", 3)})
        settings->setInt("Mask0", key, value);
    filter->loadFromSettings(&store);
    ASSERT_EQ(filter->masks().size(), 1u);
    EXPECT_THAT(filter->masks()[0]->data.span(), Each(0));
    EXPECT_THAT(filter->masks()[0]->tdiData.span(), Each(0));
}

} // namespace

// In place of the windows, which these tests are without.
namespace PluginOmbrel {

int askForSubFrame(const zt::IMpxFrame&, const char* label) {
    return filterwindows::subFrameAnswer(label);
}

void FFFilter::showConfigGUI() {
    saveToSettingsFile();
}

void BHFilter::showConfigGUI() {
    saveToSettingsFile();
}

} // namespace PluginOmbrel
