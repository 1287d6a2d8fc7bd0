#pragma once

class QMenuBar;

namespace ombrel::workbench {

// Lists the keys of all actions of the menus in a modal window: from the actions themselves, so that the list
// is never wrong.
void showKeys(const QMenuBar& menus);

} // namespace ombrel::workbench
