#include "HeadlessProgram.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "ConsoleCommands.h"
#include "app/AppDelegate.h"
#include "app/MenuCommandRunner.h"
#include "mapping/DebugLogStore.h"
#include "osc/OSCDiscoveryManager.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/defaults/JsonFileUserDefaults.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "platform/midi/MIDIService.h"
#include "platform/net/UdpTransport.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "platform/system/SystemPlatform.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/RepeatingTimer.h"
#include "scenario/ScenarioPlayer.h"

namespace tessiva {

namespace {

std::atomic<bool> quitSignalled{false};

void onQuitSignal(int) {
    quitSignalled.store(true);
}

// How often the main loop looks for Ctrl-C; a signal handler may not touch the queues itself.
constexpr double kSignalPollInterval = 0.1;
// How often the main thread hands waiting system events (workspace notifications, event
// monitors) to AppKit when Asio, not AppKit, owns the main thread.
constexpr double kSystemEventPumpInterval = 0.05;
// How often the standard-input reader looks whether the program is quitting.
constexpr int kConsoleInputPollMilliseconds = 100;

std::string answerName(ProjectRecallAnswer answer) {
    switch (answer) {
        case ProjectRecallAnswer::saveCurrentAndLoad:
            return "save-and-load";
        case ProjectRecallAnswer::load:
            return "load";
        case ProjectRecallAnswer::keepCurrent:
            return "keep";
    }
    return "keep";
}

// The recall prompt without a screen: the answer comes from the command line and is logged.
class CommandLineRecallAlert final : public ProjectRecallAlert {
  public:
    CommandLineRecallAlert(ProjectRecallAnswer answer, Console& console)
        : answer_(answer), console_(console) {}
    ProjectRecallAnswer ask(const ProjectRecallPrompt& prompt) override {
        const std::string button = answer_ == ProjectRecallAnswer::saveCurrentAndLoad
                                       ? prompt.saveAndLoadButton
                                   : answer_ == ProjectRecallAnswer::load ? prompt.loadButton
                                                                          : prompt.keepButton;
        console_.line("[MenuBar] Recall prompt \"" + prompt.title + "\" answered \"" + button +
                      "\" (--recall-answer " + answerName(answer_) + ")");
        return answer_;
    }

  private:
    ProjectRecallAnswer answer_;
    Console& console_;
};

}  // namespace

std::optional<ProjectRecallAnswer> recallAnswerFromName(const std::string& name) {
    if (name == "save-and-load")
        return ProjectRecallAnswer::saveCurrentAndLoad;
    if (name == "load")
        return ProjectRecallAnswer::load;
    if (name == "keep")
        return ProjectRecallAnswer::keepCurrent;
    return std::nullopt;
}

Scenario defaultHeadlessScenario() {
    Scenario scenario;
    scenario.project = "Song";
    // Logic 12 as recorded: the header rail, a selection published about 0.35 s after the
    // gesture, and no notification for it.
    scenario.version = SimulatedLogicVersion::logic12;
    scenario.notifications = SimulatedLogicNotifications::none;
    scenario.selectionSettleDelay = 0.35;
    scenario.selectionSettleJitter = 0.05;
    scenario.tracks = {std::string("Piano"), std::string("Bass"), std::string("Drums"),
                       Scenario::Stack{"Strings", {"Violins", "Violas", "Cellos"}},
                       std::string("Choir")};
    return scenario;
}

struct HeadlessProgram::Parts {
    Parts(HeadlessOptions opts, Console& out)
        : options(std::move(opts)),
          console(out),
          notifications(dispatcher.mainQueue()),
          logic(dispatcher.clock()),
          udp(makeUdpTransport()),
          defaults(options.homeFolder / "Preferences.json", out),
          sound(makeLoggingConnectionSoundPlayer(out)),
          recallAlert(options.recallAnswer, out) {
        if (options.midiBackend == "memory") {
            auto simulated = std::make_unique<SimulatedMIDIService>();
            recorded = simulated.get();
            // A network session, as a Mac with the iPad's MIDI network session enabled has.
            simulated->addDestination("Network Session 1");
            midi = std::move(simulated);
        } else {
            midi = makeSystemMIDIService();
        }
        if (options.advertiseBonjour)
            advertiser = makeServiceAdvertiser();
    }

    HeadlessOptions options;
    Console& console;
    AsioDispatcher dispatcher;
    NotificationCenter notifications;
    SimulatedLogic logic;
    std::unique_ptr<MIDIService> midi;
    SimulatedMIDIService* recorded = nullptr;
    std::unique_ptr<UdpTransport> udp;
    JsonFileUserDefaults defaults;
    std::unique_ptr<ConnectionSoundPlayer> sound;
    ActivationEventSource activation;
    CommandLineRecallAlert recallAlert;
    std::unique_ptr<ServiceAdvertiser> advertiser;
    // The real Logic's adapters, when the program watches it.
    std::unique_ptr<SystemPlatform> system;
    RepeatingTimer systemEventPump;
    std::unique_ptr<AppDelegate> delegate;
    std::unique_ptr<ScenarioPlayer> player;
    std::unique_ptr<MenuCommandRunner> menuRunner;
    std::unique_ptr<ConsoleCommands> consoleCommands;
    std::thread consoleReader;
    std::atomic<bool> stopConsoleReader{false};
    RepeatingTimer signalPoll;
    ObserverToken eventPrinter;
    std::string lastPrintedEventID;
    bool quitRequested = false;
};

HeadlessProgram::HeadlessProgram(HeadlessOptions options, Console& console)
    : parts_(std::make_unique<Parts>(std::move(options), console)) {}

HeadlessProgram::~HeadlessProgram() {
    if (!parts_)
        return;
    parts_->signalPoll.stop();
    parts_->systemEventPump.stop();
    stopConsoleReader();
    parts_->player.reset();
    parts_->consoleCommands.reset();
    parts_->menuRunner.reset();
    parts_->eventPrinter.reset();
    parts_->delegate.reset();
}

bool HeadlessProgram::start() {
    Parts& p = *parts_;
    const LogicChoice choice = p.options.logic;
    if (choice == LogicChoice::system ||
        (choice == LogicChoice::automatic && !p.options.scenario)) {
        p.system = makeSystemPlatform(p.dispatcher.mainQueue(), p.dispatcher.clock(), p.activation,
                                      p.console);
        if (!p.system && choice == LogicChoice::system)
            p.console.line(
                "[Platform] This system cannot run Logic Pro; watching the simulated "
                "Logic instead");
    }
    if (p.system) {
        if (p.options.scenario)
            p.console.line("[Platform] A scenario plays only in the simulated Logic; ignored");
        p.options.scenario.reset();
        p.systemEventPump.start(p.dispatcher.mainQueue(), 0.0, kSystemEventPumpInterval,
                                [this] { parts_->system->pumpMainThreadEvents(); });
    } else {
        const Scenario scenario = p.options.scenario.value_or(defaultHeadlessScenario());
        // Logic starts with the scenario's project already open, as when the user launches us
        // later.
        p.logic.quit();
        ScenarioPlayer::buildProject(p.logic, scenario);
        p.logic.launch();
    }

    CoordinatorOptions coordinator;
    coordinator.profilesFolder = p.options.homeFolder;
    coordinator.listenPort = p.options.port;
    coordinator.bindHost = p.options.bindHost;
    coordinator.localDeviceName = p.options.localDeviceName;
    p.delegate = std::make_unique<AppDelegate>(
        p.dispatcher, p.notifications, p.console,
        p.system ? PlatformServices{*p.system->accessibility, *p.system->input, *p.midi, *p.udp,
                                    *p.system->defaults, *p.system->sound, p.activation,
                                    p.recallAlert, p.advertiser.get()}
                 : PlatformServices{p.logic, p.logic.input(), *p.midi, *p.udp, p.defaults, *p.sound,
                                    p.activation, p.recallAlert, p.advertiser.get()},
        coordinator);
    MenuBarController& controller = p.delegate->menuBarController();
    controller.onQuitRequested = [this] { requestQuit(); };
    if (p.options.printEvents) {
        p.eventPrinter = controller.log().entries().subscribe(
            [this](const std::vector<DebugLogStore::Entry>& entries) {
                Parts& parts = *parts_;
                auto next = entries.begin();
                for (auto it = entries.begin(); it != entries.end(); ++it) {
                    if (it->id == parts.lastPrintedEventID)
                        next = it + 1;
                }
                for (; next != entries.end(); ++next) {
                    parts.console.line("EVENT " + next->title +
                                       (next->detail ? " — " + *next->detail : std::string()));
                    parts.lastPrintedEventID = next->id;
                }
            });
    }
    p.delegate->applicationDidFinishLaunching();
    p.menuRunner = std::make_unique<MenuCommandRunner>(controller);

    std::signal(SIGINT, onQuitSignal);
    std::signal(SIGTERM, onQuitSignal);
    p.signalPoll.start(p.dispatcher.mainQueue(), kSignalPollInterval, kSignalPollInterval, [this] {
        if (quitSignalled.exchange(false)) {
            parts_->console.line("[MenuBar] Quit requested (signal)");
            requestQuit();
        }
    });

    if (p.options.scenario) {
        p.player = std::make_unique<ScenarioPlayer>(
            p.dispatcher.mainQueue(), p.logic,
            [this](const std::string& line) { parts_->console.line("[Scenario] " + line); });
        p.player->setActivationEvents(&p.activation);
        p.player->setMenuHandler(
            [this](const MenuRequest& request) { return parts_->menuRunner->run(request); });
        std::function<void()> finished;
        if (p.options.quitWhenScenarioEnds) {
            finished = [this] {
                parts_->console.line("[Scenario] finished");
                requestQuit();
            };
        }
        p.player->play(*p.options.scenario, std::move(finished));
    }
    if (p.options.readConsoleCommands)
        startConsoleReader();
    return true;
}

// Standard input is read on its own thread, polled so that quitting never waits for a line;
// each line is executed on the main queue and answered on the console.
void HeadlessProgram::startConsoleReader() {
    Parts& p = *parts_;
    p.consoleCommands = std::make_unique<ConsoleCommands>(p.delegate->menuBarController());
    p.console.line("[Console] Reading commands from standard input (type \"help\")");
    p.consoleReader = std::thread([this] {
        Parts& parts = *parts_;
        std::string pending;
        char buffer[4096];
        auto execute = [this](std::string line) {
            parts_->dispatcher.mainQueue().post([this, line = std::move(line)] {
                for (const auto& answer : parts_->consoleCommands->execute(line))
                    parts_->console.line("[Console] " + answer);
            });
        };
        while (!parts.stopConsoleReader.load()) {
            pollfd input{STDIN_FILENO, POLLIN, 0};
            const int ready = ::poll(&input, 1, kConsoleInputPollMilliseconds);
            if (ready <= 0)
                continue;
            const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count <= 0) {
                if (!pending.empty())
                    execute(pending);
                parts_->dispatcher.mainQueue().post([this] {
                    parts_->console.line(
                        "[Console] Standard input closed; running until Ctrl-C or quit");
                });
                return;
            }
            pending.append(buffer, static_cast<std::size_t>(count));
            for (auto end = pending.find('\n'); end != std::string::npos;
                 end = pending.find('\n')) {
                execute(pending.substr(0, end));
                pending.erase(0, end + 1);
            }
        }
    });
}

void HeadlessProgram::stopConsoleReader() {
    parts_->stopConsoleReader.store(true);
    if (parts_->consoleReader.joinable())
        parts_->consoleReader.join();
}

void HeadlessProgram::requestQuit() {
    parts_->quitRequested = true;
    parts_->dispatcher.stopMainLoop();
}

int HeadlessProgram::run() {
    Parts& p = *parts_;
    while (!p.quitRequested)
        p.dispatcher.runMainLoop();
    p.signalPoll.stop();
    p.systemEventPump.stop();
    stopConsoleReader();
    p.delegate->applicationWillTerminate();
    // Let the last sends and the link's own shutdown finish before the queues go.
    p.dispatcher.runMainLoopFor(0.1);
    return 0;
}

void HeadlessProgram::runFor(double seconds) {
    parts_->dispatcher.runMainLoopFor(seconds);
}

std::uint16_t HeadlessProgram::listenPort() const {
    return parts_->delegate->menuBarController().discovery().listenPort();
}

AppDelegate& HeadlessProgram::appDelegate() {
    return *parts_->delegate;
}
SimulatedLogic& HeadlessProgram::logic() {
    return parts_->logic;
}
SimulatedMIDIService* HeadlessProgram::recordedMIDI() {
    return parts_->recorded;
}
void HeadlessProgram::post(std::function<void()> work) {
    parts_->dispatcher.mainQueue().post(std::move(work));
}
void HeadlessProgram::postAfter(double seconds, std::function<void()> work) {
    parts_->dispatcher.mainQueue().postAfter(seconds, std::move(work));
}

}  // namespace tessiva
