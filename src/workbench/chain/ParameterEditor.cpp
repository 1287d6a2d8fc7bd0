#include "chain/ParameterEditor.h"

#include "chain/ParameterPane.h"
#include "host/Param.h"
#include "panes/Look.h"
#include "properties/QParamsBrowser.h"
#include "properties/QPropertyModel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr int mostOfChanges = 120; // pixels of height; a longer list scrolls

} // namespace

ParameterEditor::ParameterEditor(Workspace& model, QWidget* parent)
    : QWidget(parent), workspace(model), place(newChild<QVBoxLayout>(this)), text(newChild<QLabel>()),
      changes(newChild<QWidget>()), changesArea(newChild<QScrollArea>()), state(newChild<QLabel>()) {
    place->setContentsMargins(4, 4, 4, 4);
    place->addWidget(text, 1);
    place->addWidget(changesArea);
    place->addWidget(state);
    newChild<QVBoxLayout>(changes)->setContentsMargins({});
    changes->layout()->setSpacing(2);
    changesArea->setWidget(changes);
    changesArea->setWidgetResizable(true);
    changesArea->setFrameShape(QFrame::NoFrame);
    changesArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    text->setObjectName("lbNoParameters");
    text->setWordWrap(true);
    text->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    secondaryText(*text);
    text->setMargin(4);
    state->setObjectName("lbEdit");
    state->setTextFormat(Qt::PlainText);
    state->setWordWrap(true);
    connect(&workspace, &Workspace::chosenLinkChanged, this, &ParameterEditor::showChosen);
    connect(&workspace, &Workspace::chainChanged, this, &ParameterEditor::showChanges);
    showChosen();
}

// The browser must end before the parameters that it shows.
ParameterEditor::~ParameterEditor() {
    std::unique_ptr<QWidget>{browser}.reset();
}

const LinkReport* ParameterEditor::currentReport() const {
    const auto found = reports.find(workspace.chosenLink());
    return found == reports.end() ? nullptr : &found->second;
}

void ParameterEditor::report(const LinkReport& report) {
    reports[report.id] = report;
    if (report.id != workspace.chosenLink())
        return;
    if (report.id != shownLink || report.revision != shownRevision)
        showChosen();
    else
        showState(report);
}

void ParameterEditor::showText(const QString& words) {
    text->setText(words);
    text->setVisible(!words.isEmpty());
}

void ParameterEditor::showChosen() {
    std::unique_ptr<QWidget>{browser}.reset();
    browser = nullptr;
    params.reset();
    original.clear();
    shownLink = 0;
    state->clear();
    const LinkState* const link = workspace.chain().find(workspace.chosenLink());
    const LinkReport* const report = currentReport();
    if (!link)
        showText("Choose a filter of the chain to see its parameters.");
    else if (!report)
        showText("The filter is being loaded \u2026");
    else if (report->params.empty())
        showText(report->hasWindow
                     ? "This filter has no parameters: \u201cConfigure\u2026\u201d opens its settings."
                     : "No parameters yet: load settings from a file with \u201cLoad\u2026\u201d.");
    else
        makeBrowser(*report, *link);
    showChanges();
    if (report)
        showState(*report);
}

void ParameterEditor::makeBrowser(const LinkReport& report, const LinkState& link) {
    showText({});
    shownLink = report.id;
    shownRevision = report.revision;
    params = std::make_unique<ParamMgr>();
    isFilling = true;
    for (const ParamCopy& copy : report.params) {
        const int flags = copy.isReadOnly ? zt::PARAM_CREATE_READ_ONLY : zt::PARAM_CREATE_EDITABLE;
        Param& param =
            params->create({copy.name, copy.description, &ParameterEditor::edited, this, flags}, copy.value);
        param.setAliases(copy.aliases);
        original[copy.name] = textOf(param);
        if (const auto edit = link.params.find(copy.name); edit != link.params.end())
            setParamFromText(param, edit->second);
    }
    isFilling = false;
    browser = newChild<QParamsBrowser>(this);
    fitToPalette(*browser);
    browser->setParams(params.get());
    browser->setColumnHidden(PropertyColumn::Description, true); // shown as a tool tip
    browser->setRootIsDecorated(false);                          // the list is flat
    browser->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    browser->header()->setSectionResizeMode(PropertyColumn::Value, QHeaderView::Stretch);
    browser->resizeColumnToContents(PropertyColumn::Name);
    place->insertWidget(0, browser, 1);
}

int ParameterEditor::edited(zt::IParam* param, bool, long self) {
    auto& editor = *reinterpret_cast<ParameterEditor*>(self);
    if (editor.isFilling)
        return 0;
    const std::string value = textOf(*param);
    if (value == editor.original[param->name()])
        editor.workspace.takeBackParam(editor.shownLink, param->name());
    else
        editor.workspace.setParam(editor.shownLink, param->name(), value);
    return 0;
}

void ParameterEditor::showChanges() {
    for (QWidget* const row : changes->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
        row->hide();
        row->deleteLater(); // its own button may have sent this
    }
    const LinkState* const link = workspace.chain().find(shownLink);
    changesArea->setVisible(link && !link->params.empty());
    if (!link)
        return;
    for (const auto& [name, value] : link->params)
        addChange(name, QString::fromStdString(original[name]), QString::fromStdString(value));
    changesArea->setFixedHeight(std::min(changes->sizeHint().height(), mostOfChanges));
}

void ParameterEditor::addChange(const std::string& name, const QString& before, const QString& after) {
    auto* const row = newChild<QWidget>();
    auto* const layout = newChild<QHBoxLayout>(row);
    layout->setContentsMargins({});
    auto* const label =
        newChild<QLabel>(QString("%1: %2 \u2192 %3").arg(QString::fromStdString(name), before, after));
    label->setTextFormat(Qt::PlainText);
    auto* const button = newChild<QToolButton>();
    button->setObjectName("btTakeBack");
    button->setText("Take back");
    layout->addWidget(label, 1);
    layout->addWidget(button);
    connect(button, &QToolButton::clicked, this, [this, name] { takeBack(name); });
    changes->layout()->addWidget(row);
    row->show(); // otherwise it has no size yet
}

void ParameterEditor::takeBack(const std::string& name) {
    if (zt::IParam* const param = params->param(name.c_str())) {
        isFilling = true;
        setParamFromText(*param, original[name]);
        isFilling = false;
        browser->refreshParam(param);
    }
    workspace.takeBackParam(shownLink, name);
}

void ParameterEditor::showState(const LinkReport& report) {
    const std::string& trouble = report.failure.empty() ? report.editTrouble : report.failure;
    QString words = QString::fromStdString(trouble).trimmed();
    if (words.isEmpty() && report.isEdited)
        words = QString("Applied in %1 ms.").arg(1000 * report.editSeconds, 0, 'f', 0);
    state->setText(words);
    state->setVisible(!words.isEmpty());
}

} // namespace ombrel::workbench
