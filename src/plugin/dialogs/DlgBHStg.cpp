#include "dialogs/DlgBHStg.h"

#include "dialogs/QMyFileDialog.h"
#include "dialogs/Windows.h"
#include "filters/BHFilter.h"
#include "ui_DlgBHStg.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QInputDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QUrl>

namespace PluginOmbrel {

namespace {

enum Column { COLUMN_NAME, COLUMN_THICKNESS, COLUMN_TIME };

constexpr double newThickness = 1.0;
constexpr const char* configFilter = "BH Config (*.xml)";

std::unique_ptr<QTableWidgetItem> cell(const QString& text) {
    return std::make_unique<QTableWidgetItem>(text);
}

QString numberText(double value) {
    return QString::number(value, 'g', 6);
}

// Their editors pass drops on to the window: a text field would insert the file names as text.
class MaskCells : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override {
        QWidget* const editor = QStyledItemDelegate::createEditor(parent, option, index);
        editor->setAcceptDrops(false);
        return editor;
    }
};

// The size policy of a widget that may be wider than its content needs, but not narrower, in spite of its own
// minimum width.
class WholeContent : public QWidgetItem {
public:
    using QWidgetItem::QWidgetItem;

    QSize minimumSize() const override {
        return QWidgetItem::minimumSize().expandedTo(wid->minimumSizeHint());
    }
};

} // namespace

DlgBHStg::DlgBHStg(QWidget* parent, BHFilter* bhFilter, zt::IZenteo* zenteo)
    : QWidget(parent), ui(std::make_unique<Ui_DlgBHStg>()), filter(bhFilter),
      filterLife(bhFilter->lifetime()), host(zenteo) {
    ui->setupUi(this);
    ui->twMasks->setItemDelegate(std::make_unique<MaskCells>(ui->twMasks).release());
    // The buttons under the table never elide their texts.
    std::unique_ptr<QLayoutItem>{ui->horizontalLayout_2->takeAt(0)}.reset();
    ui->horizontalLayout_2->insertItem(0, std::make_unique<WholeContent>(ui->widget_3).release());
    connect(ui->twMasks, SIGNAL(cellChanged(int, int)), this, SLOT(onMaskCellChanged(int, int)));
}

DlgBHStg::~DlgBHStg() {
    if (hasFilter() && filter->configDialog == this) {
        filter->configDialog = nullptr;
        filter->leaveConfigDialog = nullptr;
    }
}

void DlgBHStg::showDialog() {
    finishEdit();
    loadMasks();
    ui->chbInterpolate->setChecked(filter->isInterpolateBadPixelsEnabled());
    ui->chbZeroPixels->setChecked(filter->isUseZeroPixelsAsBadEnabled());
    show();
    activateWindow();
}

void DlgBHStg::letGo() {
    if (canShowWindows()) {
        for (QDialog* const question : findChildren<QDialog*>())
            question->reject(); // it would be disabled with the window, and could never close
        hide();
        setEnabled(false);
    }
    filterLife.reset();
}

void DlgBHStg::loadMasks() {
    const QSignalBlocker blocker(ui->twMasks);
    ui->twMasks->setRowCount(0);
    for (const auto& mask : filter->masks()) {
        const int row = ui->twMasks->rowCount();
        ui->twMasks->insertRow(row);
        showMask(row, *mask);
    }
}

void DlgBHStg::showMask(int row, const ThicknessMask& mask) {
    auto time = cell(numberText(mask.acqTime));
    // The logarithms were computed with the previous time.
    time->setFlags(time->flags().setFlag(Qt::ItemIsEditable, !mask.logarithmed));
    ui->twMasks->setItem(row, COLUMN_NAME, cell(QString::fromStdString(mask.name)).release());
    ui->twMasks->setItem(row, COLUMN_THICKNESS, cell(numberText(mask.thickness)).release());
    ui->twMasks->setItem(row, COLUMN_TIME, time.release());
}

void DlgBHStg::onMaskCellChanged(int row, int col) {
    if (!hasFilter())
        return;
    // The filter may have lost masks outside this window.
    const auto& masks = filter->masks();
    if (row < 0 || static_cast<std::size_t>(row) >= masks.size())
        return;
    ThicknessMask& mask = *masks[static_cast<std::size_t>(row)];
    const QVariant value = ui->twMasks->item(row, col)->data(Qt::DisplayRole);
    if (col == COLUMN_NAME)
        mask.name = value.toString().toStdString();
    else if (col == COLUMN_THICKNESS)
        mask.thickness = value.toDouble();
    else if (col == COLUMN_TIME)
        mask.acqTime = value.toDouble();
}

void DlgBHStg::finishEdit() {
    QItemSelectionModel& selection = *ui->twMasks->selectionModel();
    const QModelIndex current = selection.currentIndex();
    selection.clearCurrentIndex();
    selection.setCurrentIndex(current, QItemSelectionModel::NoUpdate);
}

void DlgBHStg::on_btAddFile_clicked() {
    const StillThere stillThere = both();
    const PickedFiles picked = pickFiles(this, "Add mask from file", "Frames (*.txt *.zmf)");
    if (stillThere && !picked.files.isEmpty())
        addFiles(picked.files);
}

void DlgBHStg::addFiles(QList<QString> files) {
    if (files.isEmpty())
        return;
    const StillThere stillThere = both();
    const double acqTime = acqTimeFor(files.front());
    if (!stillThere)
        return;
    if (acqTime == 0) {
        showError("Invalid acq. time", "Acquisition time must be greather that 0");
        return;
    }
    if (filter->addMaskFromFiles(nativePaths(files), newThickness, acqTime) == 0)
        loadMasks();
    else
        showError("Error loading mask", "Could not load the mask");
}

double DlgBHStg::acqTimeFor(const QString& firstFile) {
    if (host->dataMgr()->isFrameFile(firstFile.toUtf8().constData()))
        return BHFilter::AUTO;
    return QInputDialog::getDouble(this, "Acquisition time", "Please enter acquisition frame of the mask",
                                   0.0, 0.0, 2147483647.0, 1, nullptr, {}, 1.0);
}

void DlgBHStg::showError(const QString& title, const QString& text) {
    ModalWindow<QMessageBox>(QMessageBox::Critical, title, text, QMessageBox::Ok, this).exec();
}

void DlgBHStg::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void DlgBHStg::dropEvent(QDropEvent* event) {
    if (!event->mimeData()->hasUrls() || !hasFilter())
        return;
    event->accept();
    finishEdit();
    QList<QString> files;
    for (const QUrl& url : event->mimeData()->urls())
        files << url.toLocalFile();
    addFiles(files);
}

// The filter may ask which sub-frame to use.
void DlgBHStg::on_btAddMeas_clicked() {
    const StillThere stillThere = both();
    filter->addMaskFromAcqData(newThickness);
    if (stillThere)
        loadMasks();
}

void DlgBHStg::on_btRemove_clicked() {
    const StillThere stillThere = both();
    // Without a current row the index exceeds all masks, and the filter refuses it.
    if (filter->removeMask(static_cast<unsigned int>(ui->twMasks->currentRow())) != 0)
        showError("Cannot remove", "Cannot remove row");
    if (stillThere)
        loadMasks();
}

void DlgBHStg::on_btRemoveAll_clicked() {
    filter->removeAllMasks();
    loadMasks();
}

void DlgBHStg::on_btLoadBH_clicked() {
    const StillThere stillThere = both();
    const QString path = QMyFileDialog::getOpenFileName(nullptr, "Load BH config", QLastDir("bh/load").dir,
                                                        configFilter, nullptr, {});
    if (!stillThere || path.isEmpty())
        return;
    zt::ISettings* const store = host->createSettings(path.toUtf8().constData(), 1);
    store->load();
    filter->loadFromSettings(store);
    store->destroy();
    loadMasks();
}

void DlgBHStg::on_btSaveBH_clicked() {
    const StillThere stillThere = both();
    const QString path = QMyFileDialog::getSaveFileName(nullptr, "Save BH config", QLastDir("bh/save").dir,
                                                        configFilter, nullptr, {}, {});
    if (!stillThere || path.isEmpty())
        return;
    zt::ISettings* const store = host->createSettings(path.toUtf8().constData(), 1);
    filter->saveToSettings(store);
    store->save();
    store->destroy();
}

void DlgBHStg::on_btLoadBadPixels_clicked() {
    const StillThere stillThere = both();
    const QString path = QMyFileDialog::getOpenFileName(
        nullptr, "Load Bad Pixels", QLastDir("bh/badpixload").dir, "Data Files (*.txt *.zmf)", nullptr, {});
    if (stillThere && !path.isEmpty())
        filter->loadBadPixelsFromFile(path.toUtf8().constData());
}

void DlgBHStg::on_btSaveBadPixels_clicked() {
    const StillThere stillThere = both();
    const QString path = QMyFileDialog::getSaveFileName(
        nullptr, "Load Bad Pixels", QLastDir("bh/badpixsave").dir, "ASCII Matrix (*.txt)", nullptr, {}, {});
    if (stillThere && !path.isEmpty())
        filter->saveBadPixelsToFile(path.toUtf8().constData());
}

void DlgBHStg::on_chbInterpolate_clicked() {
    filter->setInterpolateBadPixelsEnabled(ui->chbInterpolate->isChecked());
}

void DlgBHStg::on_chbZeroPixels_clicked() {
    filter->setUseZeroPixelsAsBad(ui->chbZeroPixels->isChecked());
}

void DlgBHStg::on_chbTDI_clicked() {
    filter->setTDI(ui->chbTDI->isChecked());
}

void DlgBHStg::on_btClose_clicked() {
    close();
}

void DlgBHStg::closeEvent(QCloseEvent* event) {
    if (isVisible() && hasFilter()) {
        finishEdit();
        filter->sortMasks();
        filter->saveToSettingsFile();
    }
    QWidget::closeEvent(event);
}

} // namespace PluginOmbrel
