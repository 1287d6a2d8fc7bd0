#include "DialogFixture.h"
#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"
#include "fixtures/WidgetTests.h"

namespace {

struct Answers {
    int subFrame = 0;
    std::vector<std::string> log;
} answers;

// Asks the filters for windows while there is no application object yet; the test looks at the answers.
void askWithoutApplication() {
    ombrel::Host host([](const std::string& line) { answers.log.push_back(line); });
    ombrel::Device& device = host.addDevice(1, 3, 2);
    PluginOmbrel::FFFilter(&host, &device).showConfigGUI();
    PluginOmbrel::BHFilter(&host, &device).showConfigGUI();
    const auto frame = ombrel::Frame::create(3, 2, zt::DT_DOUBLE);
    frame->addSubFrame(ombrel::Frame::create(3, 2, zt::DT_DOUBLE));
    answers.subFrame = PluginOmbrel::askForSubFrame(*frame, "Nobody");
}

} // namespace

TEST(WithoutWindows, AQuestionIsCancelledAndAWindowIsALineInTheLog) {
    EXPECT_EQ(answers.subFrame, -1);
    EXPECT_THAT(answers.log, ElementsAre(HasSubstr("flat-field"), HasSubstr("beam-hardening")));
}

int main(int argc, char** argv) {
    askWithoutApplication();
    return runWidgetTests(argc, argv);
}
