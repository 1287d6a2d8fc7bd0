#pragma once

#include <QStringList>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace ombrel::workbench {

// The page shown before any files are open: ways to open some.
class StartPage final : public QWidget {
    Q_OBJECT
public:
    explicit StartPage(QWidget* parent = nullptr);

    void setRecentFiles(const QStringList& files);
    // Progress of creating the demo data; `of` 0 ends it.
    void setProgress(int done, int of);
    void setProblem(const QString& problem);

signals:
    void openWanted();
    void demoWanted();
    void fileWanted(const QString& path);

private:
    void makeColumn();
    void putInTheMiddle();
    QPushButton* makeButton(const char* name, const QString& text, const QString& about);

    QVBoxLayout* column;
    QVBoxLayout* recent;
    QLabel* recentTitle;
    QLabel* problemLabel;
    QProgressBar* progress;
    QPushButton* demoButton;
};

} // namespace ombrel::workbench
