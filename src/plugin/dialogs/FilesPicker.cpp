#include "dialogs/FilesPicker.h"

#include "dialogs/WindowSystem.h"

#include <QDir>
#include <QFileDialog>

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
