#pragma once

#include <QElapsedTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace ombrel::workbench {

// The progress and the result of a batch run, with the buttons that start and cancel it.
class BatchProgress final : public QWidget {
    Q_OBJECT
public:
    explicit BatchProgress(QWidget* parent = nullptr);

    void reset();
    // A run into the output of this name has started.
    void begin(const QString& output = {});
    void advance(quint64 done, quint64 of);
    void cancel();
    void end(const QString& summary);
    void setText(const QString& text);

signals:
    void startWanted();
    void cancelWanted();

private:
    void showRunning(bool isRunning);
    // Text about the active run, prefixed with the name of its output.
    void setState(const QString& text);

    QProgressBar* progress;
    QPushButton* startButton;
    QPushButton* cancelButton;
    QLabel* state;
    QString name;        // of the output
    QElapsedTimer clock; // starts with the first frame
    quint64 first = 0;   // frames already done when the run began
};

} // namespace ombrel::workbench
