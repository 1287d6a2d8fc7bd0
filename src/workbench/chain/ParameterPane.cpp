#include "chain/ParameterPane.h"

#include "host/Host.h"
#include "panes/Look.h"
#include "properties/QParamsBrowser.h"
#include "properties/QPropertyDelegate.h"
#include "properties/QPropertyModel.h"
#include "zt/String.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr int valueWidth = 180;

// Restarting the engine may read a whole calibration again.
struct BusyCursor {
    BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;
};

QString valueOf(const zt::IParam& param) {
    const bool isChoice = param.flags() & zt::PARAM_HAS_ALIASES;
    const std::string value = isChoice ? param.getAliasValue() : param.getString();
    return value.empty() ? "(empty)" : QString::fromStdString(value);
}

QString textOfChange(const QString& name, const QString& before, const QString& after) {
    if (before == after)
        return QString("%1 is still %2").arg(name, after);
    return QString("%1: %2 \u2192 %3").arg(name, before, after);
}

const char* invitation(const zt::IParamMgr& parameters) {
    zt::PtrList<zt::IParam*> all;
    parameters.params(&all);
    const bool isAnyEditable = std::ranges::any_of(
        all.vect(), [](const auto* each) { return !(each->flags() & zt::PARAM_READ_ONLY); });
    return isAnyEditable ? "Click a value to change it. Changes apply immediately."
                         : "These values are read-only.";
}

} // namespace

void fitToPalette(QParamsBrowser& browser) {
    if (browser.palette().color(QPalette::Base).lightnessF() > 0.5f)
        return;
    browser.setItemDelegate(newChild<QPropertyDelegate>(&browser));
    browser.setAlternatingRowColors(true);
}

ParameterPane::ParameterPane(zt::IParamMgr& managerOfFilter, QWidget* parent)
    : QWidget(parent), parameters(managerOfFilter), browser(newChild<QParamsBrowser>(this)),
      sign(newChild<QLabel>(this)), message(newChild<QLabel>(invitation(managerOfFilter), this)) {
    fitToPalette(*browser);
    browser->setParams(&parameters);
    browser->resizeColumnToContents(0);
    browser->setColumnWidth(1, valueWidth);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins({});
    layout->addWidget(browser);
    layout->addWidget(makeBar());

    // Edits pass through the pane, so that it can collect what the filter logs meanwhile.
    QAbstractItemModel* const model = browser->model();
    disconnect(model, SIGNAL(onDataChangedByEditor(QProperty*)), browser, SLOT(userChangedData(QProperty*)));
    connect(static_cast<QPropertyModel*>(model), &QPropertyModel::onDataChangedByEditor, this,
            &ParameterPane::write);
}

QWidget* ParameterPane::makeBar() {
    auto* const bar = newChild<QFrame>(this);
    bar->setFrameShape(QFrame::StyledPanel);
    auto* const layout = newChild<QHBoxLayout>(bar);
    layout->addWidget(sign, 0, Qt::AlignTop);
    layout->addWidget(message, 1);
    sign->hide();
    message->setObjectName("lbChange");
    message->setTextFormat(Qt::PlainText); // paths and filter texts may look like markup
    message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    message->setWordWrap(true);
    return bar;
}

void ParameterPane::write(QProperty* row) {
    const QString name = row->getName();
    const zt::IParam* const param = parameters.param(name.toUtf8().constData());
    if (!param)
        return;
    const QString before = valueOf(*param);
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    {
        const BusyCursor busy;
        browser->userChangedData(row); // runs the callback of the filter
    }
    browser->refreshParams(); // shows the value that the filter stored
    report(textOfChange(name, before, valueOf(*param)), log.lines(), timer.elapsed());
}

void ParameterPane::report(const QString& change, const std::vector<std::string>& logged,
                           qint64 milliseconds) {
    QStringList lines{change};
    if (logged.empty())
        lines << QString("Engine restarted in %1 ms.").arg(milliseconds);
    for (const std::string& line : logged)
        lines << QString::fromStdString(line);
    message->setText(lines.join('\n'));
    const auto icon = logged.empty() ? QStyle::SP_DialogApplyButton : QStyle::SP_MessageBoxWarning;
    sign->setPixmap(style()->standardIcon(icon).pixmap(style()->pixelMetric(QStyle::PM_SmallIconSize)));
    sign->setAccessibleName(logged.empty() ? "done" : "warning");
    sign->show();
}

} // namespace ombrel::workbench
