// The pane on the parameters of a real filter, which restarts its engine at every change.
#include "chain/ParameterPane.h"

#include "calibration/CalibrationHeap.h"
#include "fixtures/WidgetActions.h"
#include "host/Chain.h"
#include "host/Host.h"
#include "host/PluginLibrary.h"
#include "properties/QParamsBrowser.h"

#include <QApplication>
#include <QLabel>

using namespace ombrel;
using testing::MatchesRegex;

namespace {

class ParameterPane : public testing::Test {
protected:
    ParameterPane() {
        const GridPoint point{1, 1, 1};
        CalibrationHeap heap(folder / "cfg.bin", CalibrationGrid({&point, 1}, {}), {32, 32, 32, {}});
        heap.append(std::vector<float>(32 * 32, 1));
        heap.commit();
        link.filter().loadFromSettings(host.openSettings(folder / "cfg.xml").get());
        pane = std::make_unique<workbench::ParameterPane>(*link.filter().parameters());
        pane->resize(700, 400);
        pane->show();
    }

    FilterLink adaptiveLink() {
        PluginLibrary(OMBREL_PLUGIN).start(host);
        return {host, device, "AdaptiveFF"};
    }

    zt::IParam& param(const char* name) { return *link.filter().parameters()->param(name); }

    QModelIndex value(const QString& name) {
        const QAbstractItemModel& model = *browser().model();
        return model.match(model.index(0, 0), Qt::DisplayRole, name).at(0).siblingAtColumn(1);
    }

    // Clicks on the value, types over it, and confirms.
    void edit(const char* name, const char* text) {
        const auto editor = [&] { return browser().indexWidget(value(name)); };
        QTest::mouseClick(browser().viewport(), Qt::LeftButton, {},
                          browser().visualRect(value(name)).center());
        // A second click on the same cell waits whether it is a double one.
        ASSERT_TRUE(QTest::qWaitFor([&] { return editor() != nullptr; }, 60'000));
        QTest::keyClick(editor(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(editor(), Qt::Key_Delete);
        QTest::keyClicks(editor(), text);
        QTest::keyClick(editor(), Qt::Key_Enter);
        QApplication::processEvents();
    }

    QParamsBrowser& browser() { return *pane->findChild<QParamsBrowser*>(); }
    std::string message() { return child<QLabel>(*pane, "lbChange").text().toStdString(); }

    const TemporaryFolder folder;
    Host host{[](const std::string&) {}};
    Device& device = host.addDevice(1, 32, 32);
    FilterLink link = adaptiveLink();
    std::unique_ptr<workbench::ParameterPane> pane;
};

TEST_F(ParameterPane, TellsTheValueBeforeAndAfterAndThatTheEngineRestarted) {
    EXPECT_THAT(message(), HasSubstr("Click a value"));
    edit("QFTileSize", "8");
    EXPECT_EQ(param("QFTileSize").getInt(), 8);
    EXPECT_THAT(message(), MatchesRegex("QFTileSize: 16 \xE2\x86\x92 8\nEngine restarted in [0-9]+ ms\\."));
}

TEST_F(ParameterPane, ShowsWhatTheFilterLoggedUntilAChangeThatWorks) {
    edit("QFCustomMaskFile", "/no/such <b>mask</b>");
    EXPECT_THAT(message(), HasSubstr("\nCannot initialize adaptive FF filter"));
    EXPECT_THAT(message(), Not(HasSubstr("restarted")));
    EXPECT_THAT(message(), HasSubstr("<b>mask</b>"));
    edit("QFCustomMaskFile", "");
    EXPECT_THAT(message(), HasSubstr("restarted"));
}

} // namespace
