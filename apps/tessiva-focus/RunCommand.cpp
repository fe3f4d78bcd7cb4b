#include "RunCommand.h"

#include <iostream>
#include <memory>

#include "HeadlessProgram.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/Paths.h"

namespace tessiva {

namespace {

struct RunArguments {
    std::string scenarioFile;
    bool events = false;
    std::string recallAnswer = "keep";
    int port = 12111;
    std::string bindHost = "::";
    bool noBonjour = false;
    std::string midi = "system";
    std::string home;
    std::string name;
    bool quitAfterScenario = false;
    bool console = false;
    std::string logic = "auto";
};

int runProgram(const RunArguments& arguments) {
    HeadlessOptions options;
    options.homeFolder =
        arguments.home.empty() ? applicationSupportFolder() : std::filesystem::path(arguments.home);
    options.port = static_cast<std::uint16_t>(arguments.port);
    options.bindHost = arguments.bindHost;
    options.advertiseBonjour = !arguments.noBonjour;
    options.midiBackend = arguments.midi;
    options.printEvents = arguments.events;
    options.localDeviceName = arguments.name;
    options.quitWhenScenarioEnds = arguments.quitAfterScenario;
    options.readConsoleCommands = arguments.console;
    options.logic = arguments.logic == "system"      ? LogicChoice::system
                    : arguments.logic == "simulated" ? LogicChoice::simulated
                                                     : LogicChoice::automatic;
    options.recallAnswer = *recallAnswerFromName(arguments.recallAnswer);
    if (!arguments.scenarioFile.empty()) {
        std::string error;
        auto text = readWholeFile(arguments.scenarioFile, &error);
        if (!text) {
            std::cerr << "tessiva-focus: " << error << "\n";
            return 1;
        }
        auto parsed = Scenario::parse(*text);
        if (auto* failure = std::get_if<std::string>(&parsed)) {
            std::cerr << "tessiva-focus: " << arguments.scenarioFile << ": " << *failure << "\n";
            return 1;
        }
        options.scenario = std::get<Scenario>(std::move(parsed));
    }
    StdoutConsole console;
    HeadlessProgram program(std::move(options), console);
    if (!program.start())
        return 1;
    return program.run();
}

}  // namespace

void addRunCommand(CLI::App& app, int& exitCode) {
    auto arguments = std::make_shared<RunArguments>();
    CLI::App* run = app.add_subcommand(
        "run", "Run the whole program (iPad link, Bonjour, MIDI, Logic observer) until Ctrl-C");
    run->add_option("--scenario", arguments->scenarioFile,
                    "A JSON timeline of user actions in the simulated Logic Pro (see README)")
        ->check(CLI::ExistingFile);
    run->add_flag("--events", arguments->events, "Also print every event-log entry");
    run->add_option("--recall-answer", arguments->recallAnswer,
                    "How to answer the project recall prompt")
        ->check(CLI::IsMember({"save-and-load", "load", "keep"}))
        ->capture_default_str();
    run->add_option("--port", arguments->port, "UDP port for the iPad link (0: any free port)")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    run->add_option("--bind", arguments->bindHost, "Address to listen on")->capture_default_str();
    run->add_flag("--no-bonjour", arguments->noBonjour,
                  "Do not advertise the service with Bonjour");
    run->add_option("--midi", arguments->midi,
                    "MIDI backend: system (CoreMIDI, JACK or ALSA) or memory (recorded only)")
        ->check(CLI::IsMember({"system", "memory"}))
        ->capture_default_str();
    run->add_option("--home", arguments->home,
                    "Folder for profiles and preferences (default: the application-support folder "
                    "or TESSIVA_FOCUS_HOME)");
    run->add_option("--name", arguments->name,
                    "Name announced to the iPad (default: this computer's)");
    run->add_flag("--quit-after-scenario", arguments->quitAfterScenario,
                  "Quit when the scenario has played");
    run->add_option("--logic", arguments->logic,
                    "Which Logic Pro to watch: system (the real one, on a Mac), simulated, or "
                    "auto (the real one unless a scenario is given)")
        ->check(CLI::IsMember({"auto", "system", "simulated"}))
        ->capture_default_str();
    run->add_flag("--console", arguments->console,
                  "Read commands from standard input: menu TITLE, review, review apply N, "
                  "review apply-all, status, help");
    run->callback([arguments, &exitCode] { exitCode = runProgram(*arguments); });
}

}  // namespace tessiva
