// That the window can be used on small screens, without a mouse, and in a dark palette.
#include "chain/DeviceDialog.h"
#include "properties/QParamsBrowser.h"
#include "workbench/WorkbenchFixture.h"

#include <QAction>
#include <QDoubleSpinBox>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QToolBar>

#include <map>
#include <set>

using namespace ombrel::workbench;

namespace {

// 0 for a text without one.
char mnemonicOf(const QString& text) {
    const QString key = QKeySequence::mnemonic(text).toString(); // "Alt+X"
    return key.isEmpty() ? '\0' : key.back().toLatin1();
}

double lightnessOf(const QImage& picture) {
    double sum = 0;
    double weight = 0;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) {
            const QColor colour = picture.pixelColor(x, y);
            sum += colour.alphaF() * colour.lightnessF();
            weight += colour.alphaF();
        }
    return sum / weight;
}

class Look : public WorkbenchTest {};

TEST_F(Look, FitsSmallScreens) {
    const MainWindow fresh(quietConsole(), OMBREL_PLUGIN);
    const QSize room = fresh.screen()->availableSize();
    EXPECT_EQ(fresh.size().boundedTo(room), fresh.size());
    ASSERT_TRUE(open(writeFrames(2)));
    const QSize small(900, 480); // of 1920 x 1080 at 200 %, with the frame of the window
    window->resize(small);
    QApplication::processEvents();
    EXPECT_EQ(window->size(), small);
}

TEST_F(Look, EachMnemonicIsOfOneThing) {
    ASSERT_TRUE(open(writeFrames(2)));
    std::map<char, std::vector<std::string>> owners;
    const auto note = [&](const QString& text) {
        const char key = mnemonicOf(text);
        EXPECT_NE(key, '\0') << text.toStdString();
        owners[key].push_back(text.toStdString());
    };
    for (const QAction* const menu : window->menuBar()->actions()) {
        note(menu->text());
        std::set<char> keys;
        for (const QAction* const action : menu->menu()->actions())
            EXPECT_TRUE(action->isSeparator() || keys.insert(mnemonicOf(action->text())).second)
                << action->text().toStdString();
    }
    for (const char* const name :
         {"btAdd", "btRemove", "btConfigure", "btLoad", "btSave", "btBrowse", "btRun", "btCancel"})
        note(child<QAbstractButton>(*window, name).text());
    for (const auto* const label : window->findChildren<QLabel*>())
        if (label->buddy() && label->isVisible())
            note(label->text());
    EXPECT_GT(owners.size(), 13U);
    for (const auto& [key, texts] : owners)
        EXPECT_EQ(texts.size(), 1U) << key << ": " << texts.front() << ", " << texts.back();
}

TEST_F(Look, NothingIsLightOnLightOrDarkOnDarkInADarkPalette) {
    const QPalette light = QApplication::palette();
    QApplication::setPalette(QPalette(QColor(50, 50, 50)));
    makeWindow();
    ASSERT_TRUE(openWith(writeFrames(2), "AdaptiveFF", writeAdaptive(side, 3)));
    ASSERT_TRUE(waitFor([&] { return window->findChild<QParamsBrowser*>(); }));
    EXPECT_LT(lightnessOf(window->findChild<QParamsBrowser*>()->viewport()->grab().toImage()), 0.5);
    EXPECT_GT(lightnessOf(child<QAbstractButton>(*window, "btPlay").icon().pixmap(32).toImage()), 0.5);
    QApplication::setPalette(light);
}

TEST(Detector, ATimeTakesACommaForADecimalPoint) {
    DeviceDialog dialog({});
    dialog.show();
    auto& time = child<QDoubleSpinBox>(dialog, "sbTime");
    time.selectAll();
    QTest::keyClicks(&time, "0,2");
    EXPECT_EQ(dialog.device().acqTime, 0.2);
}

} // namespace
