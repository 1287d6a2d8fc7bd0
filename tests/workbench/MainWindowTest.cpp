// The whole window on the loaded plug-in, driven by keys and the mouse.
#include "fixtures/ModalUser.h"
#include "model/RecentState.h"
#include "properties/QParamsBrowser.h"
#include "workbench/WorkbenchFixture.h"

#include <QAction>
#include <QDockWidget>
#include <QDropEvent>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QTimer>

using namespace ombrel::workbench;

namespace {

class MainWindowTest : public WorkbenchTest {
protected:
    // By the menu of the button, as a user does.
    void addFilter(const QString& name) {
        QTimer look;
        look.callOnTimeout([&] {
            auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            if (!menu || !menu->windowHandle()->isExposed())
                return;
            look.stop();
            for (QAction* const action : menu->actions())
                if (action->text() == name)
                    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
            menu->close();
        });
        look.start(1);
        click(*window, "btAdd");
        ASSERT_TRUE(waitFor([&] { return !model().chain().links.empty(); }));
        ASSERT_TRUE(waitFor([&] { return !QApplication::activePopupWidget(); }));
        ASSERT_TRUE(waitForFrame());
    }

    QAction* action(const QString& text) const {
        for (QAction* const each : window->findChildren<QAction*>())
            if (each->text().remove('&') == text)
                return each;
        throw std::runtime_error("there is no " + text.toStdString());
    }
    QListWidget& list() { return child<QListWidget>(*window, "lwChain"); }

    // Until the corrected pane shows what is wanted.
    bool waitForCorrectedTo(const std::function<bool(const Image&)>& isWanted) {
        return waitFor([&] { return image(CORRECTED_PANE) && isWanted(*image(CORRECTED_PANE)); });
    }
};

TEST_F(MainWindowTest, OpensFilesAndGoesThroughTheirFrames) {
    ASSERT_TRUE(open(writeFrames(30)));
    EXPECT_EQ(lastFrame, 0);
    EXPECT_EQ(image(RAW_PANE)->at(2, 0), 3);
    EXPECT_EQ(image(CORRECTED_PANE), nullptr) << "there is no filter";

    key(Qt::Key_Right);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 1; }));
    EXPECT_EQ(image(RAW_PANE)->at(2, 0), 103);
    key(Qt::Key_Right, Qt::ShiftModifier);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 11; }));
    key(Qt::Key_End, Qt::ControlModifier);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 29; }));
    key(Qt::Key_P);
    EXPECT_TRUE(waitFor([&] { return lastFrame >= 2 && lastFrame < 20; })) << "the film goes round";
    key(Qt::Key_P);

    auto& slider = child<QSlider>(*window, "slFrame");
    QTest::mouseClick(&slider, Qt::LeftButton, {}, QPoint(slider.width() - 3, slider.height() / 2));
    EXPECT_TRUE(waitFor([&] { return lastFrame == static_cast<int>(model().frame()) && lastFrame >= 10; }));
}

TEST_F(MainWindowTest, AFileThatCannotBeReadIsToldAndLeavesTheStartPage) {
    window->open({folder / "missing.h5"});
    ASSERT_TRUE(waitFor([&] { return !label("lbProblem").empty(); }));
    EXPECT_THAT(label("lbProblem"), HasSubstr("missing.h5"));
    EXPECT_TRUE(child<QPushButton>(*window, "btDemo").isVisible());
    EXPECT_FALSE(model().isOpen());
    ASSERT_TRUE(open(writeFrames(2)));
    EXPECT_FALSE(child<QPushButton>(*window, "btDemo").isVisible());
}

TEST_F(MainWindowTest, TheChainIsBuiltSwitchedAndTakenApart) {
    ASSERT_TRUE(open(writeFrames(3)));
    addFilter("Binning 2x2");
    ASSERT_TRUE(waitForCorrectedTo([](const Image& frame) { return frame.at(0, 0) == 1 + 2 + 33 + 34; }));
    EXPECT_EQ(image(DIFFERENCE_PANE)->at(0, 0), 69);
    model().addLink("Binning 2x2");
    ASSERT_TRUE(waitForCorrectedTo([](const Image& frame) { return frame.at(0, 0) == 4 * 70; }));

    list().setFocus();
    QTest::keyClick(&list(), Qt::Key_Space);
    ASSERT_TRUE(waitForCorrectedTo([](const Image& frame) { return frame.at(0, 0) == 70; }));
    EXPECT_FALSE(model().chain().links[1].enabled);

    const int first = model().chain().links[0].id;
    key(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(model().chain().links[1].id, first);
    EXPECT_EQ(list().currentRow(), 0);
    click(*window, "btRemove");
    click(*window, "btRemove");
    EXPECT_TRUE(waitFor([&] { return !image(CORRECTED_PANE); }));
    EXPECT_EQ(list().count(), 0);
}

// What the list does to its rows when one is dropped; without a display nothing can be dragged.
TEST_F(MainWindowTest, ALinkThatIsDraggedStandsAtItsNewPlace) {
    ASSERT_TRUE(open(writeFrames(2)));
    for (const char* filter : {"Flat-Field", "Beam-hardening", "Binning 2x2"})
        model().addLink(filter);
    const int dragged = model().chosenLink();
    const auto order = [&] {
        std::string names;
        for (const LinkState& link : model().chain().links)
            names += link.filter + " ";
        return names;
    };
    list().model()->moveRow({}, 2, {}, 0);
    EXPECT_TRUE(waitFor([&] { return order() == "Binning 2x2 Flat-Field Beam-hardening "; })) << order();
    list().model()->moveRow({}, 0, {}, 2);
    EXPECT_TRUE(waitFor([&] { return order() == "Flat-Field Binning 2x2 Beam-hardening "; })) << order();
    EXPECT_EQ(list().item(1)->text().section('\n', 0, 0), "Binning 2x2");
    EXPECT_EQ(model().chosenLink(), dragged);
}

TEST_F(MainWindowTest, DroppedFilesAreOpened) {
    const std::string first = writeFrames(2, "first.h5");
    const std::string second = writeFrames(3, "second.h5");
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(QString::fromStdString(first)),
                   QUrl::fromLocalFile(QString::fromStdString(second))});
    QDragEnterEvent enter({50, 50}, Qt::CopyAction, &files, Qt::LeftButton, {});
    QApplication::sendEvent(window.get(), &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDropEvent drop({50, 50}, Qt::CopyAction, &files, Qt::LeftButton, {});
    QApplication::sendEvent(window.get(), &drop);
    ASSERT_TRUE(waitFor([&] { return model().isOpen(); }));
    EXPECT_EQ(model().facts().frames, 5U) << "one stack of all of them";
}

TEST_F(MainWindowTest, AFrameThatTheChainRefusesIsToldWithItsReason) {
    ASSERT_TRUE(open(writeFrames(2)));
    model().addLink("AdaptiveFF");
    ASSERT_TRUE(
        waitFor([&] { return logText().find("No adaptive correction loaded") != std::string::npos; }));
    ASSERT_TRUE(waitForFrame());
    EXPECT_THAT(child<QLabel>(panes().pane(CORRECTED_PANE), "lbHint").text().toStdString(),
                HasSubstr("AdaptiveFF: No adaptive correction loaded"));
    EXPECT_NE(image(RAW_PANE), nullptr);
}

TEST_F(MainWindowTest, EditsOfAParameterReachTheFilterAndCanBeTakenBack) {
    ASSERT_TRUE(openWith(writeFrames(2), "AdaptiveFF", writeAdaptive(side, 3)));
    ASSERT_TRUE(waitFor([&] { return window->findChild<QParamsBrowser*>(); }));
    EXPECT_THAT(label("lbChoice"), HasSubstr("V ")) << "the chosen grid point";

    auto& browser = child<QParamsBrowser>(*window, "");
    const QAbstractItemModel& rows = *browser.model();
    const auto cell = rows.match(rows.index(0, 0), Qt::DisplayRole, "QFTileSize").at(0).siblingAtColumn(1);
    ASSERT_TRUE(waitFor([&] {
        browser.scrollTo(cell);
        const QRect room = browser.viewport()->rect();
        return room.height() > 100 && room.contains(browser.visualRect(cell).center());
    }));
    QTest::mouseClick(browser.viewport(), Qt::LeftButton, {}, browser.visualRect(cell).center());
    QWidget* const editor = browser.indexWidget(cell);
    ASSERT_NE(editor, nullptr);
    QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(editor, "4");
    QTest::keyClick(editor, Qt::Key_Enter);
    const auto& params = model().chain().links[0].params;
    ASSERT_TRUE(waitFor([&] { return params.contains("QFTileSize"); })) << "the edit is committed later";
    EXPECT_EQ(params.at("QFTileSize"), "4");
    ASSERT_TRUE(waitFor([&] { return label("lbEdit").find("Applied in") != std::string::npos; }));

    click(*window, "btTakeBack");
    EXPECT_TRUE(params.empty());
    EXPECT_EQ(rows.match(rows.index(0, 0), Qt::DisplayRole, "QFTileSize")
                  .at(0)
                  .siblingAtColumn(1)
                  .data()
                  .toString(),
              "8");
    EXPECT_TRUE(waitForFrame());
}

TEST_F(MainWindowTest, SavedSettingsHoldTheEditsAndFindTheirCalibration) {
    ASSERT_TRUE(openWith(writeFrames(2), "AdaptiveFF", writeAdaptive(side, 3)));
    std::filesystem::create_directory(folder / "elsewhere");
    const std::string path = folder / "elsewhere/mine.xml";
    // An edit that the filter has not got yet.
    model().setParam(model().chosenLink(), "QFTileSize", "4");
    ModalUser user;
    user.meets<QFileDialog>(choosing(path));
    click(*window, "btSave");
    model().setParam(model().chosenLink(), "QFTileThreshold", "3");
    ASSERT_TRUE(waitFor([&] { return model().chain().links[0].settings == path; })) << logText();
    EXPECT_THAT(model().chain().links[0].params, ElementsAre(testing::Pair("QFTileThreshold", "3")))
        << "edited after the saving began";
    EXPECT_THAT(fileText(path), HasSubstr("<item key=\"QfTileSize\" type=\"int\">4</item>"));
    EXPECT_THAT(fileText(path), Not(HasSubstr("ombrel-choice"))) << "the log of the workbench's own";
    EXPECT_THAT(fileText(folder / "adaptive.xml"), HasSubstr(">8<"));
    ASSERT_TRUE(waitForFrame());
    EXPECT_NE(image(CORRECTED_PANE), nullptr) << "with the calibration beside the new settings";

    // The copy is whole by itself, and no calibration of other settings is replaced.
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "elsewhere/mine.bin"));
    EXPECT_EQ(fileText(folder / "elsewhere/mine.bin"), fileText(folder / "adaptive.bin"));
    writeFileText(folder / "elsewhere/other.bin", "of other settings");
    user.meets<QFileDialog>(choosing(folder / "elsewhere/other.xml"));
    click(*window, "btSave");
    ASSERT_TRUE(
        waitFor([&] { return logText().find("other.bin: contains a different") != std::string::npos; }));
    EXPECT_EQ(fileText(folder / "elsewhere/other.bin"), "of other settings");
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere/other.xml"));
}

TEST_F(MainWindowTest, AModalSettingsWindowSetsTheFilterThatRuns) {
    ASSERT_TRUE(open(writeFrames(2)));
    model().addLink("Flat-Field", folder / "ff.xml");
    ASSERT_TRUE(waitFor([&] { return child<QAbstractButton>(*window, "btConfigure").isEnabled(); }));
    {
        ModalUser user;
        bool isDone = false;
        user.meets<QDialog>([&](QDialog& dialog) {
            click(dialog, "btCoeffAllFrames");
            click(dialog, "btClose");
            isDone = true;
        });
        click(*window, "btConfigure");
        ASSERT_TRUE(waitFor([&] { return isDone; }));
    }
    // Coefficients of the frame itself make it even.
    ASSERT_TRUE(waitForCorrectedTo([](const Image& frame) {
        return std::abs(frame.at(0, 0) - frame.at(31, 31)) < 1e-6 * frame.at(0, 0);
    }));
    EXPECT_TRUE(std::filesystem::exists(folder / "ff.xml"));
    EXPECT_EQ(model().chain().links[0].unsaved, nullptr) << "it is saved";
}

TEST_F(MainWindowTest, WindowsGoWithTheirStack) {
    const std::string other = writeFrames(3, "other.h5");
    ASSERT_TRUE(open(writeFrames(2)));
    model().addLink("Beam-hardening", folder / "bh.xml");
    openThicknessWindow();
    ASSERT_TRUE(open(other));
    EXPECT_EQ(thicknessWindow(), nullptr);
    EXPECT_EQ(model().facts().frames, 3U);
    ASSERT_TRUE(open(other)) << "the same file once more";
}

// A question of a filter's window handles events, among them those that end the filter.
TEST_F(MainWindowTest, AnotherStackComesUnderAQuestionOfAFilter) {
    const std::string other = writeFrames(3, "other.h5");
    ASSERT_TRUE(open(writeFrames(2)));
    model().addLink("Beam-hardening", folder / "bh.xml");
    openThicknessWindow();
    ModalUser user;
    bool isDone = false;
    const auto openUnder = [&](const std::string& path, zt::u64 frames) {
        window->open({path});
        EXPECT_TRUE(waitFor([&] { return model().facts().frames == frames; }));
    };
    user.meets<QFileDialog>([&](QFileDialog& picker) {
        openUnder(other, 3);
        EXPECT_EQ(thicknessWindow(), nullptr);
        cancel(picker);
    });
    child<QAbstractButton>(*thicknessWindow(), "btLoadBH").click();

    model().addLink("Flat-Field", folder / "ff.xml");
    ASSERT_TRUE(waitFor([&] { return child<QAbstractButton>(*window, "btConfigure").isEnabled(); }));
    user.meets<QDialog>([&](QDialog& dialog) {
        openUnder(folder / "frames.h5", 2);
        click(dialog, "btClose");
        isDone = true;
    });
    click(*window, "btConfigure");
    EXPECT_TRUE(waitFor([&] { return isDone; }));
    EXPECT_TRUE(waitForFrame());
}

TEST_F(MainWindowTest, AFileComesBackWithItsChain) {
    const std::string path = writeFrames(2);
    ASSERT_TRUE(open(path));
    model().addLink("Binning 2x2");
    window->close();
    makeWindow();
    click(*window, "btRecent");
    ASSERT_TRUE(waitFor([&] { return model().isOpen() && image(CORRECTED_PANE); }));
    EXPECT_EQ(model().chain().links[0].filter, "Binning 2x2");
}

TEST_F(MainWindowTest, TheDemoShowsACorrectionThatWorks) {
    click(*window, "btDemo");
    ASSERT_TRUE(waitFor([&] { return model().isOpen() && image(CORRECTED_PANE); })) << label("lbProblem");
    EXPECT_EQ(model().chain().links.at(0).filter, "Flat-Field");
    panes().setRegion({100, 236, 150, 18}); // sees the open beam
    const auto figure = [&](const char* name) {
        return QString::fromStdString(label(name)).split(' ')[0].toDouble();
    };
    EXPECT_LT(figure("Region: spread/1"), figure("Region: spread/0") / 2);
    EXPECT_LT(figure("Region: spread/1"), 1.2 * figure("Photon statistics/0"));

    // It replaces the chain, which comes back with the file that it was of.
    const std::string own = writeFrames(2);
    ASSERT_TRUE(open(own));
    model().addLink("Binning 2x2");
    action("Open the demo data")->trigger();
    ASSERT_TRUE(waitFor([&] { return model().facts().frames > 2; }));
    EXPECT_EQ(model().chain().links.size(), 1U);
    EXPECT_EQ(RecentState().chainFor(QString::fromStdString(own)).size(), 2U);
}

TEST_F(MainWindowTest, TheLookIsRemembered) {
    ASSERT_TRUE(open(writeFrames(1)));
    key(Qt::Key_3, Qt::ControlModifier);
    child<QDockWidget>(*window, "dockFigures").close();
    window->close();
    makeWindow();
    EXPECT_TRUE(action("Inferno")->isChecked());
    ASSERT_TRUE(open(folder / "frames.h5"));
    EXPECT_FALSE(child<QDockWidget>(*window, "dockFigures").isVisible());
    EXPECT_TRUE(child<QDockWidget>(*window, "dockChain").isVisible());
}

TEST_F(MainWindowTest, TheKeysAreListed) {
    ModalUser user;
    user.meets<QMessageBox>([&](QMessageBox& box) {
        EXPECT_THAT(box.text().toStdString(), HasSubstr("Ctrl+O"));
        cancel(box);
    });
    key(Qt::Key_F1);
}

} // namespace
