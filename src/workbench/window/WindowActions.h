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

// Shows a modal list of the keys of all menu actions. It is generated from the actions, so it is never
// outdated.
void showKeys(const QMenuBar& menus);

// The menus, the tool bar and the keys of the window. Actions emit signals with the user's request; those
// that edit the chain change the workspace directly.
class WindowActions final : public QObject {
    Q_OBJECT
public:
    // The window owns the actions. The view menu shows and hides `docks`.
    WindowActions(QMainWindow& owner, Workspace& model, const std::vector<QDockWidget*>& docks);

    void setRecentFiles(const QStringList& files);
    void showToolBar(bool isShown);
    void lockLimits();
    QString colourMap() const;
    // Chooses the first map when no map has that name.
    void chooseColourMap(const QString& name);

signals:
    void openWanted();
    void fileWanted(const QString& path);
    void demoWanted();
    void deviceWanted();
    void batchWanted();
    void calibrationWanted();
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
    void signalToNoiseWanted(bool isWanted);
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
    // An action that needs open frames.
    QAction* addForFrames(QMenu& menu, const QString& text, const QString& keys, Work work);
    // A checkable action, also in the tool bar.
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
    std::vector<QAction*> frameActions; // need open frames
};

} // namespace ombrel::workbench
