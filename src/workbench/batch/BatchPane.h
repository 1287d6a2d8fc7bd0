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

// Runs the whole stack into a file: where to, how many frames at once, how far it is.
class BatchPane final : public QWidget {
    Q_OBJECT
public:
    // `pluginPath` empty finds the plug-in.
    BatchPane(const Workspace& model, Console& console, std::string pluginPath, QWidget* parent = nullptr);

    // For files that were opened; a run that is on keeps its own until it ends.
    void proposeOutput(const QString& path);
    // The workspace's chain on its files, unless a run is on or nothing is open. What a settings window holds
    // and has not saved yet is saved, since a run takes its settings from files.
    void start();
    bool isRunning() const { return job.isRunning(); }
    // A run that takes hours is not ended by a slip of the hand: the user is asked.
    bool mayClose();

signals:
    void logged(const QString& line);
    void finished(bool isGood);

private:
    void dressFields();
    void fillOutputRow();
    void chooseOutput();
    QString output() const;
    // With the output, jobs and so on of the pane.
    void begin(RunOptions options);
    // Each false when the user wants no run: into the folder of raw data, where measured and made files would
    // be mixed, or over an output that is there.
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
    BatchJob job; // the last member: nothing is told to what is gone
};

} // namespace ombrel::workbench
