#pragma once

#include "model/Workspace.h"
#include "worker/BatchJob.h"

#include <QWidget>

#include <filesystem>
#include <string>

class QComboBox;
class QLineEdit;
class QSpinBox;

namespace ombrel::workbench {

class BatchProgress;

// Runs the whole stack into a file, with the choice of output, jobs and pixel type, and shows the progress.
class BatchPane final : public QWidget {
    Q_OBJECT
public:
    // An empty `pluginPath` searches for the plug-in.
    BatchPane(const Workspace& model, Console& console, std::string pluginPath, QWidget* parent = nullptr);

    // The output for newly opened files; an active run keeps its own until it ends.
    void proposeOutput(const QString& path);
    // Runs the workspace's chain on its files, unless a run is active or no files are open. Unsaved settings
    // of settings windows are saved first, since a run reads its settings from files.
    void start();
    bool isRunning() const { return job.isRunning(); }
    // Asks the user before it cancels an active run, which may have taken hours.
    bool mayClose();

signals:
    void logged(const QString& line);
    void finished(bool isGood);

private:
    void dressFields();
    void fillOutputRow();
    void chooseOutput();
    QString output() const;
    // Adds the pane's own options, such as output and jobs, and starts the run.
    void begin(RunOptions options);
    // Each returns false when the user declines: writing into the folder of the raw data would mix measured
    // and generated files, and the output may already exist.
    bool askForFolder(const RunOptions& options);
    bool askForExisting(RunOptions& options);
    void end(bool isGood, const QString& summary);

    const Workspace& workspace;
    std::string plugin;
    QWidget* outputRow;
    QLineEdit* outputEdit;
    QSpinBox* jobs;
    QComboBox* pixelType;
    BatchProgress* progress;
    QString nextOutput; // proposed during a run
    std::filesystem::path agreedFolder;
    BatchJob job; // last member: it ends before the widgets that its signals reach
};

} // namespace ombrel::workbench
