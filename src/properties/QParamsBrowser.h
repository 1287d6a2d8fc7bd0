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
    // first. Null is ignored.
    void setParams(zt::IParamMgr* params);

    // The following functions need a manager.

    // Rebuilds all rows, including those of parameters added since.
    void loadParams();
    // Updates a row from its parameter, and writes nothing back. Parameters of 64-bit integers are skipped:
    // only loadParams() updates them.
    void refreshParam(zt::IParam* param);
    void refreshParams();

public slots:
    // Writes the value of the row to its parameter, unless the parameter was removed or is read-only.
    void userChangedData(QProperty* property);

protected:
    // Keyboard focus enters the value column, since no key moves there from the names.
    void focusInEvent(QFocusEvent* event) override;

private:
    zt::IParamMgr* manager = nullptr;
    QPropertyModel* propertyModel;
};
