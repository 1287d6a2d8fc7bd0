#include "properties/QParamsBrowser.h"

#include "properties/ParamRow.h"
#include "properties/QProperty.h"
#include "properties/QPropertyDelegate.h"
#include "properties/QPropertyModel.h"
#include "zt/IParam.h"
#include "zt/String.h"

#include <QFocusEvent>

#include <algorithm>

QParamsBrowser::QParamsBrowser(QWidget* parent)
    : QPropertyTreeView(parent), propertyModel(new QPropertyModel(this)) {
    propertyModel->setShowDescription(true);
    connect(propertyModel, SIGNAL(onDataChangedByEditor(QProperty*)), this,
            SLOT(userChangedData(QProperty*)));
    setAlternatingRowColors(false); // the delegate colours the rows
    setItemDelegate(new CustomDelegate(this));
}

QParamsBrowser::~QParamsBrowser() = default;

void QParamsBrowser::setParams(zt::IParamMgr* params) {
    if (!params)
        return;
    manager = params;
    loadParams();
}

void QParamsBrowser::loadParams() {
    propertyModel->clear();
    zt::PtrList<zt::IParam*> params;
    manager->params(&params);
    for (const zt::IParam* param : params.vect()) {
        const QString name = QString::fromUtf8(param->name());
        propertyModel->addProperty(makeParamRow(*param).release(), name, {}, true);
    }
    setModel(propertyModel);
}

void QParamsBrowser::refreshParam(zt::IParam* param) {
    QProperty* const row = propertyModel->getProperty(QString::fromUtf8(param->name()));
    if (row && refreshParamRow(*row, *param))
        propertyModel->onDataChangedByModel(row);
}

void QParamsBrowser::refreshParams() {
    zt::PtrList<zt::IParam*> params;
    manager->params(&params);
    for (zt::IParam* param : params.vect())
        refreshParam(param);
}

void QParamsBrowser::userChangedData(QProperty* property) {
    zt::IParam* const param = manager->param(property->getName().toUtf8().constData());
    if (param)
        writeParam(*property, *param);
}

void QParamsBrowser::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    const bool isByKey =
        reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason;
    const QModelIndex current = currentIndex();
    if (isByKey && model() && current.column() != PropertyColumn::Value)
        setCurrentIndex(model()->index(std::max(0, current.row()), PropertyColumn::Value));
    QPropertyTreeView::focusInEvent(event);
}
