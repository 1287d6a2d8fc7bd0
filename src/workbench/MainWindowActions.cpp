// Menus, the tool bar and the keys.
#include "workbench/BatchPane.h"
#include "workbench/ChainPane.h"
#include "workbench/ColourMaps.h"
#include "workbench/FrameBar.h"
#include "workbench/FramePanes.h"
#include "workbench/MainWindow.h"
#include "workbench/NewChild.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QDockWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

namespace ombrel::workbench {

QAction* MainWindow::addAction(QMenu& menu, const QString& text, const QString& keys,
                               std::function<void()> work) {
    QAction* const action = menu.addAction(text);
    action->setShortcut(QKeySequence(keys));
    if (!keys.isEmpty())
        action->setToolTip(QString(text).remove('&').remove("\u2026") + " (" + keys + ")");
    if (work)
        connect(action, &QAction::triggered, this, std::move(work));
    return action;
}

void MainWindow::makeActions() {
    makeFileActions();
    makeFrameActions();
    makeLinkActions();
    makeViewActions();
    makeHelpActions();
}

void MainWindow::makeFileActions() {
    QMenu& menu = *menuBar()->addMenu("&File");
    QAction* const openAction = addAction(menu, "&Open\u2026", "Ctrl+O", [this] { chooseFiles(); });
    recentMenu = menu.addMenu("Open &recent");
    connect(&menu, &QMenu::aboutToShow, this, &MainWindow::fillRecentMenu);
    addAction(menu, "Open the &demo data", {}, [this] { openDemo(); });
    openActions.push_back(addAction(menu, "De&tector\u2026", "Ctrl+D", [this] { askForDevice(); }));
    menu.addSeparator();
    QAction* const run = addAction(menu, "&Batch run", "Ctrl+R", [this] {
        docks[BATCH_DOCK]->show();
        docks[BATCH_DOCK]->raise();
        startBatch();
    });
    openActions.push_back(run);
    menu.addSeparator();
    addAction(menu, "&Quit", "Ctrl+Q", [this] { close(); });

    toolBar = addToolBar("Tools");
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    toolBar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    toolBar->addAction(openAction);
    toolBar->addAction(run);
    toolBar->addSeparator();
}

void MainWindow::makeFrameActions() {
    QMenu& menu = *menuBar()->addMenu("F&rame");
    const auto add = [&](const char* text, const char* keys, std::function<void()> work) {
        openActions.push_back(addAction(menu, text, keys, std::move(work)));
    };
    add("&Next", "Right", [this] { frameBar->step(1); });
    add("&Previous", "Left", [this] { frameBar->step(-1); });
    add("Ten &on", "Shift+Right", [this] { frameBar->step(10); });
    add("Ten &back", "Shift+Left", [this] { frameBar->step(-10); });
    add("&First", "Ctrl+Home", [this] { frameBar->goToEnd(false); });
    add("&Last", "Ctrl+End", [this] { frameBar->goToEnd(true); });
    add("Pl&ay or pause", "P", [this] { frameBar->play(!frameBar->isPlaying()); });
}

void MainWindow::makeLinkActions() {
    QMenu& menu = *menuBar()->addMenu("&Chain");
    const auto add = [&](const char* text, const char* keys, std::function<void(int)> work) {
        openActions.push_back(addAction(menu, text, keys, [this, work] { work(workspace.chosenLink()); }));
    };
    add("&Add a filter\u2026", "Ctrl+N", [this](int) {
        chainPane->addMenu().popup(chainPane->mapToGlobal(QPoint(8, chainPane->height() / 2)));
    });
    add("&Remove", "Ctrl+Del", [this](int link) { workspace.removeLink(link); });
    add("Switch &on or off", "Ctrl+T", [this](int link) {
        if (const LinkState* const state = workspace.chain().find(link))
            workspace.setEnabled(link, !state->enabled);
    });
    add("Move &up", "Ctrl+Up", [this](int link) {
        for (std::size_t place = 1; place < workspace.chain().links.size(); ++place)
            if (workspace.chain().links[place].id == link)
                return workspace.moveLink(link, place - 1);
    });
    add("Move &down", "Ctrl+Down", [this](int link) {
        for (std::size_t place = 0; place + 1 < workspace.chain().links.size(); ++place)
            if (workspace.chain().links[place].id == link)
                return workspace.moveLink(link, place + 2);
    });
    menu.addSeparator();
    add("&Configure\u2026", "Ctrl+K", [this](int link) { linkSettings.configure(link); });
    add("&Load settings\u2026", "Ctrl+L", [this](int link) { linkSettings.load(link); });
    add("&Save settings\u2026", "Ctrl+S", [this](int link) { linkSettings.save(link); });
}

QAction* MainWindow::addSwitch(QMenu& menu, const QString& text, const QString& keys,
                               std::function<void(bool)> work) {
    QAction* const action = addAction(menu, text, keys, {});
    action->setCheckable(true);
    connect(action, &QAction::toggled, this, std::move(work));
    toolBar->addAction(action);
    return action;
}

void MainWindow::makeViewActions() {
    QMenu& menu = *menuBar()->addMenu("&View");
    makeColourActions(menu);
    toolBar->addSeparator();
    menu.addSeparator();
    lockAction = addSwitch(menu, "Lock limits", "L", [this](bool isOn) { panes->lockLimits(isOn); });
    lockAction->setToolTip("Keep the limits of the colours from frame to frame (L)");
    addSwitch(menu, "Mark pixels", "M", [this](bool isOn) {
        panes->markPixels(isOn);
    })->setToolTip("Mark negative pixels in cyan, and those that are not finite in magenta (M)");
    toolBar->addSeparator();
    menu.addSeparator();
    makeToolActions(menu);
    toolBar->addAction(addAction(menu, "Whole frame", "F", [this] {
        panes->showWhole(
            {static_cast<int>(workspace.facts().width), static_cast<int>(workspace.facts().height)});
    }));
    menu.addSeparator();
    for (QDockWidget* const dock : docks)
        menu.addAction(dock->toggleViewAction());
}

void MainWindow::makeColourActions(QMenu& menu) {
    colourActions = newChild<QActionGroup>(this);
    int number = 0;
    for (const QString& name : colourMapNames())
        colourActions->addAction(
            addSwitch(menu, name, QString("Ctrl+%1").arg(++number), [this, name](bool isOn) {
                if (isOn)
                    panes->setColourMap(name);
            }));
}

void MainWindow::makeToolActions(QMenu& menu) {
    QActionGroup* const tools = newChild<QActionGroup>(this);
    const auto tool = [&](const char* text, const char* keys, PaneTool kind) {
        tools->addAction(addSwitch(menu, text, keys, [this, kind](bool isOn) {
            if (isOn)
                panes->setTool(kind);
        }));
    };
    tool("Move", "V", PaneTool::Move);
    tool("Region", "R", PaneTool::Region);
    tool("Line", "N", PaneTool::Line);
    tools->actions().first()->setChecked(true);
}

void MainWindow::makeHelpActions() {
    QMenu& menu = *menuBar()->addMenu("&Help");
    addAction(menu, "&Keys", "F1", [this] { showKeys(); });
}

void MainWindow::enableActions() {
    for (QAction* const action : openActions)
        action->setEnabled(workspace.isOpen());
}

// From the actions themselves, so that it is never wrong.
void MainWindow::showKeys() {
    QString rows;
    for (const QAction* const top : menuBar()->actions()) {
        for (const QAction* const action : top->menu()->actions())
            if (!action->shortcut().isEmpty())
                rows += QString("<tr><td>%1</td><td>&nbsp;&nbsp;<b>%2</b></td></tr>")
                            .arg(action->text().remove('&').toHtmlEscaped(),
                                 action->shortcut().toString(QKeySequence::NativeText).toHtmlEscaped());
    }
    rows +=
        "<tr><td>Draw a region, a line</td><td>&nbsp;&nbsp;<b>Shift</b>, <b>Ctrl</b> and the mouse</td></tr>";
    QMessageBox box(QMessageBox::NoIcon, "Keys", "<table>" + rows + "</table>", QMessageBox::Close, this);
    box.exec();
}

} // namespace ombrel::workbench
