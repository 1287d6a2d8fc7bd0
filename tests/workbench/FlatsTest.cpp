// A calibration that is made in the window, and the verdicts on its flat fields.
#include "WorkbenchFixture.h"
#include "flats/FlatsPane.h"

#include <QTableWidget>

#include <random>

using ombrel::workbench::FlatsPane;

namespace {

class Flats : public WorkbenchTest {
protected:
    // Six flat fields with photon statistics, of which frame 4 is black.
    std::string writeFlats() const {
        ImageStack<zt::u16> stack{side, side, {}};
        std::mt19937_64 random(2);
        std::poisson_distribution<int> photons(1000);
        for (int frame = 0; frame < 6; ++frame)
            for (zt::u32 i = 0; i < side * side; ++i)
                stack.pixels.push_back(static_cast<zt::u16>(frame == 4 ? 0 : photons(random)));
        writeHdf5(folder / "flats.h5", stack);
        return folder / "flats.h5";
    }
};

} // namespace

TEST_F(Flats, AreListedAfterACalibrationAndShownByAClick) {
    ASSERT_TRUE(open(writeFrames(2)));
    auto& pane = *window->findChild<FlatsPane*>();
    auto& table = child<QTableWidget>(*window, "tbFlats");
    pane.calibrate({writeFlats()}, folder / "ff.xml");
    ASSERT_TRUE(waitFor([&] { return model().chain().links.size() == 1; }));
    EXPECT_EQ(model().chain().links[0].settings, folder / "ff.xml");
    ASSERT_EQ(table.rowCount(), 6);
    EXPECT_THAT(table.item(4, 5)->text().toStdString(), StartsWith("dark"));
    EXPECT_EQ(table.item(0, 5)->text(), "good");
    EXPECT_FALSE(table.item(0, 0)->icon().isNull());
    EXPECT_EQ(label("lbFlats"), "flat fields: 5 of 6 good");

    const QLabel& picture = child<QLabel>(*window, "lbFlat");
    EXPECT_TRUE(picture.pixmap().isNull());
    QTest::mouseClick(table.viewport(), Qt::LeftButton, {}, table.visualItemRect(table.item(0, 1)).center());
    ASSERT_TRUE(waitFor([&] { return !picture.pixmap().isNull(); }));
    EXPECT_THAT(picture.toolTip().toStdString(), EndsWith("flats.h5, frame 0"));

    pane.calibrate({folder / "none.h5"}, folder / "ff.xml");
    ASSERT_TRUE(waitFor([&] { return logText().find("none.h5") != std::string::npos; }));
}
