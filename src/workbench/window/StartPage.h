#pragma once

#include <QStringList>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace ombrel::workbench {

// What the window shows before anything is open: ways to open something.
class StartPage final : public QWidget {
    Q_OBJECT
public:
    explicit StartPage(QWidget* parent = nullptr);

    void setRecentFiles(const QStringList& files);
    // While the demo data is made; `of` 0 ends it.
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
