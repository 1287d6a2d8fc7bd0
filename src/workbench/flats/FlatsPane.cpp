#include "flats/FlatsPane.h"

#include "inspection/InspectionPage.h"
#include "panes/Look.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>
#include <utility>

namespace ombrel::workbench {

namespace {

constexpr int thumbnailSide = 48;
constexpr int leastPicture = 120;

enum Column { PICTURE, FLAT_FILE, FRAME, LEVEL, STRUCTURE, VERDICT, COLUMNS };

QTableWidgetItem* newItem(const QString& text, bool isNumber = false) {
    auto* const item = std::make_unique<QTableWidgetItem>(text).release();
    if (isNumber)
        item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return item;
}

QString levelText(const FieldVerdict& field) {
    return QString("%1 (%2 %)").arg(field.level, 0, 'g', 6).arg(100 * field.relativeLevel, 0, 'f', 2);
}

} // namespace

FlatsPane::FlatsPane(Console& console, std::string pluginPath, QWidget* parent)
    : QWidget(parent), plugin(std::move(pluginPath)), table(newChild<QTableWidget>(0, COLUMNS)),
      summary(newChild<QLabel>("No flat fields judged yet: File, Calibrate flat field\u2026")),
      picture(newChild<QLabel>()), job(console) {
    table->setObjectName("tbFlats");
    table->setHorizontalHeaderLabels({"", "File", "Frame", "Level (of median)", "Sigma", "Verdict"});
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setIconSize({thumbnailSide, thumbnailSide});
    table->verticalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    summary->setObjectName("lbFlats");
    summary->setTextFormat(Qt::PlainText);
    picture->setObjectName("lbFlat");
    picture->setMinimumSize(leastPicture, leastPicture);
    picture->setAlignment(Qt::AlignCenter);
    auto* const row = newChild<QHBoxLayout>();
    row->addWidget(table, 3);
    row->addWidget(picture, 1);
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->addWidget(summary);
    layout->addLayout(row, 1);
    connect(table, &QTableWidget::currentCellChanged, this, [this](int current) { choose(current); });
    connect(&job, &CalibrationJob::inspected, this, &FlatsPane::show);
    connect(&job, &CalibrationJob::flatRead, this, &FlatsPane::showFlat);
    connect(&job, &CalibrationJob::idle, this, &FlatsPane::chooseNext);
    connect(&job, &CalibrationJob::calibrated, this, &FlatsPane::calibrated);
    connect(&job, &CalibrationJob::failed, this, [this](const QString& reason) {
        summary->setText(reason);
        emit logged("Calibration: " + reason);
    });
}

void FlatsPane::ask(const std::vector<std::string>& open) {
    const QString first = open.empty() ? QString() : QString::fromStdString(open.front());
    const QStringList files = QFileDialog::getOpenFileNames(this, "Flat fields", first, frameFileFilter());
    if (files.isEmpty())
        return;
    const QFileInfo file(files.front());
    const QString output = QFileDialog::getSaveFileName(
        this, "Settings of Flat-Field", file.path() + "/" + file.completeBaseName() + "-flat-field.xml",
        "Settings (*.xml)");
    if (output.isEmpty())
        return;
    std::vector<std::string> flats;
    for (const QString& path : files)
        flats.push_back(path.toStdString());
    calibrate(flats, output.toStdString());
}

void FlatsPane::calibrate(const std::vector<std::string>& flats, const std::string& output) {
    FlatFieldOptions options;
    options.inputs = flats;
    options.output = output;
    options.force = true; // the dialog has asked
    options.plugin = plugin;
    if (job.isRunning())
        return emit logged("Calibration: another one is still running");
    summary->setText("Reading the flat fields\u2026");
    job.calibrate(options);
}

void FlatsPane::show(const std::vector<InspectionReport>& inspection) {
    reports = inspection;
    rows.clear();
    chosen.reset();
    isRowWaiting = false;
    shown = {};
    picture->clear();
    table->setRowCount(0);
    QStringList texts;
    for (std::size_t set = 0; set < reports.size(); ++set) {
        texts << QString("%1: %2 of %3 good")
                     .arg(QString::fromStdString(reports[set].name))
                     .arg(reports[set].goodCount())
                     .arg(reports[set].fields.size());
        addSet(set);
    }
    table->resizeColumnsToContents();
    table->setColumnWidth(PICTURE, thumbnailSide + 8);
    summary->setText(texts.join("; "));
    emit inspected();
}

void FlatsPane::addSet(std::size_t set) {
    const InspectionReport& report = reports[set];
    const std::vector<double> mean = meanThumbnail(report);
    for (std::size_t i = 0; i < report.fields.size(); ++i) {
        const FieldVerdict& field = report.fields[i];
        const int row = table->rowCount();
        table->insertRow(row);
        table->setRowHeight(row, thumbnailSide + 4);
        auto* const thumbnail = newItem({});
        thumbnail->setIcon(QIcon(QPixmap::fromImage(thumbnailPicture(report, field, mean))));
        table->setItem(row, PICTURE, thumbnail);
        table->setItem(row, FLAT_FILE,
                       newItem(QFileInfo(QString::fromStdString(field.place.file)).fileName()));
        table->setItem(row, FRAME, newItem(QString::number(field.place.frame), true));
        table->setItem(row, LEVEL, newItem(levelText(field), true));
        table->setItem(
            row, STRUCTURE,
            newItem(field.structure ? QString::number(std::abs(*field.structure), 'f', 1) : QString(), true));
        const bool isGood = field.verdict == Verdict::Good;
        table->setItem(row, VERDICT, newItem(isGood ? "good" : QString::fromStdString(field.reason)));
        if (!isGood)
            table->item(row, VERDICT)->setForeground(QColor(0xc6, 0x28, 0x28));
        rows.push_back({set, i});
    }
}

void FlatsPane::choose(int row) {
    if (row < 0 || static_cast<std::size_t>(row) >= rows.size())
        return;
    const Row wanted = rows[static_cast<std::size_t>(row)];
    if (job.isRunning()) {
        isRowWaiting = true;
        return;
    }
    chosen = wanted;
    const InspectionReport& report = reports[wanted.set];
    job.readFlat(report.fields[wanted.field].place, report.areDarks);
}

void FlatsPane::chooseNext() {
    if (std::exchange(isRowWaiting, false))
        choose(table->currentRow());
}

void FlatsPane::showFlat(const QImage& frame) {
    if (!chosen)
        return;
    shown = frame;
    const FieldVerdict& field = reports[chosen->set].fields[chosen->field];
    if (field.verdict == Verdict::Structure) {
        QPainter painter(&shown);
        painter.setPen(QPen(QColor(255, 40, 40), std::max(1, frame.width() / 256)));
        const Region& tile = field.worstTile;
        painter.drawRect(static_cast<int>(tile.x), static_cast<int>(tile.y), static_cast<int>(tile.width) - 1,
                         static_cast<int>(tile.height) - 1);
    }
    picture->setToolTip(QString::fromStdString(field.place.text()));
    fitPicture();
}

void FlatsPane::fitPicture() {
    if (!shown.isNull())
        picture->setPixmap(QPixmap::fromImage(shown).scaled(picture->size(), Qt::KeepAspectRatio));
}

void FlatsPane::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    fitPicture();
}

} // namespace ombrel::workbench
