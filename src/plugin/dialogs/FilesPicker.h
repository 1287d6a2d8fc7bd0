#pragma once

#include <QStringList>
#include <QWidget>

#include <string>
#include <vector>

namespace PluginOmbrel {

struct PickedFiles {
    QStringList files;  // in the order of the dialog; empty when the user cancelled
    QString nameFilter; // the file type that was chosen
};

// Asks for one or several files that exist. Neither starts from a remembered directory nor changes one.
PickedFiles pickFiles(QWidget* parent, const QString& title, const QString& nameFilters);

// As filters take a path: native separators, UTF-8.
std::string nativePath(const QString& path);
std::vector<std::string> nativePaths(const QStringList& paths);

} // namespace PluginOmbrel
