#pragma once

#include "model/Workspace.h"
#include "panes/PaneMouse.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <vector>

class QMenuBar;

class QAction;
class QActionGroup;
class QDockWidget;
class QMainWindow;
class QMenu;
class QToolBar;

namespace ombrel::workbench {

// Lists the keys of all actions of the menus in a modal window: from the actions themselves, so that the list
// is never wrong.
void showKeys(const QMenuBar& menus);

// The menus, the tool bar and the keys of the window. An action tells by a signal what the user wants; those
// that change the chain change it in the workspace.
class WindowActions final : public QObject {
    Q_OBJECT
public:
    // The window owns the actions. `docks` are shown and hidden by the menu of views.
    WindowActions(QMainWindow& owner, Workspace& model, const std::vector<QDockWidget*>& docks);

    void setRecentFiles(const QStringList& files);
    void showToolBar(bool isShown);
    void lockLimits();
    QString colourMap() const;
    // The first one when there is none of that name.
    void chooseColourMap(const QString& name);

signals:
    void openWanted();
    void fileWanted(const QString& path);
    void demoWanted();
    void deviceWanted();
    void batchWanted();
    void stepWanted(int frames);
    void endWanted(bool isLast);
    void playOrPauseWanted();
    void addMenuWanted();
    void configureWanted(int link);
    void loadWanted(int link);
    void saveWanted(int link);
    void colourMapChosen(const QString& name);
    void limitsLocked(bool areLocked);
    void pixelsMarked(bool areMarked);
    void toolChosen(ombrel::workbench::PaneTool tool);
    void wholeFrameWanted();

private:
    using Work = std::function<void()>;

    void makeFileActions();
    void makeFrameActions();
    void makeLinkActions();
    void makeViewActions(const std::vector<QDockWidget*>& docks);
    void makeColourActions(QMenu& menu);
    void makeToolActions(QMenu& menu);
    void makeHelpActions();
    QMenu& addMenu(const QString& title);
    QAction* add(QMenu& menu, const QString& text, const QString& keys, Work work);
    // For what needs open frames.
    QAction* addForFrames(QMenu& menu, const QString& text, const QString& keys, Work work);
    // In the tool bar too.
    QAction* addSwitch(QMenu& menu, const QString& text, const QString& keys, std::function<void(bool)> work);
    void enableActions();
    void switchChosenLink();
    void moveChosenLink(bool isUp);

    QMainWindow& window;
    Workspace& workspace;
    QToolBar* toolBar;
    QMenu* recentMenu = nullptr;
    QAction* lockAction = nullptr;
    QActionGroup* colourActions;
    std::vector<QAction*> frameActions; // that need open frames
};

} // namespace ombrel::workbench
