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
    std::vector<std::string> inputs; // not empty
    int opening = 0;                 // a new number reopens the files
    DeviceState device;
    zt::u64 frame = 0;
    ChainState chain;
    MapView view;
};

// One picture for its pane.
struct PaneView {
    ImagePtr image; // null: no picture
    ScaleLimits limits;
    FrameStatistics figures;
    Histogram histogram;
};

// A frame before and after the chain.
struct FrameView {
    int opening = 0; // the stack that it belongs to
    zt::u64 frame = 0;
    bool isComplete = false; // false while the chain is still working on it
    std::array<PaneView, PANE_COUNT> panes;
    std::string failure; // why the raw or corrected frame is missing
    double seconds = 0;  // time that the chain took
    std::optional<SelectedFlatField> choice;
    FaultsPtr faults;    // of the pixels in every frame: masked, filled and so on
    ImagePtr sigma;      // standard deviation of each corrected pixel; null if not known
    std::string noSigma; // why it is not known; empty without a corrected frame
    PaneView signalToNoise;
    bool showsSignalToNoise = false; // in the pane of the difference
};

// With the pictures, which the panes take over.
struct ShownFrame {
    zt::u64 request = 0; // number of the request
    FrameView view;
    std::array<PaneMap, PANE_COUNT> maps;
};

using ShownFramePtr = std::shared_ptr<ShownFrame>;

// Why files could not be opened.
struct OpenFailure {
    std::vector<std::string> inputs;
    int opening = 0;
    std::string reason;
    std::string file;                    // file that holds the datasets
    std::vector<DatasetChoice> datasets; // the user must choose one; empty: another failure
};

} // namespace ombrel::workbench
