#include "chain/LinkSettings.h"

#include "base/AtomicFile.h"
#include "base/Error.h"
#include "base/FileContent.h"
#include "model/RecentState.h"
#include "settings/SettingsFiles.h"
#include "worker/StackViewer.h"

#include <QDateTime>
#include <QFileDialog>
#include <QFileInfo>
#include <QPointer>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>

namespace ombrel::workbench {

namespace {

namespace fs = std::filesystem;

constexpr zt::u64 mostMeasured = 100;
constexpr std::size_t copyBlock = 1 << 20; // bytes
const QString nameFilter = "Settings (*.xml);;All files (*)";

// Some filters keep a calibration beside their settings, found by its name: settings saved under a new name
// need a copy of it. The copy is complete but not committed. Null when nothing needs copying. An existing
// file of that name may belong to other settings.
std::unique_ptr<AtomicFile> copyOfCalibration(const std::string& from, const std::string& to) {
    const std::string source = heapPathOf(from);
    const std::string target = heapPathOf(to);
    if (from.empty() || !fs::exists(source))
        return nullptr;
    if (fs::exists(target)) {
        if (!fs::equivalent(source, target) && fileHash(source) != fileHash(target))
            throw Error(target + ": contains a different calibration; save the settings under another name");
        return nullptr;
    }
    std::ifstream bytes(source, std::ios::binary);
    auto copy = std::make_unique<AtomicFile>(target);
    std::vector<char> block(copyBlock);
    while (bytes.read(block.data(), static_cast<std::streamsize>(block.size())), bytes.gcount() > 0)
        copy->write(std::as_bytes(std::span(block).first(static_cast<std::size_t>(bytes.gcount()))));
    if (bytes.bad())
        throw Error(source + ": can't be read");
    return copy;
}

std::shared_ptr<FilterLink> loadedLink(PluginHost& host, const LinkState& state, const std::string& path) {
    auto link = std::make_shared<FilterLink>(host.makeLink(state.filter));
    const auto store = host.host().openSettings(path);
    if (fs::exists(path)) {
        store->loadFile();
        checkHeap(store->contents(), path);
    }
    // The filter's complaints about its settings are ignored here; the user mends them in the window.
    loadInto(link->filter(), state.unsaved ? *state.unsaved : *store);
    return link;
}

} // namespace

LinkSettings::LinkSettings(Workspace& model, FrameWorker& frameWorker, QWidget& parentOfDialogs)
    : workspace(model), worker(frameWorker), dialogParent(parentOfDialogs) {
    connect(&workspace, &Workspace::chainChanged, this, &LinkSettings::dropStale);
}

void LinkSettings::setHost(const PluginHostPtr& pluginHost) {
    shown.clear();
    host = pluginHost;
}

void LinkSettings::later(std::function<void()> work) {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

std::string LinkSettings::pathFor(const LinkState& link) const {
    if (!link.settings.empty())
        return link.settings;
    const QString time = QDateTime::currentDateTime().toString("yyyyMMdd-hhmmss-zzz");
    return QString("%1/%2-%3.xml")
        .arg(RecentState::dataFolder("settings"), QString::fromStdString(link.filter), time)
        .toStdString();
}

void LinkSettings::configure(int id) {
    const LinkState* const state = workspace.chain().find(id);
    if (!state || !host)
        return;
    if (const auto open = shown.find(id); open != shown.end()) {
        open->second->show();
        return;
    }
    const std::string path = pathFor(*state);
    worker.run([this, pluginHost = host, state = *state, path](StackViewer& viewer) {
        const auto link = loadedLink(*pluginHost, state, path);
        if (!link->filter().hasConfigGUI())
            throw Error(state.filter + " has no settings window: edit its values under Parameters");
        const auto measured = std::make_shared<std::vector<FramePtr>>(viewer.measuredFrames(mostMeasured));
        later([this, pluginHost, id = state.id, link, path, measured] {
            if (pluginHost == host && workspace.chain().find(id) && !shown.contains(id))
                showWindow(id, link, path, *measured);
        });
    });
}

void LinkSettings::showWindow(int id, const std::shared_ptr<FilterLink>& link, const std::string& path,
                              std::vector<FramePtr>& measured) {
    host->device().setAcquisition(std::move(measured));
    revisions[id] = workspace.chain().find(id)->revision;
    // For a modal window show() returns when it is closed, and this entry may be erased by then: keep the
    // object alive.
    const auto kept = shown[id] = std::make_shared<ShownLink>(host, link, path);
    const QPointer<LinkSettings> self = this;
    ShownLink& window = *kept;
    connect(
        &window, &ShownLink::changed, this,
        [this, id](const std::shared_ptr<Settings>& snapshot) {
            ++revisions[id];
            workspace.setUnsaved(id, snapshot);
        });
    connect(
        &window, &ShownLink::closed, this, [this, id, &window] { windowClosed(id, &window); },
        Qt::QueuedConnection);
    try {
        window.show();
    } catch (const Error& error) {
        if (self)
            emit logged(error.what());
    }
}

void LinkSettings::windowClosed(int id, const ShownLink* window) {
    const auto found = shown.find(id);
    if (found == shown.end() || found->second.get() != window || window->isModalOpen())
        return;
    const std::string path = found->second->settingsPath();
    shown.erase(found);
    if (fs::exists(path))
        workspace.setSettings(id, path);
    else if (workspace.chain().find(id) && workspace.chain().find(id)->unsaved)
        workspace.setUnsaved(id, nullptr);
}

void LinkSettings::dropStale() {
    std::erase_if(
        shown,
        [this](const auto& entry) {
            const LinkState* const link = workspace.chain().find(entry.first);
            return !entry.second->isModalOpen() && (!link || link->revision != revisions[entry.first]);
        });
}

void LinkSettings::load(int id) {
    const LinkState* const link = workspace.chain().find(id);
    if (!link)
        return;
    const QPointer<LinkSettings> self = this;
    const QString path =
        QFileDialog::getOpenFileName(&dialogParent, "Settings of " + QString::fromStdString(link->filter),
                                     QString::fromStdString(link->settings), nameFilter);
    if (self && !path.isEmpty())
        workspace.setSettings(id, path.toStdString());
}

void LinkSettings::save(int id) {
    const LinkState* const link = workspace.chain().find(id);
    if (!link)
        return;
    const QPointer<LinkSettings> self = this;
    const QString path = QFileDialog::getSaveFileName(
        &dialogParent, "Save the settings of " + QString::fromStdString(link->filter),
        QString::fromStdString(link->settings), nameFilter);
    if (self && !path.isEmpty())
        saveTo(id, path.toStdString());
}

void LinkSettings::saveTo(int id, const std::string& path) {
    if (!workspace.chain().find(id))
        return;
    worker.run([this, chain = workspace.chain(), id, path](StackViewer& viewer) {
        // Pending edits are saved too.
        for (const LinkReport& report : viewer.follow(chain))
            later([this, report] { emit reported(report); });
        const LinkState& saved = *chain.find(id);
        const auto calibration = copyOfCalibration(saved.settings, path);
        viewer.chain().saveSettings(id, path);
        if (calibration)
            calibration->commit();
        later([this, saved, path] {
            workspace.setSaved(saved, path);
            emit logged("Settings saved: " + QString::fromStdString(path));
        });
    });
}

} // namespace ombrel::workbench
