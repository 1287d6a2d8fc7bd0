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

    std::unique_ptr<PluginOmbrel::FFFilter, Destroy> flatField(new PluginOmbrel::FFFilter(&host, &device));
    PluginOmbrel::DlgFFStg dialog(nullptr, flatField.get());
    dialog.show();
    user.meets<QInputDialog>([&](QInputDialog& question) {
        flatField.reset();
        cancel(question);
    });
    child<QAbstractButton>(dialog, "btCoeffAllFrames").click();
    EXPECT_EQ(textOf(dialog, "edCoeffsData"), "");

    std::unique_ptr<PluginOmbrel::BHFilter, Destroy> hardening(new PluginOmbrel::BHFilter(&host, &device));
    PluginOmbrel::DlgBHStg masks(nullptr, hardening.get(), &host);
    masks.showDialog();
    user.meets<QInputDialog>([&](QInputDialog& question) {
        hardening.reset();
        cancel(question);
    });
    child<QAbstractButton>(masks, "btAddMeas").click();
    takeLog();
}

} // namespace
