// `configure` on the loaded plug-in: its windows are met as a host meets them, as widgets of an unknown
// class.
#include "chain/Configure.h"

#include "base/Error.h"
#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"
#include "fixtures/Program.h"
#include "fixtures/WidgetActions.h"
#include "host/Chain.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QTableWidget>
#include <QTimer>
#include <QTreeView>

namespace {

class Configure : public testing::Test {
protected:
    // Configures, and hands the window of that title to `user`, who ends by closing it.
    ombrel::Console* console = &quietConsole();

    void configure(const ombrel::workbench::ConfigureOptions& options, const QString& title,
                   const std::function<void(QWidget&)>& user) {
        bool met = false;
        QTimer look;
        look.callOnTimeout([&] {
            for (QWidget* window : QApplication::topLevelWidgets())
                if (window->isVisible() && window->windowTitle() == title) {
                    look.stop();
                    met = true;
                    user(*window);
                    EXPECT_FALSE(window->isVisible());
                    window->close();
                    return;
                }
        });
        look.start(1);
        ombrel::workbench::configure(options, *console);
        EXPECT_TRUE(met) << title.toStdString();
        for (const QWidget* window : QApplication::topLevelWidgets())
            EXPECT_NE(window->windowTitle(), title) << "the window outlives its filter";
    }

    ombrel::workbench::ConfigureOptions optionsFor(const char* filter) const {
        ombrel::workbench::ConfigureOptions options;
        options.filter = filter;
        options.settings = settings;
        options.plugin = OMBREL_PLUGIN;
        return options;
    }

    const TemporaryFolder folder;
    const std::string settings = folder / "set \xC3\xBC.xml";
};

TEST_F(Configure, TheFramesOfAFileAreWhatTheDeviceMeasured) {
    writeTiff(folder / "flats.tif", ImageStack<zt::u32>{3, 2, {1, 1, 1, 1, 1, 1, 3, 1, 1, 1, 1, 1}});
    auto options = optionsFor("Flat-Field");
    options.frames = folder / "flats.tif";
    configure(options, "Flat-field Filter Settings", [&](QWidget& window) {
        EXPECT_EQ(textOf(window, "edCoeffsData"), "");
        click(window, "btCoeffAllFrames");
        EXPECT_EQ(textOf(window, "edCoeffsData"), "<From all measured frames>");
        click(window, "rbBadFF");
        EXPECT_FALSE(std::filesystem::exists(settings));
        click(window, "btClose");
    });
    EXPECT_THAT(fileText(settings), HasSubstr("<item key=\"CoeffsSize\" type=\"int\">6</item>"));

    options.frames.clear();
    configure(options, "Flat-field Filter Settings", [](QWidget& window) {
        EXPECT_TRUE(isChecked(window, "rbBadFF")) << "as it was saved";
        click(window, "btClose");
    });
}

TEST_F(Configure, AWindowThatIsNotModalIsWaitedFor) {
    writeTiff(folder / "mask.tif", ImageStack<zt::u32>{3, 2, {1, 2, 3, 4, 5, 6}});
    auto options = optionsFor("Beam-hardening");
    options.frames = folder / "mask.tif";
    configure(options, "Beam-hardening Filter Settings", [&](QWidget& window) {
        click(window, "btAddMeas");
        EXPECT_EQ(child<QTableWidget>(window, "twMasks").rowCount(), 1);
        click(window, "btClose");
    });
    EXPECT_THAT(fileText(settings), HasSubstr("<item key=\"MaskCount\" type=\"int\">1</item>"));
}

TEST_F(Configure, AFilterWithoutWindowShowsItsParametersAndIsSavedOnClose) {
    configure(optionsFor("Binning 2x2"), "Binning 2x2 Settings", [](QWidget& window) {
        EXPECT_EQ(window.findChild<QTreeView*>()->model()->rowCount(), 1);
        EXPECT_THAT(child<QLabel>(window, "lbChange").text().toStdString(), HasSubstr("read-only"));
        window.close();
    });
    EXPECT_FALSE(std::filesystem::exists(settings)) << "there is nothing to save";

    // A calibration was cut off between its two files.
    writeFileText(settings, "<settings><group name='Settings'/><group name='ombrel'><item key='HeapHash' "
                            "type='string'>of another</item></group></settings>");
    EXPECT_THAT(errorOf([&] { ombrel::workbench::configure(optionsFor("AdaptiveFF"), quietConsole()); }),
                HasSubstr("is missing, the one it was made with"));
    std::filesystem::remove(settings);

    // Without its calibration data this one has no parameters.
    configure(optionsFor("AdaptiveFF"), "AdaptiveFF Settings", [](QWidget& window) {
        EXPECT_THAT(window.findChild<QLabel*>()->text().toStdString(), HasSubstr("no parameters"));
        window.close();
    });
    EXPECT_FALSE(std::filesystem::exists(settings));

    writeFileText(folder / "set \xC3\xBC.bin", "no calibration");
    configure(optionsFor("AdaptiveFF"), "AdaptiveFF Settings", [](QWidget& window) {
        EXPECT_GT(window.findChild<QTreeView*>()->model()->rowCount(), 10);
        window.close();
    });
    EXPECT_THAT(fileText(settings), HasSubstr("QfTileSize"));
}

TEST_F(Configure, PrintsWhyAFileWasNotLoaded) {
    writeTiff(folder / "flats.tif", ImageStack<zt::u32>{3, 2, {1, 1, 1, 1, 1, 1}});
    std::filesystem::resize_file(folder / "flats.tif", 30);
    auto options = optionsFor("Flat-Field");
    options.size = "3x2";
    QTimer pick;
    pick.callOnTimeout([&] {
        if (auto* const picker = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            pick.stop();
            chooseFile(*picker, folder / "flats.tif");
        }
    });
    std::FILE* const stream = std::fopen((folder / "messages").c_str(), "w");
    const auto printing = consoleOn(stream);
    console = printing.get();
    configure(options, "Flat-field Filter Settings", [&](QWidget& window) {
        pick.start(1);
        click(window, "btCoeffLoad");
        EXPECT_EQ(textOf(window, "edCoeffsData"), "");
        click(window, "btClose");
    });
    std::fflush(stream);
    EXPECT_THAT(fileText(folder / "messages"), HasSubstr("flats.tif"));
    std::fclose(stream);
}

TEST_F(Configure, LeavesASettingsFileThatCannotBeRead) {
    writeFileText(settings, "<settings><group");
    EXPECT_THROW(ombrel::workbench::configure(optionsFor("Flat-Field"), quietConsole()), ombrel::Error);
    EXPECT_EQ(fileText(settings), "<settings><group");

    auto options = optionsFor("Flat-Field");
    options.settings = folder / "gone/ff.xml";
    EXPECT_THROW(ombrel::workbench::configure(options, quietConsole()), ombrel::Error);
    options.frames = folder / "missing.tif";
    EXPECT_THROW(ombrel::workbench::configure(options, quietConsole()), ombrel::Error);
    EXPECT_THROW(ombrel::workbench::configure(optionsFor("Nothing"), quietConsole()), ombrel::UnknownFilter);
    options.frames.clear();
    options.size = "3";
    EXPECT_THROW(ombrel::workbench::configure(options, quietConsole()), ombrel::UsageError);
}

TEST_F(Configure, TheCommandHandsItsArgumentsOver) {
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "configure");
        return runOmbrel(arguments);
    };
    // What only the program with the windows can tell.
    const auto unknown = run({"odd name", "--settings", settings, "--size", "4x4"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_THAT(unknown.messages, HasSubstr("\"odd name\""));
    const auto missing = run({"Flat-Field", "--settings", settings, "--frames", folder / "missing.tif"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_THAT(missing.messages, HasSubstr("missing.tif"));
    EXPECT_EQ(run({"Flat-Field", "--settings", settings, "--plugin", folder / "none.so"}).exitCode, 1);

    EXPECT_EQ(run({"Flat-Field"}).exitCode, 2);
    EXPECT_EQ(run({"Flat-Field", "--settings", settings, "--size", "4x4", "--frames", "a"}).exitCode, 2);

    qunsetenv("QT_QPA_PLATFORM");
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    const auto blind = run({"Flat-Field", "--settings", settings});
    qputenv("QT_QPA_PLATFORM", "offscreen");
    EXPECT_EQ(blind.exitCode, 1);
    EXPECT_THAT(blind.messages, HasSubstr("display"));
}

} // namespace
