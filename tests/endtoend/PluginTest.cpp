// The plug-in as a host loads it.

#include "fixtures/NotAFrame.h"
#include "fixtures/PlainBinning.h"
#include "fixtures/Testing.h"
#include "frame/Frame.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"
#include "zt/IObject.h"
#include "zt/IPrivateFilters.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <dlfcn.h>
#include <numeric>

using ombrel::Frame;
using ombrel::FramePtr;

namespace {

// A host with devices of the given types, which the plug-in was started for.
struct LoadedHost {
    explicit LoadedHost(const std::vector<int>& deviceTypes)
        : host([this](const std::string& line) { logged.push_back(line); }) {
        for (const int type : deviceTypes)
            devices.push_back(&host.addDevice(type, 4, 2));
        ombrel::PluginLibrary library(OMBREL_PLUGIN);
        library.start(host);
    }

    zt::IDataFilter& filter(const std::string& name) {
        for (const auto& entry : host.filters().registrations())
            if (nameOf(*entry.filter) == name)
                return *entry.filter;
        throw std::runtime_error("no filter " + name);
    }

    static std::string nameOf(const zt::IDataFilter& filter) {
        zt::String name;
        filter.filterNameStr(&name);
        return name.get();
    }

    std::vector<std::string> logged;
    ombrel::Host host;
    std::vector<ombrel::Device*> devices;
};

FramePtr frameOf(zt::u32 width, zt::u32 height, const std::vector<zt::u16>& pixels) {
    FramePtr frame = Frame::create(width, height, zt::DT_U16);
    std::ranges::copy(pixels, frame->pixels<zt::u16>().begin());
    return frame;
}

} // namespace

TEST(Plugin, IsOneObjectBehindOneEntry) {
    const ombrel::PluginLibrary first(OMBREL_PLUGIN);
    const ombrel::PluginLibrary second(OMBREL_PLUGIN);
    EXPECT_EQ(&first.plugin(), &second.plugin());
    EXPECT_STREQ(first.plugin().name(), "ombrel");
    EXPECT_STREQ(first.plugin().description(), "Plugin that manages filters");
    EXPECT_EQ(first.plugin().privateInterface(), nullptr);
}

// Without them, a run falls back to the log of all candidates, which is slow.
TEST(Plugin, OffersTheScoresOfTheAdaptiveFilterToAHost) {
    LoadedHost loaded({1});
    auto* const scores = dynamic_cast<IGridScores*>(&loaded.filter("AdaptiveFF"));
    ASSERT_NE(scores, nullptr);
    EXPECT_EQ(scores->candidateCount(), 0u);
    EXPECT_EQ(scores->best(), IGridScores::none);
}

TEST(Plugin, GivesEachPixelDetectorItsFiltersAndOthersNone) {
    const std::vector<std::string> names = {"Flat-Field", "Beam-hardening", "Binning 2x2", "AdaptiveFF"};
    LoadedHost two({1, 5, 10});
    std::vector<std::string> registered;
    for (const auto& entry : two.host.filters().registrations()) {
        registered.push_back(LoadedHost::nameOf(*entry.filter));
        EXPECT_EQ(static_cast<zt::IDev*>(entry.filter->device()), entry.device);
    }
    std::vector<std::string> expected = names;
    expected.insert(expected.end(), names.begin(), names.end());
    EXPECT_THAT(registered, ElementsAreArray(expected));
    EXPECT_EQ(two.host.filters().filtersOf(*two.devices[0]).size(), names.size());
    EXPECT_TRUE(two.host.filters().filtersOf(*two.devices[1]).empty());

    EXPECT_TRUE(LoadedHost({5}).host.filters().registrations().empty());
    EXPECT_TRUE(LoadedHost({}).host.filters().registrations().empty());
    for (const int type : {1, 2, 3, 4, 10})
        EXPECT_EQ(LoadedHost({type}).host.filters().registrations().size(), names.size()) << type;
    for (const int type : {0, -1, 5, 9, 11})
        EXPECT_TRUE(LoadedHost({type}).host.filters().registrations().empty()) << type;
}

TEST(Plugin, FiltersTellWhatTheyAre) {
    LoadedHost loaded({1});
    std::vector<std::string> told;
    for (const auto& entry : loaded.host.filters().registrations()) {
        zt::String description;
        entry.filter->filterDescriptionStr(&description);
        const auto* const own = static_cast<zt::IObject*>(entry.filter->privateInterface());
        zt::IParamMgr* const params = entry.filter->parameters();
        const zt::IParam* const version = params ? params->param("Version") : nullptr;
        told.push_back(LoadedHost::nameOf(*entry.filter) + "|" + description.get() + "|" +
                       (version ? version->getString() : "-") + "|" +
                       (own ? std::to_string(own->getObjectID()) + own->getObjectName() : "-") +
                       (entry.filter->hasConfigGUI() ? "|window" : ""));
    }
    EXPECT_THAT(
        told,
        ElementsAre("Flat-Field|Flat-field correction of frame|1.0|1442418610FlatFieldFilterInterface|window",
                    "Beam-hardening|Beam-hardening correction of frame|-|1442418600BHFilterInterface|window",
                    "Binning 2x2|Binning 2x2|1.0|-", "AdaptiveFF|Adaptive flat-field correction|-|-"));
}

TEST(Plugin, FiltersRefuseWhatIsNoFrameInOneLineEach) {
    LoadedHost loaded({1});
    NotAFrame other;
    for (const auto& entry : loaded.host.filters().registrations()) {
        const std::string name = LoadedHost::nameOf(*entry.filter);
        EXPECT_FALSE(entry.filter->isDataSupported(&other));
        EXPECT_EQ(entry.filter->filter(&other), nullptr);
        EXPECT_EQ(entry.filter->filterReplace(&other), name == "Beam-hardening" ? -1005 : 0) << name;
    }
    EXPECT_EQ(loaded.logged, std::vector<std::string>(8, "Cannot filter data that is not of type IMpxFrame"));
}

TEST(Plugin, RegistersASecondSetWhenInitializedAgain) {
    LoadedHost loaded({2});
    const std::size_t once = loaded.host.filters().registrations().size();
    ombrel::PluginLibrary library(OMBREL_PLUGIN);
    EXPECT_EQ(library.plugin().initialize(&loaded.host), 0);
    EXPECT_EQ(loaded.host.filters().registrations().size(), 2 * once);
}

TEST(Binning, SumsBlocksInACopyAndLeavesTheInput) {
    const std::size_t alive = Frame::aliveCount();
    LoadedHost loaded({1});
    const FramePtr input = frameOf(4, 2, {1, 2, 30, 40, 3, 4, 50, 60});
    input->setAcqTime(2.5);
    input->addSubFrame(frameOf(2, 1, {7, 8}));
    const ombrel::FilterPtr instance(loaded.filter("Binning 2x2").createNewInstance());
    EXPECT_EQ(instance->parameters()->param("Version")->getString(), "1.0");
    const FramePtr output(static_cast<Frame*>(instance->filter(input.get())));
    ASSERT_TRUE(output);
    EXPECT_EQ(Frame::aliveCount(), alive + 4) << "each with its sub-frame";
    EXPECT_THAT(output->pixels<double>(), ElementsAre(10, 10, 180, 180, 10, 10, 180, 180));
    EXPECT_EQ(output->frameDataType(), zt::DT_DOUBLE);
    EXPECT_EQ(output->acqTime(), 2.5);
    const auto children = output->subFrames();
    ASSERT_EQ(children.size(), 1u);
    EXPECT_THAT(static_cast<Frame*>(children[0])->pixels<zt::u16>(), ElementsAre(7, 8));

    EXPECT_EQ(input->frameDataType(), zt::DT_U16);
    EXPECT_THAT(input->pixels<zt::u16>(), ElementsAre(1, 2, 30, 40, 3, 4, 50, 60));
}

TEST(Binning, WorksInPlaceForEverySizeOddOnesIncluded) {
    LoadedHost loaded({1});
    for (const auto& [width, height] :
         {std::pair<zt::u32, zt::u32>{33, 17}, {33, 16}, {32, 17}, {1, 1}, {5, 0}}) {
        std::vector<zt::u16> pixels(width * height);
        std::iota(pixels.begin(), pixels.end(), zt::u16{1});
        const FramePtr frame = frameOf(width, height, pixels);
        EXPECT_EQ(loaded.filter("Binning 2x2").filterReplace(frame.get()), 0);
        EXPECT_EQ(frame->frameDataType(), zt::DT_DOUBLE);
        EXPECT_THAT(frame->pixels<double>(),
                    ElementsAreArray(binnedPlainly({pixels.begin(), pixels.end()}, width, height)))
            << width << " x " << height;
    }
}
