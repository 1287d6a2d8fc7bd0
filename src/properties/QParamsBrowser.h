#pragma once

#include "properties/QPropertyModel.h"

namespace zt {
class IParam;
class IParamMgr;
} // namespace zt

class QProperty;
class QPropertyModel;

// Shows every parameter of a manager as a row of name, value and description, and writes what the user edits
// back to the parameter. A parameter with alias values is a list, any other is edited by its type. The setter
// runs the parameter's callback, in which the rows may be refreshed or loaded again.
class QParamsBrowser : public QPropertyTreeView {
    Q_OBJECT

public:
    explicit QParamsBrowser(QWidget* parent = nullptr);
    ~QParamsBrowser() override;

    // Shows the parameters of this manager, which is not owned: it must outlive the browser or be replaced
    // before it ends. Null is ignored.
    void setParams(zt::IParamMgr* params);

    // What follows needs a manager.

    // Makes all rows again, also for parameters that came since.
    void loadParams();
    // Brings a row up to date with its parameter, and writes nothing back. Parameters of 64-bit integers are
    // left alone: only loadParams() brings them up to date.
    void refreshParam(zt::IParam* param);
    void refreshParams();

public slots:
    // Writes the value of the row to its parameter, unless that is gone or read-only.
    void userChangedData(QProperty* property);

protected:
    // By keyboard the value column is entered, which no key reaches from the names.
    void focusInEvent(QFocusEvent* event) override;

private:
    zt::IParamMgr* manager = nullptr;
    QPropertyModel* propertyModel;
};
