#include "dialogs/QMyFileDialog.h"

#include "dialogs/Windows.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

#include <algorithm>
#include <iterator>

namespace PluginOmbrel {

PickedFiles pickFiles(QWidget* parent, const QString& title, const QString& nameFilters) {
    ModalWindow<QFileDialog> picker(parent, QString(), QString(), QString());
    picker->setWindowTitle(title);
    picker->setFileMode(QFileDialog::ExistingFiles);
    picker->setNameFilter(nameFilters);
    if (!picker.exec())
        return {};
    return {picker->selectedFiles(), picker->selectedNameFilter()};
}

std::string nativePath(const QString& path) {
    return QDir::toNativeSeparators(path).toStdString();
}

std::vector<std::string> nativePaths(const QStringList& paths) {
    std::vector<std::string> native;
    std::ranges::transform(paths, std::back_inserter(native), nativePath);
    return native;
}

} // namespace PluginOmbrel

namespace {

// The remembered state of a directory argument.
class DirectoryMemory {
public:
    explicit DirectoryMemory(const QString& dir) {
        if (dir.startsWith("::"))
            key = dir.mid(2);
        else
            given = dir;
    }

    // The directory to open; empty when nothing is remembered.
    QString start() const {
        const QString wanted = key.isEmpty() ? given : store.value(key).toString();
        return wanted.isEmpty() ? store.value(anyKey).toString() : wanted;
    }

    void rememberDirectoryOf(const QString& file) {
        const QString directory = QFileInfo(file).absolutePath();
        if (!key.isEmpty())
            store.setValue(key, directory);
        store.setValue(anyKey, directory);
    }

    QString filter() const { return store.value(filterKey).toString(); }
    void rememberFilter(const QString& filter) { store.setValue(filterKey, filter); }

private:
    static constexpr const char* anyKey = "DefaultOpenFileDir";
    static constexpr const char* filterKey = "SelectedFilter";

    QSettings store{QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo"};
    QString key;   // empty for a plain directory, which is not remembered separately
    QString given; // empty for a key
};

// The suffix of a file type like "Text (*.txt)". Several patterns are not split.
QString suffixOf(const QString& filter) {
    static const QRegularExpression pattern(R"(.*\(\*\.(.*)\))");
    return pattern.match(filter).captured(1);
}

} // namespace

QString QMyFileDialog::getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                       const QString& filter, QString* selectedFilter,
                                       QFileDialog::Options options) {
    DirectoryMemory memory(dir);
    const QString file =
        QFileDialog::getOpenFileName(parent, caption, memory.start(), filter, selectedFilter, options);
    if (!file.isEmpty())
        memory.rememberDirectoryOf(file);
    return QDir::toNativeSeparators(file);
}

QString QMyFileDialog::getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                       const QString& filter, QString* selectedFilter,
                                       QFileDialog::Options options, QString defaultName) {
    DirectoryMemory memory(dir);
    QString chosenFilter = selectedFilter ? *selectedFilter : QString();
    if (chosenFilter.isEmpty())
        chosenFilter = memory.filter();
    QString start = memory.start();
    if (!defaultName.isEmpty())
        start = QDir::toNativeSeparators(QFileInfo(start).absoluteDir().absolutePath() + "/" + defaultName);

    QString file = QFileDialog::getSaveFileName(parent, caption, start, filter, &chosenFilter, options);
    if (!file.isEmpty()) {
        memory.rememberDirectoryOf(file);
        if (!chosenFilter.isEmpty())
            memory.rememberFilter(chosenFilter);
        // A name that ends in a dot counts as a name without a suffix.
        if (const QString suffix = suffixOf(chosenFilter);
            QFileInfo(file).suffix().isEmpty() && !suffix.isEmpty())
            file += "." + suffix;
    }
    if (selectedFilter)
        *selectedFilter = chosenFilter;
    return QDir::toNativeSeparators(file);
}
