#pragma once

#include <QFileDialog>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <string>
#include <vector>

// Names a key under which a file dialog remembers its directory, in the place where a directory would stand:
//
//     QMyFileDialog::getOpenFileName(parent, caption, QLastDir("bh/load").dir, ...)
class QLastDir {
public:
    explicit QLastDir(const QString& key) : dir("::" + key) {}
    virtual ~QLastDir() = default;

    // The key in marked form.
    QString dir;
};

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

// Qt's file dialogs with a memory in the per-user settings: each opens where the user last chose a file under
// the same key (see QLastDir), else where the user last chose one at all. A cancelled dialog changes nothing
// there.
//
// `dir` is a directory or a key in marked form. Both return the chosen path with native separators, or an
// empty string when the user cancelled.
class QMyFileDialog {
public:
    static QString getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter, QString* selectedFilter,
                                   QFileDialog::Options options);
    // A name without a suffix gets that of the chosen file type. The file type that was last chosen in any of
    // these dialogs is offered first, where `selectedFilter` names none; on return it holds the chosen one,
    // or, after a cancel, the one that was offered. A `defaultName` is offered in the directory that holds
    // the remembered one.
    static QString getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
                                   const QString& filter, QString* selectedFilter,
                                   QFileDialog::Options options, QString defaultName);
};
