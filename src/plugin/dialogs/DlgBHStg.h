#pragma once

#include "dialogs/Windows.h"
#include "zt/IZenteo.h"

#include <QList>
#include <QString>
#include <QWidget>

#include <memory>

class Ui_DlgBHStg;

namespace PluginOmbrel {

class BHFilter;
class ThicknessMask;

// The window in which a user builds the masks of a beam-hardening filter. It is not modal. Every control acts
// on the filter immediately; closing the window sorts the masks and writes the filter's settings file. Files
// can be dropped on it.
//
// The filter creates it and never deletes it; its owner may do so at any time. A window that outlives its
// filter stays hidden and does nothing.
class DlgBHStg : public QWidget {
    Q_OBJECT
public:
    DlgBHStg(QWidget* parent, BHFilter* bhFilter, zt::IZenteo* zenteo);
    ~DlgBHStg() override;

    // Shows the window, or brings it to the front, with the filter's present masks and switches. The filter
    // has no getter for TDI, so that box keeps its last state.
    void showDialog();
    // Called when the filter ends: hides the window permanently.
    void letGo();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private slots:
    void onMaskCellChanged(int row, int col);
    void on_btAddFile_clicked();
    void on_btAddMeas_clicked();
    void on_btRemove_clicked();
    void on_btLoadBH_clicked();
    void on_btSaveBH_clicked();
    void on_btLoadBadPixels_clicked();
    void on_btSaveBadPixels_clicked();
    void on_chbInterpolate_clicked();
    void on_chbZeroPixels_clicked();
    void on_btRemoveAll_clicked();
    void on_chbTDI_clicked();
    void on_btClose_clicked();

private:
    StillThere both() { return {this, filterLife}; }
    bool hasFilter() const { return !filterLife.expired(); }
    void loadMasks();
    void showMask(int row, const ThicknessMask& mask);
    // One batch of files becomes one mask.
    void addFiles(QList<QString> files);
    // The time of each frame of a batch that begins with this file; 0 when the user entered no time.
    double acqTimeFor(const QString& firstFile);
    void showError(const QString& title, const QString& text);
    // Commits an edit in the table as Enter would, before the masks in its rows change. The row stays
    // current.
    void finishEdit();

    std::unique_ptr<Ui_DlgBHStg> ui;
    BHFilter* filter;
    std::weak_ptr<const void> filterLife;
    zt::IZenteo* host;
};

} // namespace PluginOmbrel
