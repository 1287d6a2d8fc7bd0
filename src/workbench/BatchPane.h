#pragma once

#include "workbench/BatchJob.h"

#include <QElapsedTimer>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;

namespace ombrel::workbench {

// Runs the whole stack into a file: where to, how many frames at once, how far it is.
class BatchPane final : public QWidget {
    Q_OBJECT
public:
    explicit BatchPane(cli::Console& console, QWidget* parent = nullptr);

    void setOutput(const QString& path);
    QString output() const;
    // With the output, jobs and so on of the pane.
    void start(cli::RunOptions options);
    bool isRunning() const { return job.isRunning(); }
    // A run that takes hours is not ended by a slip of the hand: the user is asked.
    bool mayClose();

signals:
    void startWanted();
    void logged(const QString& line);
    void finished(bool isGood);

private:
    void dressFields();
    QWidget* makeOutputRow();
    QWidget* makeProgressRow();
    // False when an output that is there is to be left alone.
    bool askForExisting(cli::RunOptions& options);
    void chooseOutput();
    void advance(quint64 done, quint64 of);
    void end(bool isGood, const QString& summary);
    void showRunning(bool isRunning);

    QLineEdit* outputEdit;
    QSpinBox* jobs;
    QComboBox* pixelType;
    QPushButton* startButton;
    QPushButton* cancelButton;
    QProgressBar* progress;
    QLabel* state;
    QElapsedTimer clock;
    quint64 first = 0; // frames that were done when it began
    BatchJob job;      // the last member: nothing is told to what is gone
};

} // namespace ombrel::workbench
