#pragma once

#include "model/RecentState.h"
#include "model/Workspace.h"
#include "panes/FrameView.h"
#include "worker/DemoJob.h"

#include <QObject>

#include <optional>
#include <string>
#include <vector>

class QMimeData;
class QWidget;

namespace ombrel::workbench {

// A path may name a dataset in a file: FILE::/path/of/dataset.
// The file alone, and the name without its folder.
QString filePart(const QString& path);
QString shortName(const QString& path);

// Opens files in the workspace: named, chosen or dropped ones, or the demo data. A file comes with the chain
// that was last used on it.
class StackOpener final : public QObject {
    Q_OBJECT
public:
    StackOpener(Workspace& model, RecentState& userMemory, Console& messages, const std::string& pluginPath);

    void open(const std::vector<std::string>& paths);
    void choose(QWidget& parentOfDialog);
    // Lets the user choose one of the datasets of a file.
    void chooseDataset(QWidget& parentOfDialog, const OpenFailure& failure);
    void openDropped(const QMimeData& dropped);
    // Opens the demo data, which is created if missing, with its correction, which replaces the chain.
    void openDemo();
    // Stores the present chain for the open file.
    void rememberChain();
    // For newly opened files: keeps the present chain, so that one chain can be tried on many stacks; an
    // empty chain is replaced by the one last used on this file.
    void recallChain();

signals:
    // Progress of creating the demo data; `of` 0 ends it.
    void advanced(int done, int of);
    void failed(const QString& reason);

private:
    void openMade(const DemoData& demo);
    void want(const std::vector<std::string>& paths, const std::optional<DemoData>& demo);
    Workspace& workspace;
    RecentState& memory;
    DemoJob demoJob;
    int ownOpening = 0;                 // latest request made here
    std::optional<DemoData> demoWanted; // set when that request is for the demo data
};

} // namespace ombrel::workbench
