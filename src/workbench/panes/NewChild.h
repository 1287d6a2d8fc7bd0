#pragma once

#include <memory>
#include <utility>

class QWidget;

namespace ombrel::workbench {

// A widget, or what belongs to one, for the parent or layout that it is given to.
template <typename Object, typename... Arguments>
Object* newChild(Arguments&&... arguments) {
    return std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
}

// Shows the content in full where there is room, and scrolls it up and down where there is less, so that its
// height keeps no window from fitting a small screen.
QWidget* newScroller(QWidget* content);

} // namespace ombrel::workbench
