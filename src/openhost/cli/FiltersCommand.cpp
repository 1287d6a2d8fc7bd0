#include "base/AtomicFile.h"
#include "base/CommandOptions.h"
#include "base/TrialFolder.h"
#include "cli/CommandLine.h"
#include "host/Host.h"
#include "host/Session.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <CLI/CLI.hpp>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>
#include <memory>
#include <string>

namespace ombrel::cli {

namespace {

struct FiltersOptions {
    std::string plugin;
    bool json = false;
};

std::string description(const zt::IDataFilter& filter) {
    zt::String text;
    filter.filterDescriptionStr(&text);
    return text.get();
}

std::vector<zt::IParam*> parametersOf(const zt::IDataFilter& filter) {
    zt::PtrList<zt::IParam*> list;
    if (const zt::IParamMgr* manager = filter.parameters())
        manager->params(&list);
    return list.vect();
}

// A filter as it is registered, or an instance of it if the registered one has no parameters yet: a filter
// may create them when it loads settings. The instance loads empty settings, so that the values are its
// defaults; it logs that their data file is empty.
class ShownFilter {
public:
    ShownFilter(Session& session, const zt::IDataFilter& registered, const TrialFolder& folder)
        : filter(&registered) {
        if (!registered.parameters() || registered.parameters()->paramCount() != 0)
            return;
        const std::string settings = folder / "defaults.xml";
        replaceFile(folder / "defaults.bin", "");
        const LogCapture unheard;
        instance.reset(registered.createNewInstance());
        const std::unique_ptr<Settings> store = session.host().openSettings(settings);
        instance->loadFromSettings(store.get());
        filter = instance.get();
    }

    const zt::IDataFilter& operator*() const { return *filter; }

private:
    const zt::IDataFilter* filter;
    FilterPtr instance;
};

const char* typeName(const zt::IParam& param) {
    constexpr const char* names[] = {"i8",  "u8",  "i16",   "u16",    "i32",  "u32",
                                     "i64", "u64", "float", "double", "bool", "string"};
    const int type = param.type();
    return type >= 0 && type <= zt::DT_STRING ? names[type] : "unknown";
}

bool isReadOnly(const zt::IParam& param) {
    return (param.flags() & zt::PARAM_READ_ONLY) != 0;
}

QJsonObject parameterJson(const zt::IParam& param) {
    return {{"name", param.name()},
            {"description", param.description()},
            {"type", typeName(param)},
            {"value", QString::fromStdString(param.getString())},
            {"readOnly", isReadOnly(param)}};
}

QJsonObject filterJson(const zt::IDataFilter& filter) {
    QJsonArray parameters;
    for (const zt::IParam* param : parametersOf(filter))
        parameters.append(parameterJson(*param));
    return {{"name", QString::fromStdString(filterName(filter))},
            {"description", QString::fromStdString(description(filter))},
            {"hasWindow", filter.hasConfigGUI()},
            {"parameters", parameters}};
}

std::string sessionJson(Session& session) {
    QJsonArray filters;
    const TrialFolder folder(std::filesystem::temp_directory_path());
    for (const zt::IDataFilter* filter : session.filters())
        filters.append(filterJson(*ShownFilter(session, *filter, folder)));
    const QJsonObject document{{"plugin", session.plugin().name()},
                               {"description", session.plugin().description()},
                               {"path", QString::fromStdString(session.pluginPath())},
                               {"filters", filters}};
    return QJsonDocument(document).toJson(QJsonDocument::Indented).toStdString();
}

std::string filterText(const zt::IDataFilter& filter) {
    std::string text = "\n" + filterName(filter) + "\n    " + description(filter) + "\n";
    if (filter.hasConfigGUI())
        text += "    has a settings window\n";
    if (parametersOf(filter).empty())
        text += "    has no parameters\n";
    for (const zt::IParam* param : parametersOf(filter)) {
        text += "    " + std::string(param->name()) + " = " + param->getString() + "  (" + typeName(*param) +
                (isReadOnly(*param) ? ", read-only" : "");
        const std::string explained = param->description();
        text += explained == param->name() ? ")\n" : "; " + explained + ")\n";
    }
    return text;
}

std::string sessionText(Session& session) {
    std::string text = std::string(session.plugin().name()) + ": " + session.plugin().description() + "\n" +
                       session.pluginPath() + "\n";
    const TrialFolder folder(std::filesystem::temp_directory_path());
    for (const zt::IDataFilter* filter : session.filters())
        text += filterText(*ShownFilter(session, *filter, folder));
    return text;
}

} // namespace

void addFiltersCommand(const CommandContext& context) {
    auto options = std::make_shared<FiltersOptions>();
    CLI::App* command =
        context.program.add_subcommand("filters", "Show the plug-in, its filters and their parameters");
    command->add_flag("--json", options->json, "As JSON");
    addPluginOption(*command, options->plugin);
    command->footer("Example:\n"
                    "  ombrel filters --json");
    command->callback([=, &console = context.console] {
        Session session(console, options->plugin, {});
        console.result(options->json ? sessionJson(session) : sessionText(session));
    });
}

} // namespace ombrel::cli
