// How files come into the window, and what it shows of them.
#include "fixtures/Hdf5Builder.h"
#include "fixtures/ModalUser.h"
#include "workbench/WorkbenchFixture.h"

#include <QDialogButtonBox>
#include <QInputDialog>
#include <QPushButton>

using namespace ombrel::workbench;

namespace {

class Opening : public WorkbenchTest {
protected:
    // A file with two datasets that may be meant; all pixels of the second are 2.
    std::string writeTwo() const {
        Hdf5Builder file(folder / "two.h5");
        file.data<zt::u16>("scan/first", {1, 2, 2}, {1, 1, 1, 1});
        file.data<zt::u16>("scan/second", {3, 2, 2}, std::vector<zt::u16>(12, 2));
        return folder / "two.h5";
    }
    bool waitForPixel(double value) {
        return waitFor([&] { return image(RAW_PANE) && image(RAW_PANE)->at(0, 0) == value; });
    }
};

TEST_F(Opening, AFailureLeavesTheViewAsItWas) {
    ASSERT_TRUE(open(writeFrames(5)));
    key(Qt::Key_End, Qt::ControlModifier);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 4; }));
    emit panes().pane(RAW_PANE).visibleAreaChanged({4, 4, 8, 8});
    model().addLink("Beam-hardening", folder / "bh.xml");
    openThicknessWindow();
    const QString title = window->windowTitle();

    window->open({folder / "missing.h5"});
    ASSERT_TRUE(waitFor([&] { return logText().find("missing.h5") != std::string::npos; }));
    EXPECT_TRUE(waitForFrame());
    EXPECT_EQ(model().frame(), 4U);
    EXPECT_EQ(panes().mapView().visible, QRectF(4, 4, 8, 8));
    EXPECT_EQ(window->windowTitle(), title);
    EXPECT_NE(thicknessWindow(), nullptr);
    key(Qt::Key_Left);
    EXPECT_TRUE(waitFor([&] { return lastFrame == 3; })) << "the stack is still open";
    EXPECT_EQ(image(RAW_PANE)->at(0, 0), 301);
}

TEST_F(Opening, ADatasetIsTypedOrChosenFromAList) {
    const std::string two = writeTwo();
    ModalUser user;
    user.meets<QFileDialog>([&](QFileDialog& picker) {
        picker.setDirectory(QString::fromStdString(folder.path));
        auto& name = child<QLineEdit>(picker, "fileNameEdit");
        QTest::keyClicks(&name, "two.h5::/scan/second");
        QTest::mouseClick(picker.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open),
                          Qt::LeftButton);
    });
    key(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(waitForPixel(2));
    EXPECT_THAT(window->windowTitle().toStdString(), HasSubstr("two.h5::/scan/second"));
    EXPECT_EQ(textOf(*window, "edOutput"), folder / "two-corrected.h5");

    const auto choosing = [&](const std::function<void(QInputDialog&)>& reaction) {
        bool isAsked = false;
        user.meets<QInputDialog>([&](QInputDialog& list) {
            EXPECT_EQ(list.comboBoxItems().size(), 2);
            reaction(list);
            isAsked = true;
        });
        window->open({two});
        EXPECT_TRUE(waitFor([&] { return isAsked; }));
    };
    choosing(cancel);
    EXPECT_TRUE(waitForPixel(2)) << "as it was";
    choosing([](QInputDialog& list) {
        list.setTextValue(list.comboBoxItems().first());
        QTest::keyClick(&list, Qt::Key_Return);
    });
    EXPECT_TRUE(waitForPixel(1));
    EXPECT_EQ(model().facts().frames, 1U);
}

TEST_F(Opening, RecentFilesOfOneNameShowTheirFolders) {
    for (const char* where : {"a", "b"})
        std::filesystem::create_directory(folder / where);
    for (const char* name : {"a/frames.h5", "b/frames.h5", "single.h5"})
        ASSERT_TRUE(open(writeFrames(1, name)));
    window->close();
    makeWindow();
    std::vector<std::string> names;
    for (const auto* const button : window->findChildren<QPushButton*>("btRecent"))
        names.push_back(button->text().toStdString());
    EXPECT_THAT(names, ElementsAre("single.h5", HasSubstr("/b"), HasSubstr("/a")));
}

} // namespace
