#pragma once

#include "workbench/DemoJob.h"
#include "workbench/Memory.h"
#include "workbench/Workspace.h"

#include <QObject>

#include <string>
#include <vector>

class QMimeData;
class QWidget;

namespace ombrel::workbench {

// Takes files into the workspace: named ones, chosen ones, dropped ones and the demo data. A file comes with
// the chain that was last used on it.
class StackOpener final : public QObject {
    Q_OBJECT
public:
    StackOpener(Workspace& model, Memory& userMemory, cli::Console& messages, const std::string& pluginPath);

    void open(const std::vector<std::string>& paths);
    void choose(QWidget& parentOfDialog);
    void openDropped(const QMimeData& dropped);
    // Made before where it is not there yet. Opened with its correction, which replaces the chain.
    void openDemo();
    // The chain as it is now, with the open file.
    void rememberChain();

signals:
    // While the demo data is made; `of` 0: no longer.
    void advanced(int done, int of);
    void failed(const QString& reason);

private:
    void openMade(const DemoData& demo);
    void recallChain();

    Workspace& workspace;
    Memory& memory;
    DemoJob demoJob;
};

} // namespace ombrel::workbench
