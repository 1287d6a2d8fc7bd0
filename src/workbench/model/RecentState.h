#pragma once

#include "model/Workspace.h"

#include <QByteArray>
#include <QSettings>
#include <QStringList>

#include <string>
#include <utility>
#include <vector>

namespace ombrel::workbench {

// What the workbench remembers of its user from one start to the next.
class RecentState {
public:
    RecentState();

    // The latest first.
    QStringList recentFiles() const;
    void addRecentFile(const QString& path);

    using Links = std::vector<std::pair<std::string, std::string>>; // filter and settings file
    // The chain that was last used on a file.
    Links chainFor(const QString& path) const;
    void setChainFor(const QString& path, const ChainState& chain);

    QByteArray bytes(const QString& key) const { return store.value(key).toByteArray(); }
    QString text(const QString& key) const { return store.value(key).toString(); }
    void set(const QString& key, const QVariant& value) { store.setValue(key, value); }

    // A folder of the user's for what the workbench makes by itself; it is there.
    static QString dataFolder(const QString& name);

private:
    mutable QSettings store;
};

} // namespace ombrel::workbench
