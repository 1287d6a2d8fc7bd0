#pragma once

#include "zt/IDataFilter.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <vector>

namespace ombrel::workbench {

// The settings windows of one filter: its own, or a window of its parameters when it has none. A filter need
// not own its windows, and they may outlive it: they are the windows that appeared during showConfigGUI().
// This object must end before the filter.
class FilterWindows final : public QObject {
    Q_OBJECT
public:
    explicit FilterWindows(zt::IDataFilter& shownFilter) : filter(shownFilter) {}
    // Closes the windows, so that they save their settings, and deletes them.
    ~FilterWindows() override;

    // Returns after a modal window of the filter was closed. Throws Error when the filter throws.
    void show();
    bool areOpen() const;
    // Processes events until all windows are closed.
    void waitUntilClosed();

signals:
    void windowGone();

private:
    void showOwnWindow();
    void note(QWidget* window);
    bool eventFilter(QObject* window, QEvent* event) override;

    zt::IDataFilter& filter;
    std::vector<QPointer<QWidget>> windows;
};

} // namespace ombrel::workbench
