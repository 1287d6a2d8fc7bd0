#pragma once

#include "zt/IParam.h"

#include <QWidget>

#include <string>
#include <vector>

class QLabel;
class QParamsBrowser;
class QProperty;

namespace ombrel::workbench {

// The browser's rows have light fixed colours. In a dark palette this replaces them by the palette's colours.
void fitToPalette(QParamsBrowser& browser);

// Edits the parameters of a filter. A bar below reports the last change: the values before and after, and the
// time of the engine's restart, or what the filter logged.
class ParameterPane final : public QWidget {
    Q_OBJECT

public:
    // The manager must outlive the pane.
    explicit ParameterPane(zt::IParamMgr& managerOfFilter, QWidget* parent = nullptr);

private:
    QWidget* makeBar();
    void write(QProperty* row);
    void report(const QString& change, const std::vector<std::string>& logged, qint64 milliseconds);

    zt::IParamMgr& parameters;
    QParamsBrowser* browser;
    QLabel* sign;
    QLabel* message;
};

} // namespace ombrel::workbench
