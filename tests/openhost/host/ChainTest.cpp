#include "host/Chain.h"

#include "fixtures/Messages.h"
#include "fixtures/ScriptedFilter.h"
#include "fixtures/Testing.h"
#include "host/Host.h"
#include "host/Param.h"

using namespace ombrel;

namespace {

// A chain of one filter, which does what the test tells it.
class ChainTest : public testing::Test {
protected:
    ChainTest() {
        host.filterMgr()->addFilter(&device, new ScriptedFilter(&device, script));
        chain.add(FilterLink(host, device, "Scripted"));
    }

    FramePtr frame() { return Frame::create(3, 2, zt::DT_U16); }
    std::string failureOf(ApplyMode mode) {
        const FrameResult result = chain.apply(frame(), mode);
        EXPECT_FALSE(result);
        return result.failure;
    }
    void logFromFilter(const char* text) { host.log("ombrel", 0, text); }

    std::vector<std::string> log;
    FilterScript script;
    ParamMgr params;
    Host host{[this](const std::string& line) { log.push_back(line); }};
    Device& device = host.addDevice(1, 3, 2);
    Chain chain;
};

} // namespace

TEST_F(ChainTest, EveryHandOverFindsARoomOfZeros) {
    const auto dirtyRoom = [](Frame& each) {
        std::ranges::fill(std::span(each.pixels<double>().data() + each.size(), 4), 7.0);
    };
    script.filter = [&](const zt::IData* data) {
        const auto* in = static_cast<const Frame*>(static_cast<const zt::IMpxFrame*>(data));
        EXPECT_THAT(std::span(in->pixels<double>().data() + in->size(), 4), Each(0.0));
        auto* const out = static_cast<Frame*>(in->clone());
        dirtyRoom(*out);
        return static_cast<zt::IData*>(out);
    };
    chain.add(FilterLink(host, device, "Scripted"));
    FramePtr input = Frame::create(3, 2, zt::DT_DOUBLE);
    dirtyRoom(*input);
    EXPECT_TRUE(chain.apply(std::move(input), ApplyMode::Copy));
}

TEST_F(ChainTest, AFilterThatThrowsRefusesOrAnswersNonsenseIsAFailureWithItsReason) {
    const std::size_t alive = Frame::aliveCount();
    script.filter = [](const zt::IData*) -> zt::IData* { throw std::runtime_error("100 %s%n"); };
    EXPECT_EQ(failureOf(ApplyMode::Copy), "Scripted: 100 %s%n");
    script.filter = [](const zt::IData*) -> zt::IData* { throw 5; };
    EXPECT_EQ(failureOf(ApplyMode::Copy), "Scripted: an exception of unknown type");
    script.filter = [](const zt::IData*) -> zt::IData* { return nullptr; };
    EXPECT_EQ(failureOf(ApplyMode::Copy), "Scripted: the filter returned no frame");
    script.filter = [](const zt::IData* data) { return const_cast<zt::IData*>(data); };
    EXPECT_THAT(failureOf(ApplyMode::Copy), HasSubstr("did not return a new frame"));

    script.filterReplace = [&](zt::IData*) {
        logFromFilter("one %n");
        logFromFilter("two");
        return 0; // refused: the frame was not converted
    };
    EXPECT_EQ(failureOf(ApplyMode::Replace), "Scripted: one %n; two");
    script.filterReplace = [](zt::IData*) { return 0; };
    EXPECT_EQ(failureOf(ApplyMode::Replace), "Scripted: the filter left the frame unchanged");
    script.filterReplace = [](zt::IData* data) {
        static_cast<zt::IMpxFrame*>(data)->convertToType(zt::DT_DOUBLE);
        return -1018;
    };
    EXPECT_EQ(failureOf(ApplyMode::Replace), "Scripted: the filter returned -1018");
    EXPECT_EQ(Frame::aliveCount(), alive);
    EXPECT_THAT(log, IsEmpty()); // the lines are in the failures
}

TEST_F(ChainTest, AFrameConvertedEarlierIsStillSeenAsRefused) {
    script.filterReplace = [](zt::IData*) { return 0; };
    FramePtr input = frame();
    input->convertToType(zt::DT_DOUBLE);
    EXPECT_FALSE(chain.apply(std::move(input), ApplyMode::Replace));
}

TEST_F(ChainTest, LinesOfACallThatWentWellGoToTheLog) {
    script.filter = [&](const zt::IData* data) {
        logFromFilter("100 %");
        return data->clone();
    };
    EXPECT_TRUE(chain.apply(frame(), ApplyMode::Copy));
    EXPECT_THAT(log, ElementsAre("100 %"));
}

TEST_F(ChainTest, UnknownFiltersAndInstancesThatAreNotMadeAreErrors) {
    EXPECT_EQ(errorOf([&] { FilterLink(host, device, "scripted"); }),
              "unknown filter \"scripted\"; known filters: \"Scripted\"");
    EXPECT_THAT(errorOf([&] { FilterLink(host, host.addDevice(1, 1, 1), "Scripted"); }), HasSubstr("none"));
    script.canMakeInstance = [] { return false; };
    EXPECT_THAT(errorOf([&] { FilterLink(host, device, "Scripted"); }),
                HasSubstr("no instance could be created"));
    script.canMakeInstance = []() -> bool { throw std::runtime_error("no memory for tables"); };
    EXPECT_THAT(errorOf([&] { FilterLink(host, device, "Scripted"); }), HasSubstr("no memory for tables"));
}

TEST_F(ChainTest, LoadingSettingsFailsOnAnyLineAnswerOrException) {
    const TemporaryFolder folder;
    const std::string path = folder / "s.xml";
    writeFileText(path, "<settings><group name='G'><item key='k' type='int'>4</item></group></settings>");
    const auto loading = [&] { return errorOf([&] { chain.links()[0].loadSettings(path); }); };
    int loaded = 0;
    script.load = [&](zt::ISettings* settings) {
        loaded = settings->getInt("G", "k", 0);
        return 0;
    };
    EXPECT_EQ(loading(), "");
    EXPECT_EQ(loaded, 4);
    script.load = [&](zt::ISettings* settings) { return settings->getBool("G", "k", false) ? 0 : 0; };
    EXPECT_THAT(loading(), HasSubstr("type int, but bool was requested"));
    script.load = [&](zt::ISettings*) {
        host.dataMgr()->loadFrame("/no/such/file", 0);
        logFromFilter("Cannot open data file");
        return 0;
    };
    EXPECT_THAT(loading(),
                HasSubstr("Scripted: settings " + path + ": Cannot open data file: /no/such/file: "));
    script.load = [](zt::ISettings*) { return -1; };
    EXPECT_THAT(loading(), HasSubstr("the filter returned -1"));
    script.load = [](zt::ISettings*) -> int { throw std::length_error("vector"); };
    EXPECT_THAT(loading(), HasSubstr("vector"));
    EXPECT_THAT(errorOf([&] { chain.links()[0].loadSettings(folder / "none"); }), HasSubstr("No such file"));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(ChainTest, ParametersAreSetByText) {
    const auto setting = [&](const char* text) { return errorOf([&] { chain.setParam(text); }); };
    EXPECT_EQ(setting("Scripted:Size=4"), "Scripted: unknown parameter \"Size\"; known parameters: none");
    script.parameters = &params;
    const auto complain = [](zt::IParam* param, bool, long user) {
        if (param->getInt() < 0)
            reinterpret_cast<zt::IZenteo*>(user)->log("ombrel", 0, "negative size");
        return 0;
    };
    zt::IParam* const size = params.createInt("Size", "", 0, complain, &host, 2);
    EXPECT_EQ(setting("Scripted:Size=4"), "");
    EXPECT_EQ(size->getInt(), 4);
    EXPECT_EQ(setting("Scripted:Size=-1"), "Scripted: negative size");
    EXPECT_THAT(setting("Scripted:Size"), HasSubstr("is not of the form PARAM=VALUE"));
    EXPECT_THAT(setting("Other:Size=4"),
                HasSubstr("not of the form FILTER:PARAM=VALUE with a filter of the chain (Scripted)"));
}

TEST(Host, EndsFiltersBeforeDevicesAndTheLastFirst) {
    std::vector<std::string> log;
    std::vector<zt::u32> widths;
    FilterScript script;
    script.destroyed = [&](zt::IDevMpx* device) { widths.push_back(device->width()); };
    {
        Host host([&](const std::string& line) { log.push_back(line); });
        Device& first = host.addDevice(1, 10, 1);
        Device& second = host.addDevice(5, 20, 1);
        host.filterMgr()->addFilter(&first, new ScriptedFilter(&first, script));
        host.filterMgr()->addFilter(&second, new ScriptedFilter(&second, script));
        host.filterMgr()->addFilter(&first, nullptr);
        zt::PtrList<zt::IDev*> devices;
        host.devices(&devices);
        EXPECT_THAT(devices.vect(), ElementsAre(&first, &second));
        EXPECT_EQ(host.filters().filtersOf(second).size(), 1u);
        zt::ISettings* const store = host.createSettings("/no/such/file%n", 1);
        store->load();
        EXPECT_EQ(store->getFilePath(), "/no/such/file%n");
        store->destroy();
        host.createParamMgr()->destroy();
    }
    EXPECT_THAT(widths, ElementsAre(20u, 10u));
    EXPECT_THAT(log, ElementsAre(HasSubstr("/no/such/file%n: ")));
}
