#include "dialogs/DlgFFStg.h"

#include "DialogFixture.h"
#include "filters/FFFilter.h"

#include <QCheckBox>
#include <QInputDialog>
#include <QPointer>
#include <QRadioButton>

using PluginOmbrel::DlgFFStg;
using PluginOmbrel::FFFilter;

namespace {

constexpr const char* asciiMask = "Flat-field bad pixels mask - ASCII matrix (*.txt)";
constexpr const char* binaryMask = "Flat-field bad pixels mask - binary (*.ffm)";
constexpr const char* binaryCoeffs = "Flat-field coefficients - binary (*.ffc)";

class DlgFFStgTest : public DialogFixture {
protected:
    std::unique_ptr<DlgFFStg> open() {
        auto dialog = std::make_unique<DlgFFStg>(nullptr, filter.get());
        dialog->show();
        return dialog;
    }

    // The radio buttons that are on.
    static std::vector<std::string> chosen(const DlgFFStg& dialog) {
        std::vector<std::string> names;
        for (const auto* button : dialog.findChildren<QRadioButton*>())
            if (button->isChecked())
                names.push_back(button->objectName().toStdString());
        return names;
    }

    static std::vector<bool> boxes(const DlgFFStg& dialog) {
        return {isChecked(dialog, "chbInterpolate"), isChecked(dialog, "chbDevMask"),
                isChecked(dialog, "chbTDI")};
    }

    // What the filter makes of a frame of ones.
    Values coefficients() {
        filter->setInterpolateBadMaskedPixels(false);
        return corrected(*filter, *frameOf(Values(6, 1.0)));
    }

    std::string matrixFile(const std::string& name, const std::string& numbers) {
        writeFileText(folder / name, numbers);
        return folder / name;
    }

    void load(const DlgFFStg& dialog, const std::string& file, const QString& type = {}) {
        pick(dialog, "btCoeffLoad", choosing(file, type));
    }

    std::unique_ptr<FFFilter, Destroy> filter{new FFFilter(&host, &device)};
};

TEST_F(DlgFFStgTest, ShowsWhateverTheFilterIsSetToWithEverythingEnabled) {
    EXPECT_EQ(DlgFFStg(nullptr, filter.get()).size(), QSize(372, 309)) << "before it is laid out";
    auto dialog = open();
    EXPECT_EQ(dialog->windowTitle(), "Flat-field Filter Settings");
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), "");
    EXPECT_EQ(textOf(*dialog, "edMaskData"), "<Zero pixels>");
    EXPECT_THAT(boxes(*dialog), ElementsAre(true, true, false));
    EXPECT_THAT(chosen(*dialog), ElementsAre("rbZeroPixels"));
    for (const auto* widget : dialog->findChildren<QWidget*>())
        EXPECT_TRUE(widget->isEnabled() && widget->isVisible()) << widget->objectName().toStdString();
    for (const char* field : {"edCoeffsData", "edMaskData"})
        EXPECT_TRUE(child<QLineEdit>(*dialog, field).isReadOnly());

    filter->coeffsSourceName = "/some/where \xC3\xBC";
    filter->setInterpolateBadMaskedPixels(false);
    filter->setUseDeviceMaskForBadPixels(false);
    filter->useTDI(true);
    filter->setUseFFCoeffsForBadPixels(true);
    dialog = open();
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), "/some/where \xC3\xBC");
    EXPECT_EQ(textOf(*dialog, "edMaskData"), "<Bad FF pixels>");
    EXPECT_THAT(boxes(*dialog), ElementsAre(false, false, true));
    EXPECT_THAT(chosen(*dialog), ElementsAre("rbBadFF"));

    // A file is what remains when neither source is on, even if none was ever named.
    filter->setUseFFCoeffsForBadPixels(false);
    EXPECT_THAT(chosen(*open()), ElementsAre("rbMaskFile"));
}

TEST_F(DlgFFStgTest, EachClickReachesTheFilterAtOnce) {
    const auto dialog = open();
    struct Click {
        const char* button;
        std::vector<bool> settings; // interpolate, device mask, TDI, bad in flat field, zero pixels
        const char* mask;
    };
    for (const auto& [button, settings, mask] :
         {Click{"chbInterpolate", {false, true, false, false, true}, "<Zero pixels>"},
          {"chbDevMask", {false, false, false, false, true}, "<Zero pixels>"},
          {"chbTDI", {false, false, true, false, true}, "<Zero pixels>"},
          {"chbInterpolate", {true, false, true, false, true}, "<Zero pixels>"},
          {"rbBadFF", {true, false, true, true, false}, "<Bad FF pixels>"},
          {"rbZeroPixels", {true, false, true, false, true}, "<Zero pixels>"}}) {
        click(*dialog, button);
        EXPECT_EQ((std::vector{filter->interpolateBadAndMaskedPixels(), filter->useDeviceMaskForBadPixels(),
                               filter->isUsingTDI(), filter->useFFCoeffsForBadPixels(),
                               filter->useZeroPixelsForBadPixels()}),
                  settings)
            << button;
        EXPECT_EQ(textOf(*dialog, "edMaskData"), mask) << button;
    }
    EXPECT_THAT(chosen(*dialog), ElementsAre("rbZeroPixels"));
    click(*dialog, "btClose");
    EXPECT_FALSE(dialog->isVisible());
}

TEST_F(DlgFFStgTest, LoadsCoefficientsFromOneFileOrSeveral) {
    const std::string one = frameFile("one \xC3\xBC.zmf", 2);
    frameFile("two.zmf", 4);
    const auto dialog = open();
    user.meets<QFileDialog>([&](QFileDialog& picker) {
        EXPECT_EQ(picker.parent(), dialog.get());
        EXPECT_EQ(picker.windowTitle(), "Load Flat-field coefficients");
        EXPECT_EQ(picker.fileMode(), QFileDialog::ExistingFiles);
        EXPECT_EQ(picker.nameFilters(), (QStringList{"All coefficients (*.txt *.ffc *.zmf)", binaryCoeffs,
                                                     "Flat-field coefficients - ASCII matrix (*.txt)"}));
        chooseFile(picker, one);
    });
    click(*dialog, "btCoeffLoad");
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), one);
    EXPECT_THAT(coefficients(), ElementsAre(1, 1, 1, 1, 1, 1));

    pick(*dialog, "btCoeffLoad", choosingAll(folder.path, "\"one \u00FC.zmf\" \"two.zmf\""));
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), "<Multiple files>");
    EXPECT_EQ(remembered("DefaultOpenFileDir"), "") << "this picker has no memory";
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DlgFFStgTest, WhatFailsOrIsCancelledLeavesTheFieldAndIsLogged) {
    const auto dialog = open();
    pick(*dialog, "btCoeffSave", choosing(folder / "none"));
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("No coefficients loaded")));

    load(*dialog, matrixFile("good.txt", "1 2 4 4 4 8"));
    load(*dialog, matrixFile("short.txt", "1 2 3"));
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), folder / "good.txt");
    EXPECT_EQ(filter->coeffsSourceName, folder / "short.txt");
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("short.txt")));
    EXPECT_EQ(textOf(*open(), "edCoeffsData"), folder / "short.txt") << "until it is opened again";

    pick(*dialog, "btCoeffSave", choosing(unwritable("table.ffc")));
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("table.ffc")));
    for (const char* button : {"btCoeffLoad", "btCoeffSave"})
        pick(*dialog, button, cancelling);
    EXPECT_EQ(textOf(*dialog, "edCoeffsData"), folder / "good.txt");
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DlgFFStgTest, SavesCoefficientsThatLoadAgainUnderAnyFileType) {
    const auto dialog = open();
    load(*dialog, matrixFile("flat.txt", "1 2 4 4 4 8"));
    const Values expected = coefficients();
    EXPECT_THAT(expected, ElementsAre(4, 2, 1, 1, 1, 0.5));

    pick(*dialog, "btCoeffSave",
         choosingIn("Load Flat-field coefficients", {binaryCoeffs}, folder / "table"));
    EXPECT_EQ(std::filesystem::file_size(folder / "table.ffc"), 48u);
    EXPECT_EQ(remembered("ff/save"), folder.path);

    for (const char* type : {"All coefficients (*.txt *.ffc *.zmf)", binaryCoeffs}) {
        filter.reset(new FFFilter(&host, &device));
        const auto another = open();
        load(*another, folder / "table.ffc", type);
        EXPECT_EQ(coefficients(), expected) << type;
    }
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(DlgFFStgTest, AMaskFileIsNamedInTheFieldAndSwitchesTheDeviceMaskOff) {
    const std::string mask = matrixFile("mask \xC3\xA9.txt", "0 0 0 0 0 1");
    const auto dialog = open();
    pick(*dialog, "rbMaskFile", cancelling);
    EXPECT_THAT(chosen(*dialog), ElementsAre("rbBadFF")) << "though the filter is told nothing";
    EXPECT_EQ(textOf(*dialog, "edMaskData"), "<Zero pixels>");
    EXPECT_FALSE(filter->useFFCoeffsForBadPixels());
    EXPECT_TRUE(filter->useZeroPixelsForBadPixels() && filter->useDeviceMaskForBadPixels());

    pick(*dialog, "rbMaskFile", choosingIn("Load Flat-field bad pixel mask", {asciiMask, binaryMask}, mask));
    EXPECT_EQ(textOf(*dialog, "edMaskData"), mask);
    EXPECT_THAT(chosen(*dialog), ElementsAre("rbMaskFile"));
    EXPECT_FALSE(filter->useDeviceMaskForBadPixels());
    EXPECT_TRUE(isChecked(*dialog, "chbDevMask")) << "this box is not refreshed";

    const auto later = open();
    EXPECT_EQ(textOf(*later, "edMaskData"), mask);
    EXPECT_THAT(chosen(*later), ElementsAre("rbZeroPixels")) << "the source as it was";
    EXPECT_FALSE(isChecked(*later, "chbDevMask"));

    // Coefficients are saved where masks are loaded from.
    user.meets<QFileDialog>([&](QFileDialog& picker) {
        EXPECT_EQ(picker.directory().absolutePath().toStdString(), folder.path);
        cancel(picker);
    });
    click(*dialog, "btCoeffSave");
}

TEST_F(DlgFFStgTest, ShowConfigGUIWaitsForTheWindowAndThenSaves) {
    const std::string settings = folder / "ff.xml";
    const auto store = host.openSettings(settings);
    filter->loadFromSettings(store.get());
    acquire({Values(6, 1.0)});
    user.meets<DlgFFStg>([&](DlgFFStg& dialog) {
        EXPECT_TRUE(dialog.isModal());
        click(dialog, "btCoeffAllFrames");
        EXPECT_EQ(textOf(dialog, "edCoeffsData"), "<From all measured frames>");
        click(dialog, "btCoeffLastFrame");
        EXPECT_EQ(textOf(dialog, "edCoeffsData"), "<From last measured frame>");
        click(dialog, "chbTDI");
        EXPECT_FALSE(std::filesystem::exists(settings));
        click(dialog, "btClose");
    });
    filter->showConfigGUI();
    store->loadFile();
    EXPECT_TRUE(store->getBool("FF", "UseTDI", false));

    // By the window's own way out it saves as well.
    user.meets<DlgFFStg>([&](DlgFFStg& dialog) {
        click(dialog, "chbTDI");
        dialog.close();
    });
    filter->showConfigGUI();
    store->loadFile();
    EXPECT_FALSE(store->getBool("FF", "UseTDI", true));

    std::filesystem::remove(settings);
    std::filesystem::create_directory(settings);
    user.meets<DlgFFStg>([](DlgFFStg& dialog) { cancel(dialog); });
    filter->showConfigGUI();
    EXPECT_THAT(log, ElementsAre(HasSubstr(settings))) << "a store that can't be written";
}

TEST_F(DlgFFStgTest, EnterInAFieldOpensNoPicker) {
    const auto dialog = open();
    ASSERT_TRUE(QTest::qWaitForWindowActive(dialog.get(), 60'000));
    for (const char* field : {"edCoeffsData", "edMaskData"}) {
        dialog->show();
        child<QLineEdit>(*dialog, field).setFocus();
        QTest::keyClick(&child<QLineEdit>(*dialog, field), Qt::Key_Return);
    }
}

// What opens a picker of the window returns to neither when the host has ended it meanwhile.
TEST_F(DlgFFStgTest, FilterOrWindowMayEndUnderAPicker) {
    const std::string frames = frameFile("frames.zmf", 2);
    for (const bool isFilter : {true, false})
        for (const char* button : {"btCoeffLoad", "btCoeffSave", "rbMaskFile"}) {
            SCOPED_TRACE(button);
            filter.reset(new FFFilter(&host, &device));
            auto dialog = open();
            user.meets<QFileDialog>([&](QFileDialog& picker) {
                const QPointer<QFileDialog> stillOpen = &picker;
                if (isFilter)
                    filter.reset();
                else
                    dialog.reset();
                if (stillOpen)
                    chooseFile(picker, *button == 'b' && button[7] == 'S' ? folder / "saved.ffc" : frames);
            });
            child<QAbstractButton>(*dialog, button).click();
            EXPECT_FALSE(std::filesystem::exists(folder / "saved.ffc"));
            if (dialog) {
                click(*dialog, "chbTDI");
                EXPECT_FALSE(dialog->isVisible()) << "there is nothing left to set";
            }
        }

    filter.reset(new FFFilter(&host, &device));
    const auto store = host.openSettings(folder / "ff.xml");
    filter->loadFromSettings(store.get());
    user.meets<DlgFFStg>([&](DlgFFStg& dialog) {
        filter.reset();
        dialog.close();
    });
    filter->showConfigGUI();
    EXPECT_FALSE(std::filesystem::exists(folder / "ff.xml"));
    takeLog();
}

} // namespace
