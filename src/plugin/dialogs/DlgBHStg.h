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
// on the filter at once; closing the window sorts the masks and writes the filter's settings file. Files may
// be dropped on it.
//
// The filter makes one and never deletes it; whoever does may do so at any time. A window that outlives its
// filter stays hidden and does nothing.
class DlgBHStg : public QWidget {
    Q_OBJECT
public:
    DlgBHStg(QWidget* parent, BHFilter* bhFilter, zt::IZenteo* zenteo);
    ~DlgBHStg() override;

    // Shows the window, or brings it forward, with the filter's present masks and switches. Whether the
    // filter uses TDI can't be asked, so that box keeps what was clicked last.
    void showDialog();
    // The filter is about to end: hides the window for good.
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
    // The time of each frame of a batch that begins with this file; 0 after the user gave none.
    double acqTimeFor(const QString& firstFile);
    void showError(const QString& title, const QString& text);
    // Ends an edit in the table as Enter would, before the masks under it move. The row stays current.
    void finishEdit();

    std::unique_ptr<Ui_DlgBHStg> ui;
    BHFilter* filter;
    std::weak_ptr<const void> filterLife;
    zt::IZenteo* host;
};

} // namespace PluginOmbrel
