#include "NoWindows.h"

#include "DialogFixture.h"
#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Answers {
    int subFrame = 0;
    std::vector<std::string> log;
} answers;

} // namespace

void askWithoutApplication() {
    ombrel::Host host([](const std::string& line) { answers.log.push_back(line); });
    ombrel::Device& device = host.addDevice(1, 3, 2);
    PluginOmbrel::FFFilter(&host, &device).showConfigGUI();
    PluginOmbrel::BHFilter(&host, &device).showConfigGUI();
    const auto frame = ombrel::Frame::create(3, 2, zt::DT_DOUBLE);
    frame->addSubFrame(ombrel::Frame::create(3, 2, zt::DT_DOUBLE));
    answers.subFrame = PluginOmbrel::askForSubFrame(*frame, "Nobody");
}

TEST(WithoutWindows, AQuestionIsCancelledAndAWindowIsALineInTheLog) {
    EXPECT_EQ(answers.subFrame, -1);
    EXPECT_THAT(answers.log, ElementsAre(HasSubstr("flat-field"), HasSubstr("beam-hardening")));
}
