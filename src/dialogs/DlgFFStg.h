#pragma once

#include <QDialog>

#include <memory>

class Ui_DlgFFStg;

namespace PluginOmbrel {

class FFFilter;

// The modal window in which a user configures a flat-field filter: where its coefficients come from and which
// pixels are bad. Every control acts on the filter at once, and nothing is undone on close. The filter must
// outlive the window.
//
// Failures are told by the filter's log alone.
class DlgFFStg : public QDialog {
    Q_OBJECT
public:
    DlgFFStg(QWidget* parent, FFFilter* ffFilter);
    ~DlgFFStg() override;

private slots:
    void on_btCoeffLoad_clicked();
    void on_btCoeffSave_clicked();
    void on_btCoeffAllFrames_clicked();
    void on_btCoeffLastFrame_clicked();
    void on_chbInterpolate_clicked();
    void on_chbDevMask_clicked();
    void on_chbTDI_clicked();
    void on_rbBadFF_clicked();
    void on_rbMaskFile_clicked();
    void on_rbZeroPixels_clicked();
    void on_btClose_clicked();

private:
    void showFilterState();
    void showCoeffsSource();
    void showMaskName();
    void takeAcquisition(bool allFrames);

    std::unique_ptr<Ui_DlgFFStg> ui;
    FFFilter* filter;
};

} // namespace PluginOmbrel
