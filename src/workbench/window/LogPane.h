#pragma once

#include <QPlainTextEdit>

namespace ombrel::workbench {

// What the filters log and what the workbench has to say, the latest last. A line that repeats the one before
// is counted rather than shown again.
class LogPane final : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit LogPane(QWidget* parent = nullptr);

    void add(const QString& line);

private:
    QString last;
    int repeats = 0;
};

} // namespace ombrel::workbench
