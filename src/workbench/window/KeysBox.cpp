#include "window/KeysBox.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>

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

} // namespace ombrel::workbench
