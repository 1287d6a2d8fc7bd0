#pragma once

#include <QElapsedTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace ombrel::workbench {

// How far a batch run is and what became of it, with the buttons that start and cancel one.
class BatchProgress final : public QWidget {
    Q_OBJECT
public:
    explicit BatchProgress(QWidget* parent = nullptr);

    void reset();
    // A run into the output of that name.
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
    // Of the run that is on, after the name of its output.
    void setState(const QString& text);

    QProgressBar* progress;
    QPushButton* startButton;
    QPushButton* cancelButton;
    QLabel* state;
    QString name;        // of the output
    QElapsedTimer clock; // from the first frame on
    quint64 first = 0;   // frames that were done when it began
};

} // namespace ombrel::workbench
