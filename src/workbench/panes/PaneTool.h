#pragma once

namespace ombrel::workbench {

// What dragging the mouse over a pane does.
enum class PaneTool { Move, Region, Line };

} // namespace ombrel::workbench
