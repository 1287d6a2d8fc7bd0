#pragma once

#include "model/RecentState.h"
#include "model/Workspace.h"
#include "worker/DemoJob.h"

#include <QObject>

#include <optional>
#include <string>
#include <vector>

class QMimeData;
class QWidget;

namespace ombrel::workbench {

// Takes files into the workspace: named ones, chosen ones, dropped ones and the demo data. A file comes with
// the chain that was last used on it.
// A path may name a dataset in a file. The file alone, and the name that tells it from others of a folder.
QString filePart(const QString& path);
QString shortName(const QString& path);

class StackOpener final : public QObject {
    Q_OBJECT
public:
    StackOpener(Workspace& model, RecentState& userMemory, Console& messages, const std::string& pluginPath);

    void open(const std::vector<std::string>& paths);
    void choose(QWidget& parentOfDialog);
    // Of the datasets that may be meant.
    void chooseDataset(QWidget& parentOfDialog, const OpenFailure& failure);
    void openDropped(const QMimeData& dropped);
    // Made before where it is not there yet. Opened with its correction, which replaces the chain.
    void openDemo();
    // The chain as it is now, with the open file.
    void rememberChain();
    // For files that were just opened: one chain is tried on many stacks; where there is none, the one that
    // was last used on this file is there again.
    void recallChain();

signals:
    // While the demo data is made; `of` 0: no longer.
    void advanced(int done, int of);
    void failed(const QString& reason);

private:
    void openMade(const DemoData& demo);
    void want(const std::vector<std::string>& paths, const std::optional<DemoData>& demo);
    Workspace& workspace;
    RecentState& memory;
    DemoJob demoJob;
    int ownOpening = 0;                 // the latest that was asked for here
    std::optional<DemoData> demoWanted; // where that is of the demo data
};

} // namespace ombrel::workbench
