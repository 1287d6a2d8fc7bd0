// How the choices of the adaptive filter are recorded.
#include "run/ChoiceRecorder.h"

#include "fixtures/KnownScores.h"
#include "fixtures/ScriptedFilter.h"
#include "fixtures/Testing.h"
#include "host/Host.h"

namespace {

using namespace ombrel;

class ScoringFilter final : public ScriptedFilter, public KnownScores {
public:
    using ScriptedFilter::ScriptedFilter;
    zt::IDataFilter* createNewInstance() const override { return new ScoringFilter(*this); }
};

// A filter that writes `logText` to the log that its settings name, and one that offers scores, too.
class ChoiceRecorderTest : public testing::Test {
protected:
    ChoiceRecorderTest() {
        scoring.name = "Scoring";
        for (FilterScript* const script : {&logging, &scoring}) {
            script->load = [this](zt::ISettings* settings) {
                logPath = settings->getString("Settings", "LogQualityValuesFile", "-");
                return 0;
            };
            script->filter = [this](const zt::IData* data) {
                if (!logPath.empty())
                    writeFileText(logPath, logText);
                return isRefusing ? nullptr : data->clone();
            };
        }
        host.filterMgr()->addFilter(&device, new ScriptedFilter(&device, logging));
        host.filterMgr()->addFilter(&device, new ScoringFilter(&device, scoring));
    }

    // A link whose settings name that log of the user.
    FilterLink loaded(const std::string& filter, const std::string& userLog) {
        writeFileText(folder / "s.xml", "<settings><group name='Settings'><item key='LogQualityValuesFile' "
                                        "type='string'>" +
                                            userLog + "</item></group></settings>");
        FilterLink link(host, device, filter);
        SettingsSource source{folder / "s.xml", folder / "s.xml", {}};
        source.change = [&](Settings& settings) { recorder.prepare(0, link, settings, std::nullopt); };
        link.loadSettings(source);
        return link;
    }

    std::optional<SelectedFlatField> choiceAfterFrame(FilterLink& link, zt::u64 frame) {
        link.apply(Frame::create(3, 2, zt::DT_U16), ApplyMode::Copy);
        return recorder.read(0, link, frame);
    }

    TemporaryFolder folder;
    std::string logPath;
    std::string logText = "[ 1, 2, 3, 0.5 ]\n[ 4, 5, 6, 0.25 ]\n[ 7, 8, 9, nan ]\n\n";
    bool isRefusing = false;
    FilterScript logging;
    FilterScript scoring;
    Host host{[](const std::string&) {}};
    Device& device = host.addDevice(1, 3, 2);
    ChoiceRecorder recorder;
};

TEST_F(ChoiceRecorderTest, ReadsTheScoresThatAFilterOffers) {
    FilterLink link = loaded("Scoring", "");
    EXPECT_EQ(logPath, "") << "no log costs the filter time";
    auto& scores = dynamic_cast<KnownScores&>(link.filter());
    EXPECT_FALSE(choiceAfterFrame(link, 0)) << "a filter without a search";
    scores.add(4.1, 5, 6, 1234567.0);
    scores.add(1, 2, 3, 1234568.0);
    scores.add(7, 8, 9, NAN);
    const auto choice = choiceAfterFrame(link, 1);
    ASSERT_TRUE(choice);
    EXPECT_EQ(choice->best.v, 4.1) << "in the digits of a log";
    EXPECT_EQ(choice->best.value, 1234570.0);
    EXPECT_EQ(choice->next.v, 1.0);
    EXPECT_TRUE(choice->ambiguous);

    EXPECT_FALSE(recorder.read(0, link, 2)) << "the frame failed before this filter";
    isRefusing = true;
    EXPECT_FALSE(choiceAfterFrame(link, 3)) << "the scores are those of another frame";
    EXPECT_EQ(recorder.loss(), "");
}

TEST_F(ChoiceRecorderTest, ReadsTheLogOfAFilterWithoutScores) {
    FilterLink link = loaded("Scripted", "");
    const auto choice = choiceAfterFrame(link, 0);
    ASSERT_TRUE(choice);
    EXPECT_EQ(choice->best.t, 5);
    EXPECT_EQ(choice->next.value, 0.5);
    EXPECT_FALSE(choice->ambiguous);
    EXPECT_FALSE(recorder.read(0, link, 1)) << "a frame without a search";
    isRefusing = true;
    EXPECT_FALSE(choiceAfterFrame(link, 2));
    EXPECT_EQ(recorder.loss(), "");
    isRefusing = false;
    logText.pop_back();
    EXPECT_FALSE(choiceAfterFrame(link, 3));
    EXPECT_THAT(recorder.loss(), HasSubstr("1 frame are lost, the first of frame 3"));
}

TEST_F(ChoiceRecorderTest, CopiesTheLogOfTheLastFrameForTheUser) {
    const std::string userLog = folder / "values.txt";
    FilterLink link = loaded("Scoring", userLog);
    EXPECT_NE(logPath, userLog);
    EXPECT_EQ(choiceAfterFrame(link, 5)->best.v, 4);
    const std::string last = logText;
    logText = "[ 1, 2, 3, 0.5 ]\n\n";
    EXPECT_EQ(choiceAfterFrame(link, 4)->best.v, 1) << "a worker that is slower";
    recorder.copyToUserFile();
    EXPECT_EQ(fileText(userLog), last);
}

} // namespace
