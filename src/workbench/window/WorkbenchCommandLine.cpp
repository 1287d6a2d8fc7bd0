#include "window/WorkbenchCommandLine.h"

#include "base/CommandOptions.h"
#include "base/Error.h"
#include "base/ProgramRun.h"
#include "chain/Configure.h"
#include "host/Device.h"
#include "run/RunPaths.h"
#include "window/MainWindow.h"

#include <CLI/CLI.hpp>
#include <QIcon>

#include <exception>
#include <filesystem>

namespace ombrel::workbench {

namespace {

// The toolkit keeps references to its command line.
char programName[] = "ombrel-workbench";
char* commandLine[] = {programName, nullptr};
int argumentCount = 1;

// Check here: without a display the toolkit aborts the program.
int& checkedArgumentCount() {
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        if (!qEnvironmentVariableIsEmpty(name))
            return argumentCount;
    throw Error("no display to open a window on (DISPLAY is not set)");
}

} // namespace

Application::Application(Console& messages)
    : QApplication(checkedArgumentCount(), commandLine), console(messages) {
    setApplicationDisplayName("ombrel");
    setDesktopFileName(programName); // selects the icon and the menu entry
    setWindowIcon(QIcon::fromTheme(programName));
}

bool Application::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::bad_alloc&) {
        console.message("not enough memory");
    } catch (const std::exception& error) {
        console.message(error.what());
    }
    return false;
}

namespace {

constexpr const char* about = "The windows of ombrel; \"ombrel gui\" and \"ombrel configure\" start it.";

struct GuiOptions {
    std::vector<std::string> inputs; // empty: the window offers ways to open files
    std::string plugin;
};

CLI::App& addConfigureCommand(CLI::App& program, ConfigureOptions& options) {
    CLI::App* command =
        program.add_subcommand("configure", "Open a filter's settings window, or its parameters");
    command->add_option("FILTER", options.filter, "The filter's name")->required()->type_name("NAME");
    command
        ->add_option("--settings", options.settings,
                     "The settings file, created when the window closes if it does not exist")
        ->required()
        ->type_name("FILE.xml");
    CLI::Option* frames =
        command->add_option("--frames", options.frames,
                            "Frames that the device returns as its last acquisition; they set its size");
    frames->type_name("FILE");
    command->add_option("--size", options.size, "Size of the device")->type_name("WxH")->excludes(frames);
    addPluginOption(*command, options.plugin);
    command->footer("Example:\n"
                    "  ombrel configure Flat-Field --settings ff.xml --frames flats.tif");
    return *command;
}

CLI::App& addGuiCommand(CLI::App& program, GuiOptions& options) {
    CLI::App* command =
        program.add_subcommand("gui", "Open the workbench: frames before and after a chain of filters");
    command
        ->add_option("INPUT", options.inputs,
                     "Frame files; of an HDF5 file one dataset by FILE::/path/of/dataset")
        ->type_name("FILE");
    addPluginOption(*command, options.plugin);
    command->footer("Examples:\n"
                    "  ombrel gui\n"
                    "  ombrel gui frames.h5");
    return *command;
}

CommandPaths pathsOf(const ConfigureOptions& options) {
    CommandPaths paths;
    if (!options.frames.empty())
        addInput(paths, options.frames);
    addPlugin(paths, options.plugin);
    paths.writes(options.settings, "the settings file", WhenThere::Replace);
    addFilesOfSettings(paths, options.filter, options.settings);
    return paths;
}

void showConfiguration(const ConfigureOptions& options, Console& console) {
    // Before the check for a display.
    if (!options.size.empty())
        parseFrameSize("--size", options.size);
    pathsOf(options).check(console);
    const Application application(console);
    configure(options, console);
}

void showWorkbench(const GuiOptions& options, Console& console) {
    const Application application(console);
    MainWindow window(console, options.plugin);
    window.show();
    if (!options.inputs.empty())
        window.open(options.inputs);
    Application::exec();
}

} // namespace

int runWorkbench(int argc, char** argv, Console& console) {
    // "ombrel" if that program started this one in its place.
    CLI::App program(about, argc > 0 ? std::filesystem::path(argv[0]).filename() : "ombrel-workbench");
    ConfigureOptions configureOptions;
    addConfigureCommand(program, configureOptions).callback([&] {
        showConfiguration(configureOptions, console);
    });
    GuiOptions guiOptions;
    addGuiCommand(program, guiOptions).callback([&] { showWorkbench(guiOptions, console); });
    return runProgram(program, argc, argv, console, EXIT_ALL_DONE);
}

} // namespace ombrel::workbench
