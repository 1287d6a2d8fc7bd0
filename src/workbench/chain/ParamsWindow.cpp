#include "chain/ParamsWindow.h"

#include "chain/ParameterPane.h"
#include "host/Session.h"
#include "panes/NewChild.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace ombrel::workbench {

namespace {

constexpr QSize paneSize(640, 420);

QWidget* paneOf(zt::IParamMgr& parameters, QWidget* parent) {
    auto* const pane = newChild<ParameterPane>(parameters, parent);
    pane->setMinimumSize(paneSize / 2);
    return pane;
}

QWidget* nothingToSet(const QString& filterName, QWidget* parent) {
    auto* const text = newChild<QLabel>(filterName + " has no parameters: there is nothing to set.", parent);
    text->setMargin(text->fontMetrics().height());
    return text;
}

} // namespace

bool hasParameters(const zt::IDataFilter& filter) {
    return filter.parameters() && filter.parameters()->paramCount() > 0;
}

ParamsWindow::ParamsWindow(const zt::IDataFilter& filter) {
    const QString name = QString::fromStdString(filterName(filter));
    const bool isEditable = hasParameters(filter);

    setObjectName("ParamsWindow");
    setWindowTitle(name + " Settings");
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->addWidget(isEditable ? paneOf(*filter.parameters(), this) : nothingToSet(name, this));
    auto* const buttons = newChild<QDialogButtonBox>(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    layout->addWidget(buttons);
    if (isEditable)
        resize(paneSize);
}

} // namespace ombrel::workbench
