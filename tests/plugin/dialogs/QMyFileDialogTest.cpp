#include "dialogs/QMyFileDialog.h"

#include "DialogFixture.h"

#include <QDir>

#include <tuple>

namespace {

constexpr const char* configs = "Configurations (*.xml)";

class QMyFileDialogTest : public DialogFixture {
protected:
    std::string subfolder(const std::string& name) const {
        std::filesystem::create_directory(folder / name);
        return folder / name;
    }

    static std::string open(const QString& dir, QString* selectedFilter = nullptr) {
        return QMyFileDialog::getOpenFileName(nullptr, "Open it", dir, configs, selectedFilter, {})
            .toStdString();
    }

    static std::string save(const QString& dir, QString* selectedFilter = nullptr,
                            const QString& filters = configs, const QString& defaultName = {}) {
        return QMyFileDialog::getSaveFileName(nullptr, "Save it", dir, filters, selectedFilter, {},
                                              defaultName)
            .toStdString();
    }

    // The directory in which the next dialog opens for a key.
    std::string offered(const char* key) {
        std::string directory;
        user.meets<QFileDialog>([&](QFileDialog& dialog) {
            directory = dialog.directory().absolutePath().toStdString();
            cancel(dialog);
        });
        EXPECT_EQ(open(QLastDir(key).dir), "");
        return directory;
    }
};

TEST_F(QMyFileDialogTest, OpensWhereTheSameKeyWasLastUsedElseWhereAnyWas) {
    const std::string first = subfolder("first");
    const std::string second = subfolder("Blanks, \"quotes\" and \xC3\xBC");
    writeFileText(first + "/a.xml", "");
    writeFileText(second + "/b.xml", "");

    user.meets<QFileDialog>([&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle(), "Open it");
        EXPECT_EQ(dialog.nameFilters(), QStringList{configs});
        chooseFile(dialog, first + "/a.xml");
    });
    EXPECT_EQ(open(QLastDir("test/one").dir), first + "/a.xml");
    EXPECT_EQ(offered("test/two"), first) << "a key without a value";

    user.meets<QFileDialog>(choosing(second + "/b.xml"));
    EXPECT_EQ(open(QLastDir("test/two").dir), second + "/b.xml");
    EXPECT_EQ(offered("test/one"), first);
    EXPECT_EQ(offered("test/two"), second);
    EXPECT_EQ(offered(""), second) << "no key at all";
    EXPECT_EQ(remembered("DefaultOpenFileDir"), second);

    user.meets<QFileDialog>([&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), first);
        chooseFile(dialog, first + "/a.xml");
    });
    EXPECT_EQ(open(QString::fromStdString(first)), first + "/a.xml") << "a plain directory";
    EXPECT_EQ(remembered("DefaultOpenFileDir"), first);
    EXPECT_EQ(remembered("test/two"), second);

    std::filesystem::remove_all(first);
    EXPECT_NE(offered("test/one"), first) << "a directory that is gone";
    EXPECT_EQ(remembered("test/one"), first);
}

TEST_F(QMyFileDialogTest, AddsTheSuffixOfTheChosenTypeToANameWithoutOne) {
    const QString several = "Frames (*.txt *.zmf)";
    const QString all = QString(configs) + ";;" + several + ";;Anything (*)";
    for (const auto& [filter, name, result] :
         {std::tuple<QString, const char*, const char*>(configs, "setup", "setup.xml"),
          {configs, "setup.old", "setup.old"},
          {configs, "two words \xC3\xA9", "two words \xC3\xA9.xml"},
          {several, "a", "a.txt *.zmf"},
          {"Anything (*)", "a", "a"}}) {
        user.meets<QFileDialog>(choosing(folder / name, filter));
        EXPECT_EQ(save(QLastDir("test/save").dir, nullptr, all), folder / result);
        EXPECT_EQ(remembered("SelectedFilter"), filter.toStdString());
        EXPECT_EQ(remembered("test/save"), folder.path);
    }
}

TEST_F(QMyFileDialogTest, OffersTheTypeLastChosenInAnySaveDialogAndHandsTheChosenOneBack) {
    const QString all = QString("Text (*.txt);;") + configs;
    const QString text = "Text (*.txt)";
    QString filter;
    user.meets<QFileDialog>(choosing(folder / "a", configs));
    EXPECT_EQ(save("", &filter, all), folder / "a.xml");
    EXPECT_EQ(filter, configs);
    const struct {
        QString given, types, offered;
        bool isAccepted;
        std::string saved;
        QString after;
    } cases[] = {{"", all, configs, true, folder / "a.xml", configs},
                 {text, all, text, true, folder / "a.txt", text}, // the caller's own choice comes first
                 {"", all, text, false, "", text},                // what was offered, after a cancel
                 // One that is not among those of the dialog.
                 {"", "Matrices (*.mat)", "Matrices (*.mat)", false, "", text}};
    for (const auto& each : cases) {
        filter = each.given;
        user.meets<QFileDialog>([&](QFileDialog& dialog) {
            EXPECT_EQ(dialog.selectedNameFilter(), each.offered);
            each.isAccepted ? chooseFile(dialog, folder / "a") : cancel(dialog);
        });
        EXPECT_EQ(save("", &filter, each.types), each.saved);
        EXPECT_EQ(filter, each.after);
    }
}

TEST_F(QMyFileDialogTest, PutsADefaultNameBesideTheRememberedDirectory) {
    const std::string inner = subfolder("inner");
    user.meets<QFileDialog>([&](QFileDialog& dialog) {
        EXPECT_EQ(dialog.directory().absolutePath().toStdString(), folder.path);
        EXPECT_EQ(textOf(dialog, "fileNameEdit"), "default.xml");
        cancel(dialog);
    });
    save(QString::fromStdString(inner), nullptr, configs, "default.xml");
}

TEST_F(QMyFileDialogTest, WritesNothingOnCancel) {
    user.meets<QFileDialog>(cancelling).meets<QFileDialog>(cancelling);
    EXPECT_EQ(open(QLastDir("test/one").dir), "");
    EXPECT_EQ(save(QLastDir("test/one").dir), "");
    EXPECT_TRUE(
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo").allKeys().isEmpty());
}

TEST_F(QMyFileDialogTest, WorksWithoutMemoryWhenTheStoreCannotBeWritten) {
    // A folder stands where the file of the store should.
    const QString path =
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo").fileName();
    QFile::remove(path);
    ASSERT_TRUE(QDir().mkpath(path));
    user.meets<QFileDialog>(choosing(folder / "a"));
    EXPECT_EQ(save(QLastDir("test/one").dir), folder / "a.xml");
    QDir().rmdir(path);
}

} // namespace
