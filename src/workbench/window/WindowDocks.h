#pragma once

#include <QByteArray>

#include <vector>

class QDockWidget;
class QMainWindow;
class QWidget;

namespace ombrel::workbench {

// The docks around the frames, and where they stand.
class WindowDocks {
public:
    struct Contents {
        QWidget* chain;
        QWidget* parameters;
        QWidget* figures;
        QWidget* batch;
        QWidget* log;
    };

    // The window owns the docks, and they own their contents.
    WindowDocks(QMainWindow& owner, const Contents& contents);

    const std::vector<QDockWidget*>& all() const { return docks; }
    void setVisible(bool areVisible);
    void raiseBatch();
    // As the window's saved state has them, else where they stand at first. They must be visible.
    void layOut(const QByteArray& saved);

private:
    enum Place { CHAIN, PARAMETERS, FIGURES, BATCH, LOG };

    void add(const char* name, const char* title, QWidget* content, Qt::DockWidgetArea area);

    QMainWindow& window;
    std::vector<QDockWidget*> docks; // in the order of their places
};

} // namespace ombrel::workbench
