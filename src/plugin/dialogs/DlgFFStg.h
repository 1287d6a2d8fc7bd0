#pragma once

#include "dialogs/Windows.h"

#include <QDialog>

#include <memory>

class Ui_DlgFFStg;

namespace PluginOmbrel {

class FFFilter;

// The modal window in which a user configures a flat-field filter: the source of its coefficients and of its
// bad pixels. Every control acts on the filter immediately, and closing undoes nothing. If the filter ends
// first, the window closes at the next click.
//
// Failures are reported only in the filter's log.
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
    StillThere both() { return {this, filterLife}; }
    // Closes the window when the filter has ended.
    bool hasFilter();

    std::unique_ptr<Ui_DlgFFStg> ui;
    FFFilter* filter;
    std::weak_ptr<const void> filterLife;
};

} // namespace PluginOmbrel
