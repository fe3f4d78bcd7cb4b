#include "DesktopProgram.h"

#include <QApplication>

#include "app/AppDelegate.h"
#include "autoassign/AutoAssignCoordinator.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/defaults/JsonFileUserDefaults.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "platform/midi/MIDIService.h"
#include "platform/net/UdpTransport.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "platform/system/SystemPlatform.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "scenario/ScenarioPlayer.h"
#include "ui/MenuBarShell.h"
#include "ui/QtDispatcher.h"
#include "ui/ShellDialogs.h"

namespace tessiva {

namespace {

// The small project of `tessiva-focus run`, played by the simulated Logic 12.
Scenario defaultDesktopScenario() {
    Scenario scenario;
    scenario.project = "Song";
    scenario.version = SimulatedLogicVersion::logic12;
    scenario.notifications = SimulatedLogicNotifications::none;
    scenario.selectionSettleDelay = 0.35;
    scenario.tracks = {std::string("Piano"), std::string("Bass"), std::string("Drums"),
                       Scenario::Stack{"Strings", {"Violins", "Violas", "Cellos"}},
                       std::string("Choir")};
    return scenario;
}

RemoteWorkspaceBank bank(std::string uuid, std::string name, std::string section,
                         std::optional<std::string> group = std::nullopt) {
    RemoteWorkspaceBank result;
    result.uuid = std::move(uuid);
    result.name = std::move(name);
    result.sectionName = std::move(section);
    if (group) {
        result.groupUUID = "G-" + *group;
        result.groupName = group;
    }
    result.articulationCount = 8;
    return result;
}

}  // namespace

struct DesktopProgram::Parts {
    Parts(DesktopOptions opts, Console& out)
        : options(std::move(opts)),
          console(out),
          notifications(dispatcher.mainQueue()),
          logic(dispatcher.clock()),
          udp(makeUdpTransport()),
          defaults(options.homeFolder / "Preferences.json", out),
          sound(makeLoggingConnectionSoundPlayer(out)) {
        if (options.midiBackend == "memory") {
            auto simulated = std::make_unique<SimulatedMIDIService>();
            simulated->addDestination("Network Session 1");
            midi = std::move(simulated);
        } else {
            midi = makeSystemMIDIService();
        }
        if (options.advertiseBonjour)
            advertiser = makeServiceAdvertiser();
    }

    DesktopOptions options;
    Console& console;
    QtDispatcher dispatcher;
    NotificationCenter notifications;
    SimulatedLogic logic;
    std::unique_ptr<MIDIService> midi;
    std::unique_ptr<UdpTransport> udp;
    JsonFileUserDefaults defaults;
    std::unique_ptr<ConnectionSoundPlayer> sound;
    ActivationEventSource activation;
    ShellDialogs dialogs;
    std::unique_ptr<ServiceAdvertiser> advertiser;
    // The real Logic's adapters, when the program watches it. Qt's event loop turns AppKit's,
    // so no pump is needed here.
    std::unique_ptr<SystemPlatform> system;
    std::unique_ptr<AppDelegate> delegate;
    std::unique_ptr<MenuBarShell> shell;
    std::unique_ptr<ScenarioPlayer> player;
};

DesktopProgram::DesktopProgram(DesktopOptions options, Console& console)
    : parts_(std::make_unique<Parts>(std::move(options), console)) {}

DesktopProgram::~DesktopProgram() {
    parts_->player.reset();
    parts_->shell.reset();
    parts_->delegate.reset();
}

void DesktopProgram::start() {
    Parts& p = *parts_;
    if (p.options.preferSystemLogic && !p.options.scenario)
        p.system = makeSystemPlatform(p.dispatcher.mainQueue(), p.dispatcher.clock(), p.activation,
                                      p.console);
    if (!p.system) {
        const Scenario scenario = p.options.scenario.value_or(defaultDesktopScenario());
        p.logic.quit();
        ScenarioPlayer::buildProject(p.logic, scenario);
        p.logic.launch();
    }

    CoordinatorOptions coordinator;
    coordinator.profilesFolder = p.options.homeFolder;
    coordinator.listenPort = p.options.port;
    coordinator.bindHost = p.options.bindHost;
    p.delegate = std::make_unique<AppDelegate>(
        p.dispatcher, p.notifications, p.console,
        p.system ? PlatformServices{*p.system->accessibility, *p.system->input, *p.midi, *p.udp,
                                    *p.system->defaults, *p.system->sound, p.activation, p.dialogs,
                                    p.advertiser.get()}
                 : PlatformServices{p.logic, p.logic.input(), *p.midi, *p.udp, p.defaults, *p.sound,
                                    p.activation, p.dialogs, p.advertiser.get()},
        coordinator);
    MenuBarController& controller = p.delegate->menuBarController();
    controller.onQuitRequested = [] { QApplication::quit(); };
    p.shell = std::make_unique<MenuBarShell>(controller, p.dialogs,
                                             p.options.headlessShell
                                                 ? MenuBarShell::StatusItemKind::none
                                                 : MenuBarShell::StatusItemKind::trayIcon);
    p.delegate->applicationDidFinishLaunching();
    QObject::connect(qApp, &QCoreApplication::aboutToQuit,
                     [this] { parts_->delegate->applicationWillTerminate(); });
    if (!p.options.headlessShell)
        p.shell->showFirstRunHints();
    if (p.options.scenario) {
        p.player = std::make_unique<ScenarioPlayer>(
            p.dispatcher.mainQueue(), p.logic,
            [this](const std::string& line) { parts_->console.line("[Scenario] " + line); });
        p.player->setActivationEvents(&p.activation);
        p.player->play(*p.options.scenario, nullptr);
    }
}

AppDelegate& DesktopProgram::appDelegate() {
    return *parts_->delegate;
}

MenuBarShell& DesktopProgram::shell() {
    return *parts_->shell;
}

void DesktopProgram::loadDemoState() {
    MenuBarController& controller = parts_->delegate->menuBarController();
    RemoteWorkspaceSnapshot workspace;
    workspace.workspaceUUID = "W-DEMO";
    workspace.workspaceName = "Orchestral Template";
    workspace.sections = {
        {"Keys", {bank("B-PIANO", "Grand Piano", "Keys"), bank("B-RHODES", "Rhodes", "Keys")}},
        {"Strings",
         {bank("B-VLN", "Violins", "Strings", "High Strings"),
          bank("B-VLA", "Violas", "Strings", "High Strings"),
          bank("B-VC1", "Celli Legato", "Strings", "Low Strings"),
          bank("B-VC2", "Celli Spiccato", "Strings", "Low Strings")}},
        {"Rhythm", {bank("B-BASS", "Bass", "Rhythm"), bank("B-KIT", "Drum Kit", "Rhythm")}},
        {"Voices", {bank("B-CHOIR", "Choir Aahs", "Voices")}},
    };
    controller.workspaceStore().publish(workspace);
    MappingStore& store = controller.mappingStore();
    const std::vector<std::string> names = {"Piano",   "Bass",   "Drums",  "Strings",
                                            "Violins", "Violas", "Cellos", "Choir"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const int row = static_cast<int>(i) + 1;
        (void)store.setMIDIMapping(
            row, MIDIMapping{MappingEventType::programChange, row - 1, std::nullopt, 1, names[i]});
    }
    // The workspace reaches the store through the main queue; run auto assign after it.
    parts_->dispatcher.mainQueue().post([&controller] { controller.autoAssign().runAutoAssign(); });
}

}  // namespace tessiva
