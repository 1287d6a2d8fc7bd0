#include "window/StartPage.h"

#include "panes/Look.h"
#include "window/StackOpener.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace ombrel::workbench {

namespace {

constexpr int columnWidth = 460;

QLabel* makeLabel(const QString& text, double size) {
    auto* const label = newChild<QLabel>(text);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * size);
    label->setFont(font);
    label->setWordWrap(true);
    return label;
}

} // namespace

StartPage::StartPage(QWidget* parent)
    : QWidget(parent), column(newChild<QVBoxLayout>()), recent(newChild<QVBoxLayout>()),
      recentTitle(makeLabel("Recent files", 1)), problemLabel(makeLabel({}, 1)),
      progress(newChild<QProgressBar>()), demoButton(nullptr) {
    makeColumn();
    putInTheMiddle();
    setProgress(0, 0);
    setProblem({});
    setRecentFiles({});
    connect(findChild<QPushButton*>("btOpen"), &QPushButton::clicked, this, &StartPage::openWanted);
    connect(demoButton, &QPushButton::clicked, this, &StartPage::demoWanted);
}

void StartPage::makeColumn() {
    column->setSpacing(10);
    column->addWidget(makeLabel("ombrel", 2.6));
    column->addWidget(
        makeLabel("Open frames of a pixel detector, put filters into the chain, and see each frame "
                  "before and after it.",
                  1.05));
    column->addSpacing(10);
    column->addWidget(
        makeButton("btOpen", "&Open frames\u2026", "HDF5 or TIFF (Ctrl+O), or drop the files here"));
    demoButton = makeButton("btDemo", "Open the &demo data",
                            "A hundred frames of a simulated detector, with a flat-field correction");
    column->addWidget(demoButton);
    column->addWidget(progress);
    problemLabel->setObjectName("lbProblem");
    problemLabel->setTextFormat(Qt::PlainText);
    column->addWidget(problemLabel);
    secondaryText(*recentTitle);
    column->addSpacing(6);
    column->addWidget(recentTitle);
    column->addLayout(recent);
    recent->setSpacing(0);
}

void StartPage::putInTheMiddle() {
    auto* const middle = newChild<QWidget>();
    middle->setFixedWidth(columnWidth);
    middle->setLayout(column);
    auto* const row = newChild<QHBoxLayout>();
    row->addStretch(1);
    row->addWidget(middle);
    row->addStretch(1);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->addStretch(2);
    layout->addLayout(row);
    layout->addStretch(3);
}

QPushButton* StartPage::makeButton(const char* name, const QString& text, const QString& about) {
    auto* const button = newChild<QPushButton>();
    button->setObjectName(name);
    button->setAccessibleName(QString(text).remove('&'));
    auto* const lines = newChild<QVBoxLayout>(button);
    QLabel* const title = makeLabel(text, 1.15);
    QLabel* const small = makeLabel(about, 0.92);
    title->setBuddy(button);
    secondaryText(*small);
    lines->setContentsMargins(14, 8, 14, 8);
    lines->setSpacing(1);
    for (QLabel* const label : {title, small}) {
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        label->setWordWrap(false);
        lines->addWidget(label);
    }
    button->setMinimumHeight(lines->sizeHint().height());
    return button;
}

void StartPage::setRecentFiles(const QStringList& files) {
    while (QLayoutItem* const item = recent->takeAt(0)) {
        item->widget()->deleteLater();
        std::unique_ptr<QLayoutItem>{item}.reset();
    }
    recentTitle->setVisible(!files.isEmpty());
    for (const QString& file : files) {
        const auto isNamesake = [&](const QString& other) { return shortName(other) == shortName(file); };
        QString text = shortName(file);
        if (std::ranges::count_if(files, isNamesake) > 1)
            text += " \u2013 " + QFileInfo(filePart(file)).path();
        auto* const button = newChild<QPushButton>();
        button->setText(
            button->fontMetrics().elidedText(text, Qt::ElideMiddle, columnWidth - 12).replace("&", "&&"));
        button->setObjectName("btRecent");
        button->setFlat(true);
        button->setToolTip(file);
        button->setStyleSheet("text-align: left; padding: 4px");
        button->setCursor(Qt::PointingHandCursor);
        recent->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, file] { emit fileWanted(file); });
    }
}

void StartPage::setProgress(int done, int of) {
    progress->setVisible(of != 0);
    progress->setRange(0, of);
    progress->setValue(done);
    progress->setFormat("Simulating a detector: %p %");
    demoButton->setEnabled(of == 0);
}

void StartPage::setProblem(const QString& problem) {
    problemLabel->setText(problem);
    problemLabel->setVisible(!problem.isEmpty());
}

} // namespace ombrel::workbench
