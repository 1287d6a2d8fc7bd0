#include "dialogs/DlgFFStg.h"

#include "dialogs/QMyFileDialog.h"
#include "filters/FFFilter.h"
#include "ui_DlgFFStg.h"

#include <QSignalBlocker>

namespace PluginOmbrel {

namespace {

constexpr const char* allCoeffs = "All coefficients (*.txt *.ffc *.zmf)";
constexpr const char* asciiCoeffs = "Flat-field coefficients - ASCII matrix (*.txt)";
constexpr const char* binaryCoeffs = "Flat-field coefficients - binary (*.ffc)";
constexpr const char* asciiMask = "Flat-field bad pixels mask - ASCII matrix (*.txt)";
constexpr const char* binaryMask = "Flat-field bad pixels mask - binary (*.ffm)";

// Coefficients and masks share one remembered directory.
constexpr const char* directoryKey = "ff/save";

QString joined(const QStringList& nameFilters) {
    return nameFilters.join(";;");
}

} // namespace

DlgFFStg::DlgFFStg(QWidget* parent, FFFilter* ffFilter)
    : QDialog(parent), ui(std::make_unique<Ui_DlgFFStg>()), filter(ffFilter),
      filterLife(ffFilter->lifetime()) {
    ui->setupUi(this);
    showFilterState();
}

DlgFFStg::~DlgFFStg() = default;

bool DlgFFStg::hasFilter() {
    if (filterLife.expired())
        close();
    return !filterLife.expired();
}

void DlgFFStg::showFilterState() {
    showCoeffsSource();
    showMaskName();
    ui->chbInterpolate->setChecked(filter->interpolateBadAndMaskedPixels());
    ui->chbTDI->setChecked(filter->isUsingTDI());

    const QSignalBlocker zeroPixels(ui->rbZeroPixels);
    const QSignalBlocker maskFile(ui->rbMaskFile);
    const QSignalBlocker devMask(ui->chbDevMask);
    const QSignalBlocker badFF(ui->rbBadFF);
    ui->chbDevMask->setChecked(filter->useDeviceMaskForBadPixels());
    ui->rbBadFF->setChecked(filter->useFFCoeffsForBadPixels());
    ui->rbZeroPixels->setChecked(filter->useZeroPixelsForBadPixels());
    // The filter has no switch for a file: a file is used when the other two are off.
    ui->rbMaskFile->setChecked(!filter->useFFCoeffsForBadPixels() && !filter->useZeroPixelsForBadPixels());
}

void DlgFFStg::showCoeffsSource() {
    ui->edCoeffsData->setText(QString::fromStdString(filter->coeffsSourceName));
}

void DlgFFStg::showMaskName() {
    ui->edMaskData->setText(QString::fromStdString(filter->badPixelMaskName));
}

void DlgFFStg::on_btCoeffLoad_clicked() {
    if (!hasFilter())
        return;
    const StillThere stillThere = both();
    const PickedFiles picked =
        pickFiles(this, "Load Flat-field coefficients", joined({allCoeffs, binaryCoeffs, asciiCoeffs}));
    if (!stillThere || picked.files.isEmpty())
        return;
    const bool ascii = picked.nameFilter != binaryCoeffs;
    if (filter->loadCoefficientsFromFile(nativePaths(picked.files), ascii) == 0)
        showCoeffsSource();
}

void DlgFFStg::on_btCoeffSave_clicked() {
    if (!hasFilter())
        return;
    const StillThere stillThere = both();
    QString nameFilter;
    const QString path =
        QMyFileDialog::getSaveFileName(nullptr, "Load Flat-field coefficients", QLastDir(directoryKey).dir,
                                       binaryCoeffs, &nameFilter, {}, {});
    if (!stillThere || path.isEmpty())
        return;
    const bool ascii = nameFilter != binaryCoeffs;
    filter->saveCoefficientsToFile(path.toUtf8().constData(), ascii);
}

void DlgFFStg::on_btCoeffAllFrames_clicked() {
    takeAcquisition(true);
}

void DlgFFStg::on_btCoeffLastFrame_clicked() {
    takeAcquisition(false);
}

// The filter may ask which sub-frame to use.
void DlgFFStg::takeAcquisition(bool allFrames) {
    if (!hasFilter())
        return;
    const StillThere stillThere = both();
    if (filter->loadCoefficientsFromAcquisition(allFrames) == 0 && stillThere)
        showCoeffsSource();
}

void DlgFFStg::on_chbInterpolate_clicked() {
    if (hasFilter())
        filter->setInterpolateBadMaskedPixels(ui->chbInterpolate->isChecked());
}

void DlgFFStg::on_chbDevMask_clicked() {
    if (!hasFilter())
        return;
    filter->setUseDeviceMaskForBadPixels(ui->chbDevMask->isChecked());
    showMaskName();
}

void DlgFFStg::on_chbTDI_clicked() {
    if (hasFilter())
        filter->useTDI(ui->chbTDI->isChecked());
}

void DlgFFStg::on_rbBadFF_clicked() {
    if (!hasFilter())
        return;
    filter->setUseFFCoeffsForBadPixels(ui->rbBadFF->isChecked());
    showMaskName();
}

// A cancel only moves the selection to "Bad in FF": the filter keeps its source, which the field still shows.
void DlgFFStg::on_rbMaskFile_clicked() {
    if (!hasFilter())
        return;
    const StillThere stillThere = both();
    QString nameFilter;
    const QString path =
        QMyFileDialog::getOpenFileName(nullptr, "Load Flat-field bad pixel mask", QLastDir(directoryKey).dir,
                                       joined({asciiMask, binaryMask}), &nameFilter, {});
    if (!stillThere)
        return;
    if (path.isEmpty()) {
        ui->rbBadFF->setChecked(true);
        return;
    }
    const bool ascii = nameFilter != binaryMask;
    if (filter->loadBadPixelMaskFromFile(path.toUtf8().constData(), ascii) != 0)
        ui->rbBadFF->setChecked(true);
    showMaskName();
}

void DlgFFStg::on_rbZeroPixels_clicked() {
    if (!hasFilter())
        return;
    filter->setUseZeroPixelsForBadPixels(true);
    showMaskName();
}

void DlgFFStg::on_btClose_clicked() {
    close();
}

} // namespace PluginOmbrel
