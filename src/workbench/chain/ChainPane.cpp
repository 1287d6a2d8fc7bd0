#include "chain/ChainPane.h"

#include "panes/Look.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QSignalBlocker>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace ombrel::workbench {

namespace {

constexpr int idRole = Qt::UserRole;

int idOf(const QListWidgetItem& item) {
    return item.data(idRole).toInt();
}

// A short text about the link's settings.
QString settingsText(const LinkState& link) {
    QString text = link.settings.empty() ? QString("no settings")
                                         : QFileInfo(QString::fromStdString(link.settings)).fileName();
    if (link.unsaved)
        text += ", being configured";
    if (!link.params.empty())
        text += QString(", %1 changed").arg(link.params.size());
    return text;
}

} // namespace

ChainPane::ChainPane(Workspace& model, QWidget* parent)
    : QWidget(parent), workspace(model), list(newChild<QListWidget>()), menu(newChild<QMenu>(this)) {
    list->setObjectName("lwChain");
    list->setDragDropMode(QAbstractItemView::InternalMove);
    list->setAlternatingRowColors(true);
    list->setMinimumHeight(48); // one and a half rows
    list->setToolTip("Frames go through the chain from top to bottom. Drag a filter to move it; the box "
                     "switches it off.");
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(list, 1);
    layout->addWidget(makeButtons());

    connect(&workspace, &Workspace::chainChanged, this, &ChainPane::refresh);
    connect(&workspace, &Workspace::chosenLinkChanged, this, &ChainPane::showChosen);
    connect(&workspace, &Workspace::factsChanged, this, &ChainPane::refresh);
    connect(
        list, &QListWidget::itemChanged, this,
        [this](QListWidgetItem* item) {
            workspace.setEnabled(idOf(*item), item->checkState() == Qt::Checked);
        });
    connect(
        list, &QListWidget::currentItemChanged, this,
        [this](QListWidgetItem* item) {
            if (item)
                workspace.chooseLink(idOf(*item));
        });
    connect(list, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { emit configureWanted(idOf(*item)); });
    // The list emits this signal in the middle of its own update, so the order is read later.
    connect(list->model(), &QAbstractItemModel::rowsMoved, this, [this] { isFollowing = true; });
    connect(list->model(), &QAbstractItemModel::rowsMoved, this, &ChainPane::followDrag,
            Qt::QueuedConnection);
    connect(menu, &QMenu::aboutToShow, this, &ChainPane::fillMenu);
    refresh();
}

QToolButton* ChainPane::makeButton(const char* name, const QString& text, const QString& tip) {
    auto* const button = newChild<QToolButton>();
    button->setObjectName(name);
    button->setText(text);
    button->setToolTip(tip);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return button;
}

QWidget* ChainPane::makeButtons() {
    auto* const bar = newChild<QWidget>();
    auto* const layout = newChild<QHBoxLayout>(bar);
    layout->setContentsMargins({});
    layout->setSpacing(3);
    addButton = makeButton("btAdd", "&Add", "Add a filter to the end of the chain (Ctrl+N)");
    addButton->setMenu(menu);
    addButton->setPopupMode(QToolButton::InstantPopup);
    auto* const remove = makeButton("btRemove", "Re&move", "Remove the chosen filter (Ctrl+Del)");
    configureButton =
        makeButton("btConfigure", "Conf&igure\u2026", "Open the filter's own settings window (Ctrl+K)");
    auto* const load = makeButton("btLoad", "&Load\u2026", "Load settings for the chosen filter (Ctrl+L)");
    auto* const save = makeButton("btSave", "&Save\u2026", "Save the chosen filter's settings (Ctrl+S)");
    linkButtons = {remove, load, save};
    for (QToolButton* const button : {addButton, remove, configureButton, load, save})
        layout->addWidget(button);
    connect(
        remove, &QToolButton::clicked, this, [this] { workspace.removeLink(workspace.chosenLink()); });
    connect(
        configureButton, &QToolButton::clicked, this,
        [this] { emit configureWanted(workspace.chosenLink()); });
    connect(
        load, &QToolButton::clicked, this, [this] { emit loadWanted(workspace.chosenLink()); });
    connect(save, &QToolButton::clicked, this, [this] { emit saveWanted(workspace.chosenLink()); });
    return bar;
}

void ChainPane::popUpAddMenu() {
    menu->popup(mapToGlobal(QPoint(8, height() / 2)));
}

void ChainPane::fillMenu() {
    menu->clear();
    for (const std::string& filter : workspace.facts().filters)
        menu->addAction(QString::fromStdString(filter), this, [this, filter] { workspace.addLink(filter); });
}

void ChainPane::report(const LinkReport& report) {
    reports[report.id] = report;
    refresh();
}

bool ChainPane::isInOrder() const {
    const auto& links = workspace.chain().links;
    if (list->count() != static_cast<int>(links.size()))
        return false;
    for (int row = 0; row < list->count(); ++row)
        if (idOf(*list->item(row)) != links[static_cast<std::size_t>(row)].id)
            return false;
    return true;
}

void ChainPane::rebuild() {
    list->clear();
    for (const LinkState& link : workspace.chain().links) {
        auto* const item = newChild<QListWidgetItem>();
        item->setData(idRole, link.id);
        item->setFlags((item->flags() | Qt::ItemIsUserCheckable) & ~Qt::ItemIsDropEnabled);
        list->addItem(item);
    }
}

void ChainPane::fill(QListWidgetItem& item, const LinkState& link) const {
    item.setText(QString::fromStdString(link.filter) + "\n" + settingsText(link));
    item.setCheckState(link.enabled ? Qt::Checked : Qt::Unchecked);
    const auto report = reports.find(link.id);
    const bool isFailed = report != reports.end() && !report->second.failure.empty();
    item.setIcon(isFailed ? style()->standardIcon(QStyle::SP_MessageBoxWarning) : QIcon());
    item.setToolTip(isFailed ? QString::fromStdString(report->second.failure).toHtmlEscaped()
                             : QString::fromStdString(link.settings).toHtmlEscaped());
}

void ChainPane::refresh() {
    if (isFollowing)
        return; // the list already has the new order, the workspace not yet
    const QSignalBlocker quiet(list);
    if (!isInOrder())
        rebuild();
    for (int row = 0; row < list->count(); ++row)
        fill(*list->item(row), workspace.chain().links[static_cast<std::size_t>(row)]);
    addButton->setEnabled(workspace.isOpen());
    showChosen();
}

void ChainPane::showChosen() {
    const QSignalBlocker quiet(list);
    const int chosen = workspace.chosenLink();
    for (int row = 0; row < list->count(); ++row)
        if (idOf(*list->item(row)) == chosen)
            list->setCurrentRow(row);
    const bool isAny = workspace.chain().find(chosen) != nullptr;
    for (QToolButton* const button : linkButtons)
        button->setEnabled(isAny && workspace.isOpen());
    const auto report = reports.find(chosen);
    configureButton->setEnabled(isAny && report != reports.end() && report->second.hasWindow);
}

// Applies the order of the list to the workspace, one link at a time.
void ChainPane::followDrag() {
    std::vector<int> order;
    for (int row = 0; row < list->count(); ++row)
        order.push_back(idOf(*list->item(row)));
    const bool isSame =
        order.size() == workspace.chain().links.size(); // otherwise a link was removed meanwhile
    for (std::size_t place = 0; isSame && place < order.size(); ++place)
        if (workspace.chain().links[place].id != order[place])
            workspace.moveLink(order[place], place);
    isFollowing = false;
    refresh();
}

} // namespace ombrel::workbench
