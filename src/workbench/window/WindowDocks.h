#pragma once

#include <QByteArray>

#include <vector>

class QDockWidget;
class QMainWindow;
class QWidget;

namespace ombrel::workbench {

// The docks around the frames, and their layout.
class WindowDocks {
public:
    struct Contents {
        QWidget* chain;
        QWidget* parameters;
        QWidget* figures;
        QWidget* batch;
        QWidget* flats;
        QWidget* log;
    };

    // The window owns the docks, and they own their contents.
    WindowDocks(QMainWindow& owner, const Contents& contents);

    const std::vector<QDockWidget*>& all() const { return docks; }
    void setVisible(bool areVisible);
    void raiseBatch();
    void raiseFlats();
    // Restores the window's saved layout, else applies the default. The docks must be visible.
    void layOut(const QByteArray& saved);

private:
    enum Place { CHAIN, PARAMETERS, FIGURES, BATCH, LOG, FLATS };

    void add(const char* name, const char* title, QWidget* content, Qt::DockWidgetArea area);

    QMainWindow& window;
    std::vector<QDockWidget*> docks; // indexed by Place
};

} // namespace ombrel::workbench
