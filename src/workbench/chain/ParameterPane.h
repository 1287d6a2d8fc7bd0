#pragma once

#include "zt/IParam.h"

#include <QWidget>

#include <string>
#include <vector>

class QLabel;
class QParamsBrowser;
class QProperty;

namespace ombrel::workbench {

// The browser's rows are light in every palette. In a dark one they get the palette's own colours here.
void fitToPalette(QParamsBrowser& browser);

// The parameters of a filter for editing, over a bar that says what the last change did: the value before and
// after, and that the engine restarted with it, or what the filter logged.
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
