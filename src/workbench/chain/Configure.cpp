#include "chain/Configure.h"

#include "base/Error.h"
#include "chain/FilterWindows.h"
#include "chain/ParameterPane.h"
#include "host/Device.h"
#include "host/Session.h"
#include "panes/Look.h"
#include "settings/SettingsFiles.h"
#include "stack/FrameStack.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

#include <filesystem>
#include <memory>
#include <vector>

namespace ombrel::workbench {

namespace {

constexpr QSize paneSize(640, 420);

QWidget* paneOf(zt::IParamMgr& parameters, QWidget* parent) {
    auto* const pane = newChild<ParameterPane>(parameters, parent);
    pane->setMinimumSize(paneSize / 2);
    return pane;
}

QWidget* nothingToSet(const QString& filterName, QWidget* parent) {
    auto* const text = newChild<QLabel>(filterName + " has no parameters to edit.", parent);
    text->setMargin(text->fontMetrics().height());
    return text;
}

} // namespace

bool hasParameters(const zt::IDataFilter& filter) {
    return filter.parameters() && filter.parameters()->paramCount() > 0;
}

ParamsWindow::ParamsWindow(const zt::IDataFilter& filter) {
    const QString name = QString::fromStdString(filterName(filter));
    const bool isEditable = hasParameters(filter);

    setObjectName("ParamsWindow");
    setWindowTitle(name + " Settings");
    auto* const layout = newChild<QVBoxLayout>(this);
    layout->addWidget(isEditable ? paneOf(*filter.parameters(), this) : nothingToSet(name, this));
    auto* const buttons = newChild<QDialogButtonBox>(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    layout->addWidget(buttons);
    if (isEditable)
        resize(paneSize);
}

namespace {

namespace fs = std::filesystem;

std::unique_ptr<FrameStack> openFrames(const ConfigureOptions& options) {
    if (options.frames.empty())
        return nullptr;
    return std::make_unique<FrameStack>(std::vector{options.frames}, FrameRole::Any);
}

DevicePlan devicePlan(const ConfigureOptions& options, const FrameStack* stack) {
    DevicePlan plan;
    if (stack) {
        plan.width = stack->width();
        plan.height = stack->height();
    } else if (!options.size.empty()) {
        const FrameSize size = parseFrameSize("--size", options.size);
        plan.width = size.width;
        plan.height = size.height;
    }
    return plan;
}

void acquire(Device& device, FrameStack& stack) {
    std::vector<FramePtr> frames;
    for (zt::u64 frame = 0; frame < stack.frameCount(); ++frame)
        frames.push_back(stack.readFrame(frame));
    device.setAcquisition(std::move(frames));
}

// A missing file is an empty store. An unreadable one is an error: the window would overwrite it on close.
std::unique_ptr<Settings> openStore(Host& host, const std::string& path) {
    const fs::path folder = fs::absolute(path).parent_path();
    if (!fs::is_directory(folder))
        throw Error(path + ": the folder " + folder.string() + " does not exist; create it first");
    std::unique_ptr<Settings> store = host.openSettings(path);
    if (fs::exists(path)) {
        store->loadFile();
        checkHeap(store->contents(), path);
    }
    return store;
}

// The filter's complaints about the settings go to the log; the user mends them in the window.
void loadFilter(zt::IDataFilter& filter, Settings& store, const std::string& path) {
    if (const int answer = filter.loadFromSettings(&store))
        throw Error(filterName(filter) + ": settings " + path + ": the filter returned " +
                    std::to_string(answer));
}

// For a filter without its own window; such a window saves by itself.
void saveParameters(zt::IDataFilter& filter, Settings& store) {
    if (filter.hasConfigGUI() || !hasParameters(filter))
        return;
    filter.saveToSettings(&store);
    store.saveFile();
}

} // namespace

void configure(const ConfigureOptions& options, Console& console) {
    const std::unique_ptr<FrameStack> stack = openFrames(options);
    Session session(console, options.plugin, devicePlan(options, stack.get()));
    Host& host = session.host();
    host.frames().reportErrors([&host](const std::string& reason) { host.logLine(reason); });
    if (stack)
        acquire(session.device(), *stack);
    const FilterLink link = session.makeLink(options.filter);
    zt::IDataFilter& filter = link.filter();
    const std::unique_ptr<Settings> store = openStore(host, options.settings);
    loadFilter(filter, *store, options.settings);

    FilterWindows windows(filter);
    windows.show();
    windows.waitUntilClosed();
    saveParameters(filter, *store);
}

} // namespace ombrel::workbench
