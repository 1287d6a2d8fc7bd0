#include "workbench/ParamsWindow.h"

#include "properties/QParamsBrowser.h"
#include "standalone/cli/Session.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

#include <memory>

namespace ombrel::workbench {

namespace {

constexpr QSize browserSize(640, 420);

// A widget for its parent to own.
template <typename Widget, typename... Arguments>
Widget* newChild(Arguments&&... arguments) {
    return std::make_unique<Widget>(std::forward<Arguments>(arguments)...).release();
}

QWidget* browserOf(zt::IParamMgr& parameters, QWidget* parent) {
    auto* const browser = newChild<QParamsBrowser>(parent);
    browser->setParams(&parameters);
    browser->setMinimumSize(browserSize / 2);
    browser->resizeColumnToContents(0);
    return browser;
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
    const QString name = QString::fromStdString(cli::filterName(filter));
    const bool isEditable = hasParameters(filter);

    setObjectName("ParamsWindow");
    setWindowTitle(name + " Settings");
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->addWidget(isEditable ? browserOf(*filter.parameters(), this) : nothingToSet(name, this));
    auto* const buttons = newChild<QDialogButtonBox>(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    layout->addWidget(buttons);
    if (isEditable)
        resize(browserSize);
}

} // namespace ombrel::workbench
