#include "DialogFixture.h"
#include "dialogs/DlgBHStg.h"
#include "dialogs/DlgFFStg.h"
#include "filters/BHFilter.h"
#include "filters/DeviceFilter.h"
#include "filters/FFFilter.h"

#include <QComboBox>
#include <QInputDialog>

using PluginOmbrel::askForSubFrame;

namespace {

// What filters answer that are asked for windows while there is no application object yet.
struct Answers {
    Answers() {
        ombrel::Host host([this](const std::string& line) { log.push_back(line); });
        ombrel::Device& device = host.addDevice(1, 3, 2);
        PluginOmbrel::FFFilter(&host, &device).showConfigGUI();
        PluginOmbrel::BHFilter(&host, &device).showConfigGUI();
        const auto frame = ombrel::Frame::create(3, 2, zt::DT_DOUBLE);
        frame->addSubFrame(ombrel::Frame::create(3, 2, zt::DT_DOUBLE));
        subFrame = askForSubFrame(*frame, "Nobody");
    }

    int subFrame = 0;
    std::vector<std::string> log;
};
const Answers withoutApplication; // made ahead of main(), which makes the application

TEST(WithoutWindows, AQuestionIsCancelledAndAWindowIsALineInTheLog) {
    EXPECT_EQ(withoutApplication.subFrame, -1);
    EXPECT_THAT(withoutApplication.log, ElementsAre(HasSubstr("flat-field"), HasSubstr("beam-hardening")));
}

class SubFrameQuestion : public DialogFixture {
protected:
    static ombrel::FramePtr frameWithSubFrames(std::initializer_list<const char*> names) {
        auto frame = ombrel::Frame::create(2, 2, zt::DT_DOUBLE);
        for (const char* name : names) {
            auto subFrame = ombrel::Frame::create(2, 2, zt::DT_DOUBLE);
            subFrame->setName(name);
            frame->addSubFrame(std::move(subFrame));
        }
        return frame;
    }

    int ask(const ombrel::Frame& frame, const std::function<void(QInputDialog&)>& reaction) {
        user.meets<QInputDialog>(reaction);
        return askForSubFrame(frame, "Select sub-frame for a test");
    }
};

TEST_F(SubFrameQuestion, GivesTheFirstIndexOfTheChosenName) {
    const auto frame = frameWithSubFrames({"ToT", "ToA", "\xC3\xBC", "ToA"});
    for (const auto& [row, index] : {std::pair(0, 0), std::pair(2, 2), std::pair(3, 1)}) {
        const int answer = ask(*frame, [choice = row](QInputDialog& dialog) {
            auto* const names = dialog.findChild<QComboBox*>();
            EXPECT_EQ(dialog.windowTitle(), "Sub-frame selection");
            EXPECT_EQ(dialog.labelText(), "Select sub-frame for a test");
            EXPECT_EQ(names->count(), 4);
            EXPECT_EQ(names->currentIndex(), 0);
            EXPECT_FALSE(names->isEditable());
            for (int i = 0; i < choice; ++i)
                QTest::keyClick(names, Qt::Key_Down);
            QTest::keyClick(&dialog, Qt::Key_Return);
        });
        EXPECT_EQ(answer, index);
    }
}

TEST_F(SubFrameQuestion, TakesTheWholeFrameOnCancelAndForANamelessChoice) {
    const auto frame = frameWithSubFrames({"", "ToA"});
    EXPECT_EQ(ask(
                  *frame, [](QInputDialog& dialog) { cancel(dialog); }),
              -1);
    EXPECT_EQ(ask(*frame, [](QInputDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Return); }), -1);
}

// The host may end the filter that asks; the window that it was asked for must know.
TEST_F(SubFrameQuestion, AFilterMayEndUnderIt) {
    std::vector<ombrel::FramePtr> acquired;
    acquired.push_back(frameOf(Values(6, 1.0)));
    acquired.back()->addSubFrame(frameOf(Values(6, 1.0)));
    device.setAcquisition(std::move(acquired));

    const auto meetsEndOf = [this](auto& filter) {
        user.meets<QInputDialog>([&](QInputDialog& question) {
            filter.reset();
            cancel(question);
        });
    };
    std::unique_ptr<PluginOmbrel::FFFilter, Destroy> flatField(new PluginOmbrel::FFFilter(&host, &device));
    PluginOmbrel::DlgFFStg dialog(nullptr, flatField.get());
    dialog.show();
    meetsEndOf(flatField);
    child<QAbstractButton>(dialog, "btCoeffAllFrames").click();
    EXPECT_EQ(textOf(dialog, "edCoeffsData"), "");

    std::unique_ptr<PluginOmbrel::BHFilter, Destroy> hardening(new PluginOmbrel::BHFilter(&host, &device));
    PluginOmbrel::DlgBHStg masks(nullptr, hardening.get(), &host);
    masks.showDialog();
    meetsEndOf(hardening);
    child<QAbstractButton>(masks, "btAddMeas").click();
    takeLog();
}

} // namespace
