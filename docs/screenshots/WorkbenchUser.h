#pragma once

#include "window/MainWindow.h"

#include <QRect>
#include <QString>

#include <functional>
#include <string>

// Uses the window of the workbench by its mouse and keyboard, and takes pictures of it. Throws
// std::runtime_error when something does not come within a minute.
class WorkbenchUser {
public:
    WorkbenchUser(ombrel::workbench::MainWindow& shownWindow, const QString& pictureFolder);

    ombrel::workbench::MainWindow& window() { return workbench; }
    ombrel::workbench::Workspace& model() { return workbench.model(); }

    void click(const char* button);
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers);
    // In place of what the line holds.
    void type(const char* line, const QString& text);
    void showDock(const char* name);
    // From the upper left corner to the lower right one, in pixels of the corrected frame.
    void dragOverFrame(const QRect& area, Qt::KeyboardModifiers modifiers);
    // Rests the cursor on a pixel of the corrected frame.
    void pointAt(const QPoint& pixel);
    // In the list of the chain, to the position after another row.
    void dragRow(int row, int after);
    void editParameter(const QString& name, const QString& value);

    void waitForOpen();
    void waitForCorrected();
    // With all that was changed up to now.
    void waitForFrame();
    // Of the batch, of 1.
    void waitForProgress(double part);
    void waitForBatch();

    // Writes workbench-NAME.png.
    void take(const QString& name);

private:
    void waitFor(const char* what, const std::function<bool()>& isThere);
    // By way of the window's system, as a real mouse does.
    void drag(const QPoint& from, const QPoint& to, Qt::KeyboardModifiers modifiers);

    ombrel::workbench::MainWindow& workbench;
    QString folder;
    int frames = 0;
};
