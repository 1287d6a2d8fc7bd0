#pragma once

#include "zt/IMpxFrame.h"

namespace PluginOmbrel {

// Asks the user which of a frame's sub-frames to take; `label` says what for. Returns its index, or -1 when
// the whole frame is to be taken: the user cancelled, or there is no window system to ask in. Opens a modal
// window, and so belongs on the thread of the user interface; the host may end the asking filter meanwhile.
// Defined with the dialogs.
int askForSubFrame(const zt::IMpxFrame& frame, const char* label);

} // namespace PluginOmbrel
