#pragma once

#include "base/Error.h"
#include "frame/FrameRow.h"
#include "frame/PreviewImage.h"
#include "frame/Statistics.h"
#include "model/Image.h"
#include "model/Workspace.h"
#include "panes/PaneMap.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::workbench {

enum PaneIndex { RAW_PANE, CORRECTED_PANE, DIFFERENCE_PANE, PANE_COUNT };

// A complete request for what the window wants to see: a newer one replaces all earlier ones.
struct FrameRequest {
    zt::u64 number = 0;              // counts the requests of a window
    std::vector<std::string> inputs; // files; not empty
    int opening = 0;                 // a new number: they are opened again
    DeviceState device;
    zt::u64 frame = 0;
    ChainState chain;
    MapView view;
};

// One picture, ready for its pane.
struct PaneView {
    ImagePtr image; // null: there is nothing to show
    ScaleLimits limits;
    FrameStatistics figures;
    Histogram histogram;
};

// What a frame looks like, before and after the chain.
struct FrameView {
    int opening = 0; // of the stack that it is of
    zt::u64 frame = 0;
    bool isComplete = false; // else the chain is still at work on it
    std::array<PaneView, PANE_COUNT> panes;
    std::string failure; // why there is no raw or corrected frame
    double seconds = 0;  // that the chain took
    std::optional<SelectedFlatField> choice;
};

// With its pictures, which the panes take over.
struct ShownFrame {
    zt::u64 request = 0; // its number
    FrameView view;
    std::array<PaneMap, PANE_COUNT> maps;
};

using ShownFramePtr = std::shared_ptr<ShownFrame>;

// Why files can't be opened.
struct OpenFailure {
    std::vector<std::string> inputs;
    int opening = 0;
    std::string reason;
    std::string file;                    // of these datasets
    std::vector<DatasetChoice> datasets; // of which the user has to name one; empty: it failed otherwise
};

} // namespace ombrel::workbench
