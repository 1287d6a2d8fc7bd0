#pragma once

#include "DialogFixture.h"
#include "dialogs/DlgBHStg.h"
#include "filters/BHFilter.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QTableWidget>
#include <QUrl>

#include <cmath>

// The window of beam-hardening masks on a filter of its own.
class DlgBHStgFixture : public DialogFixture {
protected:
    // As a host ends them: windows first.
    ~DlgBHStgFixture() override { delete findDialog(); }

    static PluginOmbrel::DlgBHStg* findDialog() {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (auto* const dialog = qobject_cast<PluginOmbrel::DlgBHStg*>(widget))
                return dialog;
        return nullptr;
    }

    PluginOmbrel::DlgBHStg& open() {
        filter->showConfigGUI();
        PluginOmbrel::DlgBHStg& dialog = *findDialog();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog, 60'000));
        return dialog;
    }

    void addMask(double thickness, double seconds = 1) {
        const auto frame = frameOf(Values(6, std::exp(-thickness)));
        ASSERT_EQ(filter->addMaskFromFrame(frame.get(), thickness, seconds), 0);
    }

    const PluginOmbrel::ThicknessMask& mask(std::size_t index) const { return *filter->masks().at(index); }

    static QTableWidget& table(const PluginOmbrel::DlgBHStg& dialog) {
        return child<QTableWidget>(dialog, "twMasks");
    }

    // The table as it is shown, a text for each row.
    static std::vector<std::string> rows(const PluginOmbrel::DlgBHStg& dialog) {
        std::vector<std::string> lines;
        for (int row = 0; row < table(dialog).rowCount(); ++row) {
            QStringList cells;
            for (int col = 0; col < table(dialog).columnCount(); ++col)
                cells << table(dialog).item(row, col)->text();
            lines.push_back(cells.join(" | ").toStdString());
        }
        return lines;
    }

    // Drops onto the table, or the editor of a cell, as far inside the window as one can; false when the
    // window does not take it.
    static bool drop(PluginOmbrel::DlgBHStg& dialog, const QMimeData& data) {
        QWidget* const cellEditor = table(dialog).viewport()->findChild<QLineEdit*>();
        QWidget* const target = cellEditor ? cellEditor : table(dialog).viewport();
        QDragEnterEvent enter({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(target, &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent dropped({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(target, &dropped);
        return dropped.isAccepted();
    }

    static bool drop(PluginOmbrel::DlgBHStg& dialog, const std::vector<std::string>& files) {
        QList<QUrl> urls;
        for (const std::string& file : files)
            urls << QUrl::fromLocalFile(QString::fromStdString(file));
        QMimeData data;
        data.setUrls(urls);
        return drop(dialog, data);
    }

    std::unique_ptr<PluginOmbrel::BHFilter, Destroy> filter{new PluginOmbrel::BHFilter(&host, &device)};
};
