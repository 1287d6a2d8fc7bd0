#include "dialogs/DlgBHStg.h"

#include "DialogFixture.h"
#include "filters/BHFilter.h"

#include <QDoubleSpinBox>
#include <QInputDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

using PluginOmbrel::BHFilter;
using PluginOmbrel::DlgBHStg;

namespace {

class DlgBHStgTest : public DlgBHStgFixture {
protected:
    static std::function<void(QInputDialog&)> answering(double seconds) {
        return [=](QInputDialog& question) {
            EXPECT_EQ(question.windowTitle(), "Acquisition time");
            EXPECT_EQ(question.labelText(), "Please enter acquisition frame of the mask");
            EXPECT_EQ(question.doubleValue(), 0);
            EXPECT_EQ(question.doubleMaximum(), 2147483647.0);
            EXPECT_EQ(question.doubleDecimals(), 1);
            auto* const box = question.findChild<QDoubleSpinBox*>();
            box->selectAll();
            QTest::keyClicks(box, QLocale().toString(seconds, 'f', 1));
            QTest::keyClick(box, Qt::Key_Return);
        };
    }

    static std::function<void(QMessageBox&)> reading(const char* title, const char* text) {
        return [=](QMessageBox& box) {
            EXPECT_EQ(box.windowTitle(), title);
            EXPECT_EQ(box.text(), text);
            EXPECT_EQ(box.icon(), QMessageBox::Critical);
            EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
            EXPECT_EQ(box.parent(), findDialog());
            QTest::keyClick(&box, Qt::Key_Return);
        };
    }

    const std::function<void(QMessageBox&)> noTime =
        reading("Invalid acq. time", "Acquisition time must be greather that 0");
    const std::function<void(QMessageBox&)> notLoaded =
        reading("Error loading mask", "Could not load the mask");
};

TEST_F(DlgBHStgTest, IsOneWindowForGoodThatShowsTheFilterAtEachOpening) {
    EXPECT_EQ(DlgBHStg(nullptr, filter.get(), &host).size(), QSize(705, 442)) << "before it is laid out";
    DlgBHStg& dialog = open();
    EXPECT_EQ(dialog.windowTitle(), "Beam-hardening Filter Settings");
    EXPECT_FALSE(dialog.isModal());
    EXPECT_THAT(rows(dialog), IsEmpty());
    EXPECT_TRUE(isChecked(dialog, "chbInterpolate"));
    EXPECT_FALSE(isChecked(dialog, "chbZeroPixels"));
    EXPECT_FALSE(isChecked(dialog, "chbTDI"));

    addMask(0.123456789, 1e7);
    addMask(2);
    filter->setInterpolateBadPixelsEnabled(false);
    filter->setUseZeroPixelsAsBad(true);
    filter->setTDI(true);
    EXPECT_EQ(&open(), &dialog) << "brought forward while it is shown";
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 0.123457 | 1e+07", "Mask 2 | 2 | 1"));
    EXPECT_FALSE(isChecked(dialog, "chbInterpolate"));
    EXPECT_TRUE(isChecked(dialog, "chbZeroPixels"));
    EXPECT_FALSE(isChecked(dialog, "chbTDI")) << "the filter can't be asked";

    click(dialog, "chbTDI");
    click(dialog, "btClose");
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(&open(), &dialog);
    EXPECT_TRUE(isChecked(dialog, "chbTDI"));
}

TEST_F(DlgBHStgTest, FilesOfOneBatchAndMeasuredFramesBecomeAMaskEach) {
    const std::string first = frameFile("a.zmf", 100, 0.5, 2);
    frameFile("b \xC3\xBC.zmf", 7, 3);
    writeFileText(folder / "c.txt", "no frames");
    DlgBHStg& dialog = open();
    user.meets<QFileDialog>([&](QFileDialog& picker) {
        EXPECT_EQ(picker.parent(), &dialog);
        EXPECT_EQ(picker.windowTitle(), "Add mask from file");
        EXPECT_EQ(picker.fileMode(), QFileDialog::ExistingFiles);
        EXPECT_EQ(picker.nameFilters(), QStringList{"Frames (*.txt *.zmf)"});
        choosingAll(folder.path, "\"a.zmf\" \"b \u00FC.zmf\" \"c.txt\"")(picker);
    });
    click(dialog, "btAddFile");
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 1 | 4"));
    EXPECT_EQ(mask(0).data.span()[5], 207);

    pick(dialog, "btAddFile", cancelling);
    EXPECT_EQ(rows(dialog).size(), 1u);
    EXPECT_EQ(remembered("DefaultOpenFileDir"), "") << "this picker has no memory";

    click(dialog, "btAddMeas");
    EXPECT_THAT(takeLog().back(), HasSubstr("No data measured"));
    acquire({Values(6, 5.0), Values(6, 6.0)}, 2);
    click(dialog, "btAddMeas");
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 1 | 4", "Mask 2 | 1 | 4"));
    EXPECT_EQ(mask(1).data.span()[0], 11);
}

TEST_F(DlgBHStgTest, TheFirstFileOfADropDecidesWhetherTheTimeIsAsked) {
    const std::string frames = frameFile("frames 'quoted' \xC3\xBC.h5", 100, 0.5, 3);
    const std::string other = folder / "other.txt";
    writeFileText(other, "1 2 3");
    DlgBHStg& dialog = open();

    EXPECT_TRUE(drop(dialog, {frames, other}));
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 1 | 1.5"));

    // The one answer is for each frame of the batch.
    user.meets<QInputDialog>(answering(2.5));
    EXPECT_TRUE(drop(dialog, {other, frames}));
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 1 | 1.5", "Mask 2 | 1 | 7.5"));

    user.meets<QInputDialog>(answering(2.5)).meets<QMessageBox>(notLoaded);
    EXPECT_TRUE(drop(dialog, {other, folder / "missing.zmf"}));
    user.meets<QInputDialog>(answering(0)).meets<QMessageBox>(noTime);
    EXPECT_TRUE(drop(dialog, {other}));
    user.meets<QInputDialog>(cancel).meets<QMessageBox>(noTime);
    EXPECT_TRUE(drop(dialog, {other, frames}));

    QMimeData text;
    text.setText("no file");
    EXPECT_FALSE(drop(dialog, text));
    QMimeData remote;
    remote.setUrls({QUrl("https://example.org/mask.h5")});
    user.meets<QInputDialog>(answering(1)).meets<QMessageBox>(notLoaded);
    EXPECT_TRUE(drop(dialog, remote)) << "a path of nothing, and so no frame file";
    EXPECT_EQ(filter->masks().size(), 2u);
    EXPECT_EQ(rows(dialog).size(), 2u);
}

TEST_F(DlgBHStgTest, RemovesTheCurrentRowOrAll) {
    addMasks({1, 2, 3});
    DlgBHStg& dialog = open();
    QTableWidget& masks = table(dialog);
    QTest::mouseClick(masks.viewport(), Qt::LeftButton, {}, masks.visualItemRect(masks.item(1, 2)).center());
    EXPECT_EQ(masks.selectedItems().size(), 3) << "the whole row";
    click(dialog, "btRemove");
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 1 | 1", "Mask 3 | 3 | 1"));

    user.meets<QMessageBox>(reading("Cannot remove", "Cannot remove row"));
    click(dialog, "btRemove");
    EXPECT_EQ(rows(dialog).size(), 2u) << "no row is current after a removal";
    click(dialog, "btRemoveAll");
    EXPECT_THAT(rows(dialog), IsEmpty());
    EXPECT_THAT(filter->masks(), IsEmpty());
}

TEST_F(DlgBHStgTest, ASavedConfigurationLoadsAgainButLeavesTheBoxes) {
    addMasks({2, 1});
    DlgBHStg& dialog = open();
    click(dialog, "chbInterpolate");
    click(dialog, "chbZeroPixels");
    EXPECT_FALSE(filter->isInterpolateBadPixelsEnabled());
    EXPECT_TRUE(filter->isUseZeroPixelsAsBadEnabled());
    pick(dialog, "btSaveBH", choosingIn("Save BH config", {"BH Config (*.xml)"}, folder / "bh"));
    EXPECT_EQ(remembered("bh/save"), folder.path);

    click(dialog, "btRemoveAll");
    click(dialog, "chbInterpolate");
    click(dialog, "chbZeroPixels");
    pick(dialog, "btLoadBH", choosingIn("Load BH config", {"BH Config (*.xml)"}, folder / "bh.xml"));
    EXPECT_EQ(remembered("bh/load"), folder.path);
    EXPECT_THAT(rows(dialog), ElementsAre("Mask 1 | 2 | 1", "Mask 2 | 1 | 1")) << "saved unsorted";
    EXPECT_FALSE(filter->isInterpolateBadPixelsEnabled());
    EXPECT_TRUE(filter->isUseZeroPixelsAsBadEnabled());
    EXPECT_TRUE(isChecked(dialog, "chbInterpolate"));
    EXPECT_FALSE(isChecked(dialog, "chbZeroPixels"));
    open();
    EXPECT_FALSE(isChecked(dialog, "chbInterpolate"));
    EXPECT_TRUE(isChecked(dialog, "chbZeroPixels"));
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DlgBHStgTest, LoadsAndSavesBadPixels) {
    addMask(1);
    writeFileText(folder / "bad.txt", "0 0 1 0 0 0");
    DlgBHStg& dialog = open();
    pick(dialog, "btLoadBadPixels",
         choosingIn("Load Bad Pixels", {"Data Files (*.txt *.zmf)"}, folder / "bad.txt"));
    EXPECT_EQ(remembered("bh/badpixload"), folder.path);
    pick(dialog, "btSaveBadPixels",
         choosingIn("Load Bad Pixels", {"ASCII Matrix (*.txt)"}, folder / "saved"));
    EXPECT_EQ(remembered("bh/badpixsave"), folder.path);
    EXPECT_EQ(fileText(folder / "saved.txt").substr(0, 5), "0 0 1");
    EXPECT_THAT(takeLog(), IsEmpty());

    pick(dialog, "btSaveBadPixels", choosing(unwritable("nowhere.txt")));
    for (const char* button : {"btLoadBH", "btSaveBH", "btLoadBadPixels", "btSaveBadPixels"})
        pick(dialog, button, cancelling);
}

TEST_F(DlgBHStgTest, EditsReachTheMaskAsTyped) {
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

TEST_F(DlgBHStgTest, TheTimeOfALogarithmedMaskIsFixed) {
    addMasks({1, 2});
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

TEST_F(DlgBHStgTest, ClosingSortsTheMasksAndSavesOnce) {
    const std::string settings = folder / "bh \xC3\xBC.xml";
    const auto store = host.openSettings(settings);
    filter->loadFromSettings(store.get());
    addMasks({3, 2});
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

TEST_F(DlgBHStgTest, AnOpenEditEndsInTheMaskThatItWasBegunFor) {
    addMasks({3, 2});
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

    // Edits of masks that were removed without the window are dropped with them.
    QLineEdit* const late = editor(dialog, 2, 1);
    QTest::keyClicks(late, "9");
    filter->removeAllMasks();
    QTest::keyClick(late, Qt::Key_Return);
    QApplication::processEvents();
    addMask(4);
    EXPECT_EQ(mask(0).thickness, 4);
}

TEST_F(DlgBHStgTest, FilterAndWindowMayEndInEitherOrder) {
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
    EXPECT_EQ(rows(open()).size(), 1u) << "in another window";
}

// The host may end the filter or its window while a question or a picker of the window is open.
TEST_F(DlgBHStgTest, FilterOrWindowMayEndUnderAQuestion) {
    writeFileText(folder / "bad.txt", "0 0 1 0 0 0");
    for (const bool isFilter : {true, false}) {
        const auto begin = [&](const char* button) -> QAbstractButton& {
            delete findDialog();
            filter.reset(new BHFilter(&host, &device));
            addMask(1);
            return child<QAbstractButton>(open(), button);
        };
        const auto ending = [&](auto answer) {
            return [&, answer](auto& window) {
                const QPointer<QWidget> stillOpen = &window;
                isFilter ? filter.reset() : delete findDialog();
                if (stillOpen && stillOpen->isVisible())
                    answer(window);
            };
        };
        for (const auto& [button, file] : std::initializer_list<std::pair<const char*, std::string>>{
                 {"btAddFile", frameFile("frames.zmf", 1)},
                 {"btLoadBH", folder / "frames.zmf"},
                 {"btSaveBH", folder / "saved.xml"},
                 {"btLoadBadPixels", folder / "bad.txt"},
                 {"btSaveBadPixels", folder / "saved.txt"}}) {
            SCOPED_TRACE(button);
            QAbstractButton& pressed = begin(button);
            user.meets<QFileDialog>(ending(choosing(file)));
            pressed.click();
            EXPECT_FALSE(std::filesystem::exists(file) && file.find("saved") != std::string::npos);
        }
        QAbstractButton& add = begin("btAddFile");
        user.meets<QFileDialog>(choosing(folder / "bad.txt")).meets<QInputDialog>(ending(cancel));
        add.click();
        QAbstractButton& remove = begin("btRemove");
        filter->removeAllMasks();
        user.meets<QMessageBox>(ending(cancel));
        remove.click();
    }
    takeLog();
}

TEST_F(DlgBHStgTest, NoButtonLosesItsTextAndTabLeavesTheTable) {
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
