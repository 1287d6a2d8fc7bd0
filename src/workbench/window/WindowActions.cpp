#include "window/WindowActions.h"

#include "panes/Look.h"

#include <QAction>
#include <QActionGroup>
#include <QDockWidget>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

#include <algorithm>

namespace ombrel::workbench {

namespace {

QString rowOf(const QString& what, const QString& keys) {
    return QString("<tr><td>%1</td><td>&nbsp;&nbsp;%2</td></tr>").arg(what, keys);
}

QString rowOf(const QAction& action) {
    return rowOf(action.text().remove('&').toHtmlEscaped(),
                 "<b>" + action.shortcut().toString(QKeySequence::NativeText).toHtmlEscaped() + "</b>");
}

} // namespace

void showKeys(const QMenuBar& menus) {
    QString rows;
    for (const QAction* const menu : menus.actions())
        for (const QAction* const action : menu->menu()->actions())
            if (!action->shortcut().isEmpty())
                rows += rowOf(*action);
    rows += rowOf("Draw a region, a line", "<b>Shift</b>, <b>Ctrl</b> and the mouse");
    QMessageBox box(QMessageBox::NoIcon, "Keys", "<table>" + rows + "</table>", QMessageBox::Close,
                    menus.window());
    box.exec();
}

namespace {

// Without its mnemonic mark.
QString plain(QString text) {
    return text.remove('&');
}

} // namespace

WindowActions::WindowActions(QMainWindow& owner, Workspace& model, const std::vector<QDockWidget*>& docks)
    : QObject(&owner), window(owner), workspace(model), toolBar(owner.addToolBar("Tools")),
      colourActions(newChild<QActionGroup>(this)) {
    toolBar->setObjectName("toolBar");
    toolBar->setMovable(false);
    toolBar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    makeFileActions();
    makeFrameActions();
    makeLinkActions();
    makeViewActions(docks);
    makeHelpActions();
    connect(&workspace, &Workspace::inputsChanged, this, &WindowActions::enableActions);
    connect(&workspace, &Workspace::factsChanged, this, &WindowActions::enableActions);
    enableActions();
}

QMenu& WindowActions::addMenu(const QString& title) {
    return *window.menuBar()->addMenu(title);
}

QAction* WindowActions::add(QMenu& menu, const QString& text, const QString& keys, Work work) {
    QAction* const action = menu.addAction(text);
    action->setShortcut(QKeySequence(keys));
    if (!keys.isEmpty())
        action->setToolTip(plain(text).remove("\u2026") + " (" + keys + ")");
    if (work)
        connect(action, &QAction::triggered, this, std::move(work));
    return action;
}

QAction* WindowActions::addForFrames(QMenu& menu, const QString& text, const QString& keys, Work work) {
    frameActions.push_back(add(menu, text, keys, std::move(work)));
    return frameActions.back();
}

QAction* WindowActions::addSwitch(QMenu& menu, const QString& text, const QString& keys,
                                  std::function<void(bool)> work) {
    QAction* const action = add(menu, text, keys, {});
    action->setCheckable(true);
    connect(action, &QAction::toggled, this, std::move(work));
    toolBar->addAction(action);
    return action;
}

void WindowActions::makeFileActions() {
    QMenu& menu = addMenu("&File");
    toolBar->addAction(add(menu, "&Open\u2026", "Ctrl+O", [this] { emit openWanted(); }));
    recentMenu = menu.addMenu("Open &recent");
    add(
        menu, "Open the &demo data", {}, [this] { emit demoWanted(); });
    addForFrames(menu, "De&tector\u2026", "Ctrl+D", [this] { emit deviceWanted(); });
    menu.addSeparator();
    toolBar->addAction(addForFrames(
        menu, "&Batch run", "Ctrl+R", [this] { emit batchWanted(); }));
    addForFrames(menu, "&Calibrate flat field\u2026", "Ctrl+B", [this] { emit calibrationWanted(); });
    menu.addSeparator();
    add(menu, "&Quit", "Ctrl+Q", [this] { window.close(); });
    toolBar->addSeparator();
}

void WindowActions::makeFrameActions() {
    QMenu& menu = addMenu("F&rame");
    addForFrames(
        menu, "&Next", "Right", [this] { emit stepWanted(1); });
    addForFrames(
        menu, "&Previous", "Left", [this] { emit stepWanted(-1); });
    addForFrames(
        menu, "Ten f&orward", "Shift+Right", [this] { emit stepWanted(10); });
    addForFrames(
        menu, "Ten &back", "Shift+Left", [this] { emit stepWanted(-10); });
    addForFrames(
        menu, "&First", "Ctrl+Home", [this] { emit endWanted(false); });
    addForFrames(
        menu, "&Last", "Ctrl+End", [this] { emit endWanted(true); });
    addForFrames(menu, "Pl&ay or pause", "P", [this] { emit playOrPauseWanted(); });
}

void WindowActions::makeLinkActions() {
    QMenu& menu = addMenu("&Chain");
    const auto chosen = [this] { return workspace.chosenLink(); };
    addForFrames(
        menu, "&Add a filter\u2026", "Ctrl+N", [this] { emit addMenuWanted(); });
    addForFrames(
        menu, "&Remove", "Ctrl+Del", [=, this] { workspace.removeLink(chosen()); });
    addForFrames(
        menu, "Switch &on or off", "Ctrl+T", [this] { switchChosenLink(); });
    addForFrames(
        menu, "Move &up", "Ctrl+Up", [this] { moveChosenLink(true); });
    addForFrames(menu, "Move &down", "Ctrl+Down", [this] { moveChosenLink(false); });
    menu.addSeparator();
    addForFrames(
        menu, "&Configure\u2026", "Ctrl+K", [=, this] { emit configureWanted(chosen()); });
    addForFrames(
        menu, "&Load settings\u2026", "Ctrl+L", [=, this] { emit loadWanted(chosen()); });
    addForFrames(menu, "&Save settings\u2026", "Ctrl+S", [=, this] { emit saveWanted(chosen()); });
}

void WindowActions::switchChosenLink() {
    if (const LinkState* const link = workspace.chain().find(workspace.chosenLink()))
        workspace.setEnabled(link->id, !link->enabled);
}

void WindowActions::moveChosenLink(bool isUp) {
    const auto& links = workspace.chain().links;
    const auto found = std::ranges::find(links, workspace.chosenLink(), &LinkState::id);
    if (found == (isUp ? links.begin() : links.end()))
        return;
    const auto place = static_cast<std::size_t>(found - links.begin());
    workspace.moveLink(workspace.chosenLink(), isUp ? place - 1 : place + 2);
}

void WindowActions::makeViewActions(const std::vector<QDockWidget*>& docks) {
    QMenu& menu = addMenu("&View");
    makeColourActions(menu);
    toolBar->addSeparator();
    menu.addSeparator();
    lockAction = addSwitch(menu, "&Lock limits", "L", [this](bool isOn) { emit limitsLocked(isOn); });
    lockAction->setToolTip("Keep the limits of the colours from frame to frame (L)");
    addSwitch(
        menu, "&Mark pixels", "M", [this](bool isOn) { emit pixelsMarked(isOn); })
        ->setToolTip("Mark pixels: masked, filled or otherwise faulty ones in orange, negative ones in cyan, "
                     "those that "
                     "are not finite in magenta (M)");
    addSwitch(menu, "&Signal to noise", "S", [this](bool isOn) {
        emit signalToNoiseWanted(isOn);
    })->setToolTip("Show each corrected pixel over its standard deviation, in place of the difference (S)");
    toolBar->addSeparator();
    menu.addSeparator();
    makeToolActions(menu);
    toolBar->addAction(add(menu, "&Whole frame", "F", [this] { emit wholeFrameWanted(); }));
    menu.addSeparator();
    for (QDockWidget* const dock : docks)
        menu.addAction(dock->toggleViewAction());
}

void WindowActions::makeColourActions(QMenu& menu) {
    int number = 0;
    for (const QString& text : colourMapNames())
        colourActions->addAction(
            addSwitch(menu, text, QString("Ctrl+%1").arg(++number), [this, name = plain(text)](bool isOn) {
                if (isOn)
                    emit colourMapChosen(name);
            }));
}

void WindowActions::makeToolActions(QMenu& menu) {
    auto* const tools = newChild<QActionGroup>(this);
    const auto addTool = [&](const char* text, const char* keys, PaneTool tool) {
        tools->addAction(addSwitch(menu, text, keys, [this, tool](bool isOn) {
            if (isOn)
                emit toolChosen(tool);
        }));
    };
    addTool("Mo&ve", "V", PaneTool::Move);
    addTool("&Region", "R", PaneTool::Region);
    addTool("Li&ne", "N", PaneTool::Line);
    tools->actions().first()->setChecked(true);
}

void WindowActions::makeHelpActions() {
    add(
        addMenu("&Help"), "&Keys", "F1", [this] { showKeys(*window.menuBar()); });
}

void WindowActions::enableActions() {
    for (QAction* const action : frameActions)
        action->setEnabled(workspace.isOpen());
}

void WindowActions::setRecentFiles(const QStringList& files) {
    recentMenu->clear();
    for (const QString& path : files)
        recentMenu->addAction(QString(path).replace("&", "&&"), this,
                              [this, path] { emit fileWanted(path); });
    recentMenu->setEnabled(!files.isEmpty());
}

void WindowActions::showToolBar(bool isShown) {
    toolBar->setVisible(isShown);
}

void WindowActions::lockLimits() {
    lockAction->setChecked(true);
}

QString WindowActions::colourMap() const {
    return plain(colourActions->checkedAction()->text());
}

void WindowActions::chooseColourMap(const QString& name) {
    const auto actions = colourActions->actions();
    const auto found =
        std::ranges::find(actions, name, [](const QAction* action) { return plain(action->text()); });
    (found == actions.end() ? actions.first() : *found)->setChecked(true);
}

} // namespace ombrel::workbench
