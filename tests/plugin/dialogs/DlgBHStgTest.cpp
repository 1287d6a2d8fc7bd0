#include "DlgBHStgFixture.h"
#include "filters/BHFilter.h"

#include <QDoubleSpinBox>
#include <QInputDialog>
#include <QMessageBox>

#include <filesystem>

using PluginOmbrel::DlgBHStg;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

    user.meets<QFileDialog>(cancelling);
    click(dialog, "btAddFile");
    EXPECT_EQ(rows(dialog).size(), 1u);
    EXPECT_EQ(remembered("DefaultOpenFileDir"), "") << "this picker has no memory";

    click(dialog, "btAddMeas");
    EXPECT_THAT(takeLog().back(), HasSubstr("No data measured"));
    measure({Values(6, 5.0), Values(6, 6.0)});
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
    user.meets<QInputDialog>([](QInputDialog& question) { cancel(question); }).meets<QMessageBox>(noTime);
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
    addMask(1);
    addMask(2);
    addMask(3);
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
    addMask(2);
    addMask(1);
    DlgBHStg& dialog = open();
    click(dialog, "chbInterpolate");
    click(dialog, "chbZeroPixels");
    EXPECT_FALSE(filter->isInterpolateBadPixelsEnabled());
    EXPECT_TRUE(filter->isUseZeroPixelsAsBadEnabled());
    user.meets<QFileDialog>(choosingIn("Save BH config", {"BH Config (*.xml)"}, folder / "bh"));
    click(dialog, "btSaveBH");
    EXPECT_EQ(remembered("bh/save"), folder.path);

    click(dialog, "btRemoveAll");
    click(dialog, "chbInterpolate");
    click(dialog, "chbZeroPixels");
    user.meets<QFileDialog>(choosingIn("Load BH config", {"BH Config (*.xml)"}, folder / "bh.xml"));
    click(dialog, "btLoadBH");
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
    user.meets<QFileDialog>(choosingIn("Load Bad Pixels", {"Data Files (*.txt *.zmf)"}, folder / "bad.txt"));
    click(dialog, "btLoadBadPixels");
    EXPECT_EQ(remembered("bh/badpixload"), folder.path);
    user.meets<QFileDialog>(choosingIn("Load Bad Pixels", {"ASCII Matrix (*.txt)"}, folder / "saved"));
    click(dialog, "btSaveBadPixels");
    EXPECT_EQ(remembered("bh/badpixsave"), folder.path);
    EXPECT_EQ(fileText(folder / "saved.txt").substr(0, 5), "0 0 1");
    EXPECT_THAT(takeLog(), IsEmpty());

    user.meets<QFileDialog>(choosing(unwritable("nowhere.txt")));
    click(dialog, "btSaveBadPixels");
    for (const char* button : {"btLoadBH", "btSaveBH", "btLoadBadPixels", "btSaveBadPixels"}) {
        user.meets<QFileDialog>(cancelling);
        click(dialog, button);
    }
}

} // namespace
