#pragma once

#include <memory>
#include <utility>

namespace ombrel::workbench {

// A widget, or what belongs to one, for the parent or layout that it is given to.
template <typename Object, typename... Arguments>
Object* newChild(Arguments&&... arguments) {
    return std::make_unique<Object>(std::forward<Arguments>(arguments)...).release();
}

} // namespace ombrel::workbench
