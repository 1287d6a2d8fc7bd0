#pragma once

#include <QString>

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
