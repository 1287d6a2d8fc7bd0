#pragma once

#include "model/Workspace.h"

#include <QWidget>

#include <map>

class QListWidget;
class QListWidgetItem;
class QMenu;
class QToolButton;

namespace ombrel::workbench {

// The chain as a list from the first filter to the last: links can be added, removed, dragged to another
// place, and switched on or off by their boxes.
class ChainPane final : public QWidget {
    Q_OBJECT
public:
    explicit ChainPane(Workspace& model, QWidget* parent = nullptr);

    void report(const LinkReport& report);
    // The filters that can be added.
    void popUpAddMenu();

signals:
    void configureWanted(int link);
    void loadWanted(int link);
    void saveWanted(int link);

private:
    QWidget* makeButtons();
    QToolButton* makeButton(const char* name, const QString& text, const QString& tip);
    void fillMenu();
    void refresh();
    void rebuild();
    void fill(QListWidgetItem& item, const LinkState& link) const;
    void showChosen();
    void followDrag();
    bool isInOrder() const;

    Workspace& workspace;
    QListWidget* list;
    QMenu* menu;
    QToolButton* addButton = nullptr;
    std::vector<QToolButton*> linkButtons; // enabled while a link is selected
    QToolButton* configureButton = nullptr;
    std::map<int, LinkReport> reports;
    bool isFollowing = false; // a row was dragged and the workspace does not have the new order yet
};

} // namespace ombrel::workbench
