#include "model/RecentState.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStandardPaths>

namespace ombrel::workbench {

namespace {

constexpr qsizetype mostFiles = 6;
constexpr const char* recentKey = "recentFiles";

// Keys of the store can't contain paths.
QString chainKey(const QString& path) {
    return "chains/" + QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex();
}

} // namespace

RecentState::RecentState() : store("ombrel", "workbench") {}

QStringList RecentState::recentFiles() const {
    return store.value(recentKey).toStringList();
}

void RecentState::addRecentFile(const QString& path) {
    QStringList files = recentFiles();
    files.removeAll(path);
    files.prepend(path);
    store.setValue(recentKey, QStringList(files.first(std::min(files.size(), mostFiles))));
}

RecentState::Links RecentState::chainFor(const QString& path) const {
    const QStringList words = store.value(chainKey(path)).toStringList();
    Links links;
    for (qsizetype i = 0; i + 1 < words.size(); i += 2)
        links.emplace_back(words[i].toStdString(), words[i + 1].toStdString());
    return links;
}

void RecentState::setChainFor(const QString& path, const ChainState& chain) {
    QStringList words;
    for (const LinkState& link : chain.links)
        words << QString::fromStdString(link.filter) << QString::fromStdString(link.settings);
    store.setValue(chainKey(path), words);
}

QString RecentState::dataFolder(const QString& name) {
    const QString path =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/ombrel/" + name;
    QDir().mkpath(path);
    return path;
}

} // namespace ombrel::workbench
