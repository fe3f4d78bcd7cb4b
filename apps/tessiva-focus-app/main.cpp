// tessiva-focus-app: the menu-bar program with its windows (Qt 6).
#include <CLI/CLI.hpp>
#include <QApplication>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <iostream>

#include "DesktopProgram.h"
#include "app/MenuBarController.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/Paths.h"
#include "runtime/UUID.h"
#include "ui/MenuBarShell.h"
#include "ui/ShellScreenshots.h"

namespace {

using Clock = std::chrono::steady_clock;

// How long the screenshots wait for the simulated Logic's first track-list capture.
constexpr int kScreenshotSettleMilliseconds = 1500;

}  // namespace

int main(int argc, char** argv) {
    const Clock::time_point launched = Clock::now();
    CLI::App cli{"Tessiva Focus: the menu-bar companion with its windows"};
    std::string home;
    std::string screenshots;
    std::string scenarioFile;
    std::string midi = "system";
    std::string bindHost = "::";
    int port = 12111;
    bool noBonjour = false;
    cli.add_option("--home", home,
                   "Profiles and preferences folder (default: Application Support)");
    cli.add_option("--screenshots", screenshots,
                   "Render the open menu and every window from a demo state into PNG files in "
                   "this folder, then exit");
    cli.add_option("--scenario", scenarioFile, "A JSON timeline for the simulated Logic Pro")
        ->check(CLI::ExistingFile);
    cli.add_option("--midi", midi, "MIDI backend")->check(CLI::IsMember({"system", "memory"}));
    cli.add_option("--port", port, "UDP port for the iPad link (0: any free port)")
        ->check(CLI::Range(0, 65535));
    cli.add_option("--bind", bindHost, "Address to listen on");
    cli.add_flag("--no-bonjour", noBonjour, "Do not advertise the Bonjour service");
    CLI11_PARSE(cli, argc, argv);

    QApplication application(argc, argv);
    application.setApplicationName("Tessiva Focus");
    // A menu-bar program keeps running with every window closed.
    application.setQuitOnLastWindowClosed(false);

    tessiva::DesktopOptions options;
    const bool takingScreenshots = !screenshots.empty();
    std::filesystem::path temporaryHome;
    if (takingScreenshots && home.empty()) {
        // The demo state must never touch the user's own profiles.
        temporaryHome =
            std::filesystem::temp_directory_path() / ("tessiva-screenshots-" + tessiva::makeUUID());
        home = temporaryHome.string();
    }
    options.homeFolder =
        home.empty() ? tessiva::applicationSupportFolder() : std::filesystem::path(home);
    options.port = static_cast<std::uint16_t>(takingScreenshots ? 0 : port);
    options.bindHost = takingScreenshots ? "127.0.0.1" : bindHost;
    options.advertiseBonjour = !noBonjour && !takingScreenshots;
    options.midiBackend = takingScreenshots ? "memory" : midi;
    options.headlessShell = takingScreenshots;
    options.preferSystemLogic = !takingScreenshots;
    if (!scenarioFile.empty()) {
        std::string error;
        auto text = tessiva::readWholeFile(scenarioFile, &error);
        if (!text) {
            std::cerr << "tessiva-focus-app: " << error << "\n";
            return 1;
        }
        auto parsed = tessiva::Scenario::parse(*text);
        if (auto* failure = std::get_if<std::string>(&parsed)) {
            std::cerr << "tessiva-focus-app: " << scenarioFile << ": " << *failure << "\n";
            return 1;
        }
        options.scenario = std::get<tessiva::Scenario>(std::move(parsed));
    }

    tessiva::StdoutConsole console;
    tessiva::DesktopProgram program(std::move(options), console);
    program.start();
    QTimer::singleShot(0, [&] {
        const auto elapsed =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - launched);
        console.line("[App] Menu ready " + std::to_string(elapsed.count()) + " ms after launch");
    });

    int exitCode = 0;
    if (takingScreenshots) {
        program.loadDemoState();
        QTimer::singleShot(kScreenshotSettleMilliseconds, [&] {
            const auto files = tessiva::writeShellScreenshots(program.shell(), screenshots);
            for (const auto& file : files)
                console.line("[App] Wrote " + file.string());
            exitCode = files.size() == tessiva::kShellScreenshotCount ? 0 : 1;
            QApplication::quit();
        });
    }
    const int loopResult = application.exec();
    if (!temporaryHome.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(temporaryHome, ec);
    }
    return takingScreenshots ? exitCode : loopResult;
}
