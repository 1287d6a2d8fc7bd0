// What is edited in the table, and where it goes when the window or the filter ends.
#include "DlgBHStgFixture.h"

#include <QInputDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

#include <filesystem>

using PluginOmbrel::BHFilter;
using PluginOmbrel::DlgBHStg;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class DlgBHStgEdits : public DlgBHStgFixture {
protected:
    // Double-clicks a cell; its editor, or null when it can't be edited.
    static QLineEdit* editor(const DlgBHStg& dialog, int row, int col) {
        QTest::qWait(0); // an editor before it goes only now
        QTableWidget& masks = table(dialog);
        const QPoint place = masks.visualItemRect(masks.item(row, col)).center();
        QTest::mouseClick(masks.viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(masks.viewport(), Qt::LeftButton, {}, place);
        return masks.viewport()->findChild<QLineEdit*>();
    }

    static void edit(const DlgBHStg& dialog, int row, int col, const char* text) {
        QLineEdit* const line = editor(dialog, row, col);
        ASSERT_NE(line, nullptr);
        QTest::keyClicks(line, text);
        QTest::keyClick(line, Qt::Key_Return);
        QApplication::processEvents(); // the delegate takes the value up later
    }
};

TEST_F(DlgBHStgEdits, EditsReachTheMaskAsTyped) {
    addMask(0.123456789);
    DlgBHStg& dialog = open();
    edit(dialog, 0, 0, "Aluminium");
    EXPECT_EQ(mask(0).name, "Aluminium");
    EXPECT_EQ(mask(0).thickness, 0.123456789) << "what is rounded on the screen";
    edit(dialog, 0, 1, "1234567.25");
    edit(dialog, 0, 2, "-3.5");
    EXPECT_EQ(mask(0).thickness, 1234567.25);
    EXPECT_EQ(mask(0).acqTime, -3.5);
    EXPECT_THAT(rows(dialog), ElementsAre("Aluminium | 1234567.25 | -3.5"));

    edit(dialog, 0, 1, "abc");
    EXPECT_EQ(mask(0).thickness, 0);
    EXPECT_THAT(rows(dialog), ElementsAre("Aluminium | abc | -3.5"));
    open();
    EXPECT_THAT(rows(dialog), ElementsAre("Aluminium | 0 | -3.5"));
}

TEST_F(DlgBHStgEdits, TheTimeOfALogarithmedMaskIsFixed) {
    addMask(1);
    addMask(2);
    const ombrel::FramePtr corrected(
        static_cast<ombrel::Frame*>(filter->filter(frameOf(Values(6, 0.2)).get())));
    addMask(3);
    DlgBHStg& dialog = open();
    EXPECT_EQ(editor(dialog, 0, 2), nullptr);
    edit(dialog, 0, 0, "thin");
    edit(dialog, 0, 1, "0.5");
    EXPECT_EQ(mask(0).thickness, 0.5);
    edit(dialog, 2, 2, "8");
    EXPECT_EQ(mask(2).acqTime, 8);
}

TEST_F(DlgBHStgEdits, ClosingSortsTheMasksAndSavesOnce) {
    const std::string settings = folder / "bh \xC3\xBC.xml";
    const auto store = host.openSettings(settings);
    filter->loadFromSettings(store.get());
    addMask(3);
    addMask(2);
    DlgBHStg& dialog = open();
    edit(dialog, 0, 1, "1.5");
    click(dialog, "btClose");
    EXPECT_EQ(mask(0).thickness, 1.5);
    store->loadFile();
    EXPECT_EQ(store->getDouble("Mask0", "Thickness", 0), 1.5);

    addMask(0.5);
    dialog.close();
    EXPECT_EQ(mask(0).thickness, 1.5) << "a window that is not shown does nothing on close";
    EXPECT_THAT(rows(open()), ElementsAre("Mask 1 | 1.5 | 1", "Mask 2 | 2 | 1", "Mask 3 | 0.5 | 1"));

    std::filesystem::remove(settings);
    std::filesystem::create_directory(settings);
    dialog.close();
    EXPECT_THAT(log, ElementsAre(HasSubstr(settings))) << "a store that can't be written";
    EXPECT_THAT(rows(open()), ElementsAre("Mask 3 | 0.5 | 1", "Mask 1 | 1.5 | 1", "Mask 2 | 2 | 1"));
}

TEST_F(DlgBHStgEdits, AnOpenEditEndsInTheMaskThatItWasBegunFor) {
    addMask(3);
    addMask(2);
    DlgBHStg& dialog = open();
    QTest::keyClicks(editor(dialog, 0, 1), "7");
    dialog.close();
    EXPECT_EQ(mask(0).name, "Mask 2");
    EXPECT_EQ(mask(0).thickness, 2);
    EXPECT_EQ(mask(1).thickness, 7);

    open();
    QTest::keyClicks(editor(dialog, 0, 0), "by a drop");
    EXPECT_TRUE(drop(dialog, {frameFile("c.h5", 1)}));
    EXPECT_THAT(rows(dialog), ElementsAre("by a drop | 2 | 1", "Mask 1 | 7 | 1", "Mask 3 | 1 | 1"));

    QTest::keyClicks(editor(dialog, 1, 0), "by a drop in vain");
    user.meets<QInputDialog>(cancel).meets<QMessageBox>(cancel);
    EXPECT_TRUE(drop(dialog, {folder / "no frames.txt"}));
    EXPECT_EQ(mask(1).name, "by a drop in vain");
    EXPECT_EQ(table(dialog).currentRow(), 1);

    open();
    QTest::keyClicks(editor(dialog, 1, 0), "by a click");
    child<QWidget>(dialog, "btRemoveAll").setFocus();
    EXPECT_EQ(mask(1).name, "by a click");

    // Masks that went behind the window's back take their edits with them.
    QLineEdit* const late = editor(dialog, 2, 1);
    QTest::keyClicks(late, "9");
    filter->removeAllMasks();
    QTest::keyClick(late, Qt::Key_Return);
    QApplication::processEvents();
    addMask(4);
    EXPECT_EQ(mask(0).thickness, 4);
}

TEST_F(DlgBHStgEdits, FilterAndWindowMayEndInEitherOrder) {
    addMask(3);
    const QPointer<DlgBHStg> dialog = &open();
    QTest::keyClicks(editor(*dialog, 0, 1), "7");
    filter.reset();
    ASSERT_NE(dialog, nullptr) << "the window is not the filter's to delete";
    EXPECT_FALSE(dialog->isVisible());
    QApplication::processEvents();
    dialog->close();
    delete dialog.data();

    filter.reset(new BHFilter(&host, &device));
    delete &open();
    addMask(1);
    EXPECT_EQ(rows(open()).size(), 1u) << "a window anew";
}

// What opens a question or a picker of the window returns to neither when the host has ended it meanwhile.
TEST_F(DlgBHStgEdits, FilterOrWindowMayEndUnderAQuestion) {
    const std::string frames = frameFile("frames.zmf", 1);
    writeFileText(folder / "bad.txt", "0 0 1 0 0 0");
    for (const bool isFilter : {true, false}) {
        const auto begin = [&]() -> DlgBHStg& {
            delete findDialog();
            filter.reset(new BHFilter(&host, &device));
            addMask(1);
            return open();
        };
        const auto end = [&] {
            if (isFilter)
                filter.reset();
            else
                delete findDialog();
        };
        for (const auto& [button, file] : std::initializer_list<std::pair<const char*, std::string>>{
                 {"btAddFile", frames},
                 {"btLoadBH", frames},
                 {"btSaveBH", folder / "saved.xml"},
                 {"btLoadBadPixels", folder / "bad.txt"},
                 {"btSaveBadPixels", folder / "saved.txt"}}) {
            SCOPED_TRACE(button);
            QAbstractButton& pressed = child<QAbstractButton>(begin(), button);
            user.meets<QFileDialog>([&, file = file](QFileDialog& picker) {
                const QPointer<QFileDialog> stillOpen = &picker;
                end();
                if (stillOpen && stillOpen->isVisible())
                    chooseFile(picker, file);
            });
            pressed.click();
            EXPECT_FALSE(std::filesystem::exists(file) && file.find("saved") != std::string::npos);
        }

        QAbstractButton& add = child<QAbstractButton>(begin(), "btAddFile");
        user.meets<QFileDialog>(choosing(folder / "bad.txt"))
            .meets<QInputDialog>([&](QInputDialog& question) {
                const QPointer<QInputDialog> stillOpen = &question;
                end();
                if (stillOpen && stillOpen->isVisible())
                    cancel(question);
            });
        add.click();

        QAbstractButton& remove = child<QAbstractButton>(begin(), "btRemove");
        filter->removeAllMasks();
        user.meets<QMessageBox>([&](QMessageBox& box) {
            const QPointer<QMessageBox> stillOpen = &box;
            end();
            if (stillOpen && stillOpen->isVisible())
                cancel(box);
        });
        remove.click();
    }
    takeLog();
}

TEST_F(DlgBHStgEdits, NoButtonLosesItsTextAndTabLeavesTheTable) {
    DlgBHStg& dialog = open();
    dialog.resize(1, 1);
    QApplication::processEvents();
    for (const auto* const button : dialog.findChildren<QPushButton*>())
        EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
    EXPECT_EQ(child<QWidget>(dialog, "widget_3").minimumWidth(), 100);

    addMask(1);
    open();
    table(dialog).setFocus();
    QTest::keyClick(&table(dialog), Qt::Key_Tab);
    EXPECT_FALSE(table(dialog).hasFocus());
}

} // namespace
