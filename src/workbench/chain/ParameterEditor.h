#pragma once

#include "model/Workspace.h"

#include <QWidget>

#include <map>
#include <memory>
#include <string>

class QLabel;
class QParamsBrowser;
class QScrollArea;
class QVBoxLayout;

namespace ombrel {
class ParamMgr;
}

namespace ombrel::workbench {

// Edits the parameters of the selected link. Edits go to the workspace; the running filter gets them there,
// and its report comes back. Every parameter that differs from its loaded value is listed below and can be
// reverted there, since merely visiting a cell may round its value.
class ParameterEditor final : public QWidget {
    Q_OBJECT
public:
    explicit ParameterEditor(Workspace& model, QWidget* parent = nullptr);
    ~ParameterEditor() override;

    void report(const LinkReport& report);

private:
    static int edited(zt::IParam* param, bool flag, long self);
    void showChosen();
    void showText(const QString& text);
    void makeBrowser(const LinkReport& report, const LinkState& link);
    void showChanges();
    void addChange(const std::string& name, const QString& before, const QString& after);
    void takeBack(const std::string& name);
    void showState(const LinkReport& report);
    const LinkReport* currentReport() const;

    Workspace& workspace;
    std::map<int, LinkReport> reports;
    std::unique_ptr<ParamMgr> params; // copies, which the browser edits
    std::map<std::string, std::string> original;
    QVBoxLayout* place;
    QParamsBrowser* browser = nullptr;
    QLabel* text;
    QWidget* changes;
    QScrollArea* changesArea;
    QLabel* state;
    int shownLink = 0;
    int shownRevision = 0;
    bool isFilling = false;
};

} // namespace ombrel::workbench
