#pragma once

#include "dialogs/DlgBHStg.h"
#include "filters/BHFilter.h"
#include "fixtures/FilterTests.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/ModalUser.h"
#include "fixtures/WidgetActions.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QSettings>
#include <QTableWidget>
#include <QUrl>

// A device of 3 x 2 pixels, and an empty memory of file dialogs.
class DialogFixture : public FilterTests<3, 2> {
protected:
    DialogFixture() { QSettings(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo").clear(); }

    static std::string remembered(const char* key) {
        const QSettings store(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo");
        return store.value(key).toString().toStdString();
    }

    // A file of frames of the device's size that all hold `value`, of so many seconds each. Returns its path.
    std::string frameFile(const std::string& name, zt::u16 value, double seconds = 1, zt::u32 count = 1) {
        const std::string path = folder / name;
        Hdf5Builder file(path);
        file.data<zt::u16>("exchange/data", {count, 2, 3}, std::vector<zt::u16>(count * 6, value));
        file.number("exchange/count_time", seconds);
        return path;
    }

    // A path that nobody can write to, whatever their rights are: a link into a folder that is not there.
    std::string unwritable(const std::string& name) const {
        std::filesystem::create_symlink(folder / "gone/file", folder / name);
        return folder / name;
    }

    // Clicks the button, and does this in the picker that comes.
    void pick(const QObject& dialog, const char* button, const std::function<void(QFileDialog&)>& inPicker) {
        user.meets<QFileDialog>(inPicker);
        click(dialog, button);
    }

    ModalUser user;
};

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

    void addMasks(std::initializer_list<double> thicknesses) {
        for (const double thickness : thicknesses)
            addMask(thickness);
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

    // Double-clicks a cell; its editor, or null when it can't be edited.
    static QLineEdit* editor(const PluginOmbrel::DlgBHStg& dialog, int row, int col) {
        QTest::qWait(0); // an editor before it goes only now
        QTableWidget& masks = table(dialog);
        const QPoint place = masks.visualItemRect(masks.item(row, col)).center();
        QTest::mouseClick(masks.viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(masks.viewport(), Qt::LeftButton, {}, place);
        return masks.viewport()->findChild<QLineEdit*>();
    }

    static void edit(const PluginOmbrel::DlgBHStg& dialog, int row, int col, const char* text) {
        QLineEdit* const line = editor(dialog, row, col);
        ASSERT_NE(line, nullptr);
        QTest::keyClicks(line, text);
        QTest::keyClick(line, Qt::Key_Return);
        QApplication::processEvents(); // the delegate takes the value up later
    }

    std::unique_ptr<PluginOmbrel::BHFilter, Destroy> filter{new PluginOmbrel::BHFilter(&host, &device)};
};
