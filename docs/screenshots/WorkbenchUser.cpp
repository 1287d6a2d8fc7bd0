#include "WorkbenchUser.h"

#include "batch/BatchPane.h"
#include "panes/FramePanes.h"
#include "properties/QParamsBrowser.h"

#include <QApplication>
#include <QDockWidget>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QWindow>
#include <QtTest/QTest>

#include <stdexcept>

using namespace ombrel::workbench;

namespace {

constexpr int patience = 60'000; // milliseconds
constexpr int settled = 500;     // until everything is drawn

} // namespace

WorkbenchUser::WorkbenchUser(MainWindow& shownWindow, const QString& pictureFolder)
    : workbench(shownWindow), folder(pictureFolder) {
    QObject::connect(&workbench, &MainWindow::frameShown, &workbench, [this] { ++frames; });
    workbench.show();
    (void)QTest::qWaitForWindowExposed(&workbench);
    workbench.activateWindow(); // nobody else does on a display without a window manager
    if (!QTest::qWaitForWindowActive(&workbench))
        throw std::runtime_error("the window does not come up");
}

void WorkbenchUser::click(const char* button) {
    auto* const widget = workbench.findChild<QAbstractButton*>(button);
    QTest::mouseClick(widget, Qt::LeftButton, {}, QPoint(8, widget->height() / 2));
}

void WorkbenchUser::key(Qt::Key key, Qt::KeyboardModifiers modifiers) {
    QTest::keyClick(&workbench, key, modifiers);
}

void WorkbenchUser::type(const char* line, const QString& text) {
    auto* const widget = workbench.findChild<QLineEdit*>(line);
    widget->setFocus();
    widget->selectAll();
    QTest::keyClicks(widget, text);
}

void WorkbenchUser::showDock(const char* name) {
    workbench.findChild<QDockWidget*>(name)->raise();
}

void WorkbenchUser::drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers) {
    QWindow* const screen = workbench.windowHandle();
    // What is dragged out of a list has an event loop of its own.
    QTimer::singleShot(
        200, &workbench, [=] { QTest::mouseMove(screen, to); });
    QTimer::singleShot(400, &workbench, [=] { QTest::mouseRelease(screen, Qt::LeftButton, modifiers, to); });
    QTest::mousePress(screen, Qt::LeftButton, modifiers, from);
    QTest::mouseMove(screen, from + QPoint(4, 4));
    QTest::mouseMove(screen, (from + to) / 2);
    QTest::qWait(settled);
}

void WorkbenchUser::dragOverFrame(const QRect& area, Qt::KeyboardModifiers modifiers) {
    const FramePane& pane = workbench.findChild<FramePanes*>()->pane(CORRECTED_PANE);
    const auto at = [&](const QPoint& pixel) { return pane.mapTo(&workbench, pane.positionOf(pixel)); };
    drag(at(area.topLeft()), at(area.bottomRight()), modifiers);
}

void WorkbenchUser::pointAt(const QPoint& pixel) {
    const FramePane& pane = workbench.findChild<FramePanes*>()->pane(CORRECTED_PANE);
    QTest::mouseMove(workbench.windowHandle(), pane.mapTo(&workbench, pane.positionOf(pixel)));
    QTest::qWait(settled);
}

void WorkbenchUser::dragRow(int row, int after) {
    const auto* const list = workbench.findChild<QListWidget*>("lwChain");
    const auto at = [&](const QPoint& point) { return list->viewport()->mapTo(&workbench, point); };
    const QRect target = list->visualItemRect(list->item(after));
    drag(at(list->visualItemRect(list->item(row)).center()),
         at(target.center() + QPoint(0, target.height() / 3)), {});
}

void WorkbenchUser::editParameter(const QString& name, const QString& value) {
    waitFor("the parameters", [&] { return workbench.findChild<QParamsBrowser*>() != nullptr; });
    QTest::qWait(settled);
    auto& browser = *workbench.findChild<QParamsBrowser*>();
    const QAbstractItemModel& rows = *browser.model();
    const auto cell = rows.match(rows.index(0, 0), Qt::DisplayRole, name).at(0).siblingAtColumn(1);
    browser.scrollTo(cell);
    QTest::mouseClick(browser.viewport(), Qt::LeftButton, {}, browser.visualRect(cell).center());
    waitFor("the editor", [&] { return browser.indexWidget(cell) != nullptr; });
    QTest::keyClick(browser.indexWidget(cell), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(browser.indexWidget(cell), value);
    QTest::keyClick(browser.indexWidget(cell), Qt::Key_Enter);
    waitFor("the edit", [&] { return !model().chain().find(model().chosenLink())->params.empty(); });
}

void WorkbenchUser::waitFor(const char* what, const std::function<bool()>& isThere) {
    if (!QTest::qWaitFor(isThere, patience))
        throw std::runtime_error(std::string(what) + " did not come");
}

void WorkbenchUser::waitForOpen() {
    waitFor(
        "the files", [&] { return model().isOpen(); });
}

void WorkbenchUser::waitForCorrected() {
    waitForOpen();
    auto& panes = *workbench.findChild<FramePanes*>();
    waitFor("a corrected frame", [&] { return panes.pane(CORRECTED_PANE).image() != nullptr; });
}

void WorkbenchUser::waitForFrame() {
    const int before = frames;
    waitFor("a frame", [&] { return frames > before; });
}

void WorkbenchUser::waitForProgress(double part) {
    const auto* const progress = workbench.findChild<QProgressBar*>("pbBatch");
    waitFor("progress",
            [&] { return progress->maximum() > 0 && progress->value() >= part * progress->maximum(); });
}

void WorkbenchUser::waitForBatch() {
    const auto* const pane = workbench.findChild<BatchPane*>();
    waitFor("the batch", [&] { return !pane->isRunning(); });
}

void WorkbenchUser::take(const QString& name) {
    if (!workbench.findChild<BatchPane*>()->isRunning())
        QTest::qWait(settled);
    const QString file = folder + "/workbench-" + name + ".png";
    if (!workbench.grab().toImage().convertToFormat(QImage::Format_RGB888).save(file, "PNG", 0))
        throw std::runtime_error("can't write " + file.toStdString());
}
