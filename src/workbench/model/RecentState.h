#pragma once

#include "model/Workspace.h"

#include <QByteArray>
#include <QSettings>
#include <QStringList>

#include <string>
#include <utility>
#include <vector>

namespace ombrel::workbench {

// User state that the workbench keeps between sessions.
class RecentState {
public:
    RecentState();

    // Latest first.
    QStringList recentFiles() const;
    void addRecentFile(const QString& path);

    using Links = std::vector<std::pair<std::string, std::string>>; // filter and settings file
    // The chain last used on a file.
    Links chainFor(const QString& path) const;
    void setChainFor(const QString& path, const ChainState& chain);

    QByteArray bytes(const QString& key) const { return store.value(key).toByteArray(); }
    QString text(const QString& key) const { return store.value(key).toString(); }
    void set(const QString& key, const QVariant& value) { store.setValue(key, value); }

    // Per-user data folder for files that the workbench generates; created if missing.
    static QString dataFolder(const QString& name);

private:
    mutable QSettings store;
};

} // namespace ombrel::workbench
