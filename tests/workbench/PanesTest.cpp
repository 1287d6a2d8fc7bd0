// How files come into the window, what it shows of them, and what the mouse does on the panes.
#include "fixtures/FrameFiles.h"
#include "fixtures/ModalUser.h"
#include "fixtures/Program.h"
#include "workbench/WorkbenchFixture.h"

#include <QDialogButtonBox>
#include <QInputDialog>
#include <QPushButton>
#include <QWheelEvent>

#include <cmath>
#include <cstdio>

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

class Panes : public WorkbenchTest {
protected:
    QWidget& plotOf(PaneIndex pane) {
        return *panes().pane(pane).findChild<QWidget*>("", Qt::FindDirectChildrenOnly);
    }
};

TEST_F(Panes, TheMouseTellsValuesAndDrawsRegionsAndLines) {
    ASSERT_TRUE(open(writeFrames(2)));
    QWidget& plot = plotOf(RAW_PANE);
    const QPoint middle = plot.rect().center() - QPoint(20, 0);
    QTest::mouseMove(&plot, middle + QPoint(9, 9)); // it may rest in the middle
    QTest::mouseMove(&plot, middle);
    ASSERT_TRUE(waitFor([&] { return !label("lbValue").empty(); }));
    int x = 0;
    int y = 0;
    double raw = 0;
    ASSERT_EQ(std::sscanf(label("lbValue").c_str(), "x %d  y %d   raw %lf", &x, &y, &raw), 3);
    EXPECT_EQ(raw, 1 + x + 32 * y);
    key(Qt::Key_Right);
    ASSERT_TRUE(waitForFrame());
    EXPECT_THAT(label("lbValue"), HasSubstr("raw " + std::to_string(101 + x + 32 * y)));

    const auto drag = [&](Qt::KeyboardModifier modifier) {
        QTest::mousePress(&plot, Qt::LeftButton, modifier, middle - QPoint(30, 30));
        QTest::mouseMove(&plot, middle);
        QTest::mouseRelease(&plot, Qt::LeftButton, modifier, middle);
    };
    drag(Qt::ShiftModifier);
    EXPECT_GT(panes().region().width(), 1);
    EXPECT_TRUE(panes().region().contains(x - 1, y - 1));
    EXPECT_NE(label("Region: mean/0"), "\u2013");
    drag(Qt::ControlModifier);
    EXPECT_NEAR(panes().line().p2().x(), x + 0.5, 1);
}

TEST_F(Panes, AllPanesZoomTogetherAndShowTheWholeFrameAgain) {
    ASSERT_TRUE(openWith(writeFrames(1), "Binning 2x2"));
    const auto distance = [&](PaneIndex pane) {
        return panes().pane(pane).positionOf({20, 0}).x() - panes().pane(pane).positionOf({10, 0}).x();
    };
    const auto isWhole = [&](PaneIndex pane) {
        const QRect room = panes().pane(pane).rect();
        return room.contains(panes().pane(pane).positionOf({0, 0})) &&
               room.contains(panes().pane(pane).positionOf({31, 31})) &&
               32 * distance(pane) > 7 * room.width();
    };
    ASSERT_TRUE(waitFor([&] { return isWhole(CORRECTED_PANE); }));
    const int before = distance(CORRECTED_PANE);
    QWidget& plot = plotOf(CORRECTED_PANE);
    const QPointF middle = plot.rect().center();
    QWheelEvent wheel(middle, plot.mapToGlobal(middle), {}, {0, 240}, {}, {}, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&plot, &wheel);
    ASSERT_TRUE(waitFor([&] { return distance(RAW_PANE) > 1.3 * before; }));
    EXPECT_FALSE(isWhole(RAW_PANE));
    EXPECT_NEAR(distance(RAW_PANE), distance(CORRECTED_PANE), 1) << "one may be a pixel wider";
    EXPECT_EQ(panes().pane(RAW_PANE).positionOf({16, 16}),
              panes().pane(DIFFERENCE_PANE).positionOf({16, 16}));
    key(Qt::Key_F);
    EXPECT_TRUE(waitFor([&] { return isWhole(RAW_PANE) && isWhole(DIFFERENCE_PANE); }));
}

TEST_F(Panes, LimitsFollowTheFrameUnlessTheyAreLocked) {
    ASSERT_TRUE(open(writeFrames(5)));
    const auto low = [&] { return panes().pane(RAW_PANE).limits().low; };
    // Of the values 1 to 1024 the smallest half a percent is left out.
    EXPECT_NEAR(low(), 6, 1);
    key(Qt::Key_Right);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 1; }));
    EXPECT_NEAR(low(), 106, 1);
    key(Qt::Key_L);
    key(Qt::Key_Right);
    ASSERT_TRUE(waitFor([&] { return lastFrame == 2; }));
    EXPECT_NEAR(low(), 106, 1);
    key(Qt::Key_L);
    EXPECT_TRUE(waitFor([&] { return low() > 200; })) << "those of the shown frame at once";
}

TEST_F(Panes, ShowHowCertainACorrectedPixelIs) {
    ASSERT_TRUE(openWith(writeFrames(1), "Binning 2x2"));
    QSignalSpy values(&panes(), &FramePanes::pointed);
    emit panes().pane(RAW_PANE).pointed(0, 0);
    // The counts are 1, 2, 33 and 34.
    EXPECT_THAT(values.back()[0].toString().toStdString(), HasSubstr("corrected 70 \u00b1 8.37"));
    const double difference = image(DIFFERENCE_PANE)->at(0, 0);
    key(Qt::Key_S);
    EXPECT_TRUE(waitFor([&] { return std::abs(image(DIFFERENCE_PANE)->at(0, 0) - std::sqrt(70)) < 1e-6; }));
    EXPECT_TRUE(waitFor([&] { return values.back()[0].toString().contains("signal to noise 8.366"); }));
    model().addLink("Binning 2x2");
    EXPECT_TRUE(waitFor([&] { return !image(DIFFERENCE_PANE); })) << "not followed through two of them";
    EXPECT_THAT(child<QLabel>(panes().pane(DIFFERENCE_PANE), "lbHint").text().toStdString(),
                HasSubstr("errors are not followed"));
    key(Qt::Key_S);
    EXPECT_TRUE(waitFor([&] { return image(DIFFERENCE_PANE) != nullptr; }));
    EXPECT_NE(image(DIFFERENCE_PANE)->at(0, 0), difference);
}

// Without a dark a pixel of 1000 counts, corrected to itself, has the error of the root of 1000.
TEST_F(Panes, SubtractTheDarkOfACalibrationAndKnowItsNoise) {
    const std::string scan = folder / "scan.h5", settings = folder / "ff.xml";
    {
        Hdf5Builder file(scan);
        const auto images = [&](const char* name, zt::u16 count, zt::u16 value) {
            file.data<zt::u16>(name, {count, side, side},
                               std::vector<zt::u16>(std::size_t{count} * side * side, value));
        };
        images("exchange/data_dark", 1, 100);
        images("exchange/data_white", 1, 1100);
        images("exchange/data", 1, 600);
    }
    runWell({"calibrate", "flat-field", scan, "-o", settings, "--keep-all"});
    ASSERT_TRUE(openWith(scan, "Flat-Field", settings));
    EXPECT_EQ(image(CORRECTED_PANE)->at(3, 3), 500);
    QSignalSpy values(&panes(), &FramePanes::pointed);
    emit panes().pane(RAW_PANE).pointed(3, 3);
    // 600 of the frame, a quarter of 1100 of the flat field and of 100 of the dark.
    EXPECT_THAT(values.back()[0].toString().toStdString(), HasSubstr("corrected 500 \u00b1 30"));
}

} // namespace
