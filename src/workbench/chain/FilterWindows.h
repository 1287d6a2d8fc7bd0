#pragma once

#include "zt/IDataFilter.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <vector>

namespace ombrel::workbench {

// The windows in which a user sets one filter: its own, or one for its parameters when it has none. A filter
// need not own its windows, which then may stand long after it: they are known as those that came up while
// the filter was asked for them. This must end before the filter.
class FilterWindows final : public QObject {
    Q_OBJECT
public:
    explicit FilterWindows(zt::IDataFilter& shownFilter) : filter(shownFilter) {}
    // Closes the windows, which makes them save what they save, and deletes them.
    ~FilterWindows() override;

    // A modal window of the filter is closed again on return. Throws Error when the filter throws.
    void show();
    bool areOpen() const;
    // Handles events until no window is open.
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
