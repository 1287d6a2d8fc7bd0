#pragma once

#include <QFileDialog>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <string>
#include <vector>

// Names a key for the remembered directory of a file dialog; it is passed in place of a directory:
//
//     QMyFileDialog::getOpenFileName(parent, caption, QLastDir("bh/load").dir, ...)
class QLastDir {
public:
    explicit QLastDir(const QString& key) : dir("::" + key) {}
    virtual ~QLastDir() = default;

    // The marked key.
    QString dir;
};

namespace PluginOmbrel {

struct PickedFiles {
    QStringList files;  // in the order of the dialog; empty when the user cancelled
    QString nameFilter; // the file type that was chosen
};

// Asks for one or several existing files. Remembered directories are neither used nor changed.
PickedFiles pickFiles(QWidget* parent, const QString& title, const QString& nameFilters);

// The path in the form that filters expect: native separators, UTF-8.
std::string nativePath(const QString& path);
std::vector<std::string> nativePaths(const QStringList& paths);

} // namespace PluginOmbrel

// Qt's file dialogs with directories remembered in the per-user settings: each opens in the directory last
// used with the same key (see QLastDir), else in the one last used with any key. A cancelled dialog changes
// no directory.
//
// `dir` is a directory or a marked key. Both return the chosen path with native separators, or an empty
// string when the user cancelled.
class QMyFileDialog {
public:
    static QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter, QString* selectedFilter,
                                   QFileDialog::Options options);
    // A name without a suffix gets that of the chosen file type. The file type last chosen in any of these
    // dialogs is offered first, unless `selectedFilter` names one; on return it contains the chosen one, or,
    // after a cancel, the offered one. A `defaultName` is offered in the parent of the remembered directory.
    static QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter, QString* selectedFilter,
                                   QFileDialog::Options options, QString defaultName);
};
