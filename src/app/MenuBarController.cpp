#include "app/MenuBarController.h"

#include <fmt/format.h>

#include <filesystem>

#include "app/AppNotifications.h"
#include "app/DirectNavigation.h"
#include "app/IPadTransfers.h"
#include "app/LearnModeStore.h"
#include "app/MappingReconcile.h"
#include "app/MappingsEditor.h"
#include "app/ProjectProfileSetup.h"
#include "app/SelectionStageRecorder.h"
#include "app/StructuralRepairState.h"
#include "app/TrackSelectionRouter.h"
#include "autoassign/AutoAssignCoordinator.h"
#include "logic/LogicObserver.h"
#include "logic/LogicTempoBridge.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileLibrary.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "midi/VirtualMIDIBridge.h"
#include "osc/BankMappingLookup.h"
#include "osc/MirroredMIDISink.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "platform/ax/AccessibilityPort.h"
#include "repair/LogicStructuralCommand.h"
#include "repair/StructuralCaptureSource.h"
#include "repair/StructuralRepairOrchestrator.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/Queue.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

namespace {

// How often the Logic status line is brought up to date.
constexpr double kStatusRefreshInterval = 2.0;

}  // namespace

// Logic's window as project tracking sees it: running by bundle identifier, title through the
// observer (absent while quarantined or detached).
class MenuBarController::LogicWindow final : public LogicProjectWindow {
  public:
    LogicWindow(AccessibilityPort& accessibility, LogicObserver& observer)
        : accessibility_(accessibility), observer_(observer) {}
    bool isLogicRunning() const override {
        return !accessibility_.runningApplications(kLogicBundleIdentifier).empty();
    }
    std::optional<std::string> windowTitle() const override {
        return observer_.readLogicWindowTitle();
    }

  private:
    AccessibilityPort& accessibility_;
    LogicObserver& observer_;
};

// Mirrored MIDI from the iPad goes straight out of "Tessiva MIDI", on the mirrored-MIDI queue.
class MenuBarController::MirroredMIDIForwarder final : public MirroredMIDISink {
  public:
    explicit MirroredMIDIForwarder(VirtualMIDIBridge& bridge) : bridge_(bridge) {}
    void mirroredMIDIEvent(const MirroredMIDIEventArguments& event, std::string_view) override {
        bridge_.mirror(event.typeName, event.channel, event.data1, event.data2);
    }

  private:
    VirtualMIDIBridge& bridge_;
};

// The iPad's "which track is this bank mapped to?", answered from the mapping store.
class MenuBarController::MappedTrackLookup final : public BankMappingLookup {
  public:
    explicit MappedTrackLookup(MappingStore& store) : store_(store) {}
    std::optional<MappedTrack> mappedTrack(const std::string& bankUUID) const override {
        const std::vector<int> rows = store_.rowsMappedTo(bankUUID);
        if (rows.empty())
            return std::nullopt;
        const auto mapping = store_.bankMapping(rows.front());
        return MappedTrack{rows.front(), mapping ? mapping->trackName : std::string()};
    }

  private:
    MappingStore& store_;
};

// Logic's visible track list for structural repair, read through the observer.
class MenuBarController::RepairCaptureSource final : public StructuralCaptureSource {
  public:
    explicit RepairCaptureSource(LogicObserver& observer) : observer_(observer) {}
    void captureVisibleTrackList(std::function<void(std::optional<RowMap>)> done) override {
        observer_.captureVisibleTrackList(std::move(done));
    }
    bool isQuarantined() const override { return observer_.isQuarantined(); }

  private:
    LogicObserver& observer_;
};

// The selection routing's view of structural repair.
class MenuBarController::RepairSelectionState final : public StructuralRepairState {
  public:
    explicit RepairSelectionState(StructuralRepairOrchestrator& repair) : repair_(repair) {}
    void noteSelection(const TrackSelection& selection,
                       const std::optional<RowMap>& trackNames) override {
        repair_.noteSelection(StructuralSelection{selection.index, selection.name}, trackNames);
    }
    std::optional<int> pendingRepairDelta() const override { return repair_.pendingRepairDelta(); }

  private:
    StructuralRepairOrchestrator& repair_;
};

MenuBarController::MenuBarController(Dispatcher& dispatcher, NotificationCenter& notifications,
                                     Console& console, PlatformServices services,
                                     CoordinatorOptions options)
    : dispatcher_(dispatcher),
      notifications_(notifications),
      console_(console),
      services_(services),
      options_(std::move(options)) {
    Queue& main = dispatcher_.mainQueue();
    log_ = std::make_unique<DebugLogStore>(main, dispatcher_.clock());
    observerTokens_.push_back(log_->observeDebugEvents(notifications_));
    mappingStore_ = std::make_unique<MappingStore>(
        MappingStore::Dependencies{main, dispatcher_.clock(), console_, *log_});
    profileLibrary_ = std::make_unique<MappingProfileLibrary>(
        *mappingStore_, services_.defaults, console_, *log_, options_.profilesFolder);
    learnStore_ = std::make_unique<LearnModeStore>();
    midiRelay_ = std::make_unique<MIDIRelay>(services_.midi, notifications_, console_);
    virtualMIDIBridge_ =
        std::make_unique<VirtualMIDIBridge>(services_.midi, notifications_, console_);
    oscManager_ =
        std::make_unique<OSCManager>(dispatcher_, services_.udp, console_, notifications_);
    workspaceStore_ = std::make_unique<RemoteWorkspaceStore>(main);

    OSCDiscoveryManager::Options linkOptions;
    linkOptions.bindHost = options_.bindHost;
    linkOptions.localDeviceName = options_.localDeviceName;
    discovery_ = std::make_unique<OSCDiscoveryManager>(
        OSCDiscoveryManager::Services{dispatcher_, notifications_, console_, services_.defaults,
                                      services_.udp, *oscManager_, *workspaceStore_,
                                      services_.sound, services_.advertiser, &services_.activation},
        linkOptions);
    mirroredMIDIForwarder_ = std::make_unique<MirroredMIDIForwarder>(*virtualMIDIBridge_);
    mappedTrackLookup_ = std::make_unique<MappedTrackLookup>(*mappingStore_);
    discovery_->setMirroredMIDISink(mirroredMIDIForwarder_.get());
    discovery_->setBankMappingLookup(mappedTrackLookup_.get());
    discovery_->setLinkRequestHandler(this);

    logicObserver_ = std::make_unique<LogicObserver>(LogicObserver::Dependencies{
        dispatcher_, services_.accessibility, services_.input, notifications_, console_});
    logicWindow_ = std::make_unique<LogicWindow>(services_.accessibility, *logicObserver_);
    tempoBridge_ = std::make_unique<LogicTempoBridge>(
        LogicTempoBridge::Dependencies{dispatcher_, services_.accessibility,
                                       [this](double bpm) { discovery_->sendLogicTempo(bpm); }});

    stages_ = std::make_unique<SelectionStageRecorder>(dispatcher_.clock());
    repairCaptureSource_ = std::make_unique<RepairCaptureSource>(*logicObserver_);
    structuralRepair_ =
        std::make_unique<StructuralRepairOrchestrator>(StructuralRepairOrchestrator::Dependencies{
            main, dispatcher_.clock(), console_, *log_, *mappingStore_, *repairCaptureSource_,
            [this] { return projectTracker_->loadedProfileProjectKey(); }});
    repairState_ = std::make_unique<RepairSelectionState>(*structuralRepair_);
    projectTracker_ = std::make_unique<ProjectTracker>(
        ProjectTracker::Dependencies{main, dispatcher_.clock(), console_, *log_, *mappingStore_,
                                     *logicWindow_, services_.recallAlert, options_.profilesFolder,
                                     [this](const std::string& reason) {
                                         router_->resetSelectionState(reason);
                                         structuralRepair_->reset(reason);
                                     },
                                     [this](const std::string& reason) {
                                         logicObserver_->requestTrackNamesSnapshot(reason);
                                         // Every refresh but the one after a project switch follows
                                         // a profile load.
                                         if (reason != "project-change-settled-refresh")
                                             postManualMappingSync("profile loaded: " + reason);
                                     }});
    router_ = std::make_unique<TrackSelectionRouter>(TrackSelectionRouter::Dependencies{
        main, dispatcher_.clock(), console_, notifications_, *log_, *mappingStore_, *learnStore_,
        *midiRelay_, *oscManager_, *discovery_, *projectTracker_, *repairState_, *stages_});
    directNavigation_ = std::make_unique<DirectNavigation>(
        DirectNavigation::Dependencies{services_.accessibility, console_, *log_, *mappingStore_,
                                       *projectTracker_, *logicObserver_, *router_, *discovery_});

    autoAssign_ = std::make_unique<AutoAssignCoordinator>(
        AutoAssignCoordinator::Dependencies{main, notifications_, console_, *log_, *mappingStore_,
                                            *workspaceStore_, [this](const std::string& reason) {
                                                if (!discovery_->isHandshakeConnected())
                                                    return false;
                                                discovery_->requestWorkspaceSnapshot(reason);
                                                return true;
                                            }});

    transfers_ = std::make_unique<IPadTransfers>(IPadTransfers::Dependencies{
        dispatcher_, notifications_, console_, *log_, services_.defaults, *oscManager_, *discovery_,
        *virtualMIDIBridge_, [this] { addAllLogicTracksAndAttemptAutoAssign(); },
        [this] { refreshMenu(); }});
    mappingsEditor_ =
        std::make_unique<MappingsEditor>(*mappingStore_, notifications_, console_, *log_);
    mappingReconcile_ = std::make_unique<MappingReconcile>(MappingReconcile::Dependencies{
        main, notifications_, console_, *log_, *mappingStore_,
        [this](const std::string& reason) { logicObserver_->requestTrackNamesSnapshot(reason); },
        [this] { return RowMap(logicObserver_->lastTrackNamesSnapshot()); }});

    logicObserver_->onTrackSelection = [this](const TrackSelection& selection) {
        router_->routeSelection(selection);
    };
    logicObserver_->onAXAccessibilityResumed = [this] {
        logicObserver_->refreshSelection("AXAccessibilityResumed");
        structuralRepair_->quarantineEnded();
    };
    observeNotifications();
    wireStructuralRepair();
}

void MenuBarController::wireStructuralRepair() {
    auto currentSelection = [this]() -> std::optional<StructuralSelection> {
        const auto& selection = router_->lastHandledSelection();
        if (!selection)
            return std::nullopt;
        return StructuralSelection{selection->index, selection->name};
    };
    logicObserver_->onLogicKeyDown = [this, currentSelection](const InputEvent& event) {
        if (const auto command = logicCommandForKey(event.keyCode, event.modifiers))
            structuralRepair_->logicCommand(*command, currentSelection());
    };
    logicObserver_->onLogicMenuItemChosen = [this, currentSelection](const std::string& title) {
        if (const auto command = logicCommandForMenuTitle(title))
            structuralRepair_->logicCommand(*command, currentSelection());
    };
    observerTokens_.push_back(notifications_.addObserver(
        kManualMappingSyncAcceptedNotification, [this](const Notification& notification) {
            const std::string reason =
                notification.userInfo.string("reason").value_or("manual mapping sync");
            if (reason.find("profile loaded") != std::string::npos)
                structuralRepair_->profileLoaded(reason);
            else
                structuralRepair_->manualSyncAccepted(reason);
        }));
}

void MenuBarController::postManualMappingSync(const std::string& reason) {
    UserInfo info;
    info.set("reason", reason);
    notifications_.post(kManualMappingSyncAcceptedNotification, std::move(info));
}

MenuBarController::~MenuBarController() {
    statusTimer_.stop();
    tempoBridge_.reset();
    if (projectTracker_)
        projectTracker_->stop();
    if (logicObserver_) {
        logicObserver_->onTrackSelection = nullptr;
        logicObserver_->stop();
    }
    // Before the link stops: no run may outlive its scheduler with a note sounding.
    transfers_.reset();
    if (discovery_) {
        discovery_->setMirroredMIDISink(nullptr);
        discovery_->setBankMappingLookup(nullptr);
        discovery_->setLinkRequestHandler(nullptr);
        discovery_->stop();
    }
    observerTokens_.clear();
}

void MenuBarController::observeNotifications() {
    observerTokens_.push_back(notifications_.addObserver(
        kTrackListSnapshotUpdatedNotification, [this](const Notification& notification) {
            auto names =
                notification.userInfo.get<std::map<int, std::string>>(kSnapshotNamesByIndexKey);
            if (!names)
                return;
            MappingStore::TrackNameSnapshot snapshot;
            const RowMap& previous = mappingStore_->liveLogicTrackNames();
            for (const auto& [row, name] : *names) {
                auto found = previous.find(row);
                if (found == previous.end() || found->second != name)
                    snapshot.changedRows.insert(row);
            }
            for (const auto& [row, name] : previous) {
                if (names->count(row) == 0)
                    snapshot.removedRows.insert(row);
            }
            snapshot.namesByRow = *names;
            mappingStore_->applyLogicTrackNameSnapshot(snapshot);
            structuralRepair_->snapshotPublished(
                *names, notification.userInfo.string(kSnapshotReasonKey).value_or("published"));
            router_->updateTrackSnapshot(std::move(*names));
        }));
    observerTokens_.push_back(notifications_.addObserver(
        std::string(OSCDiscoveryManager::kHandshakeStatusChanged),
        [this](const Notification& notification) {
            const bool wasConnected = isIpadHandshakeConnected_;
            isIpadHandshakeConnected_ = notification.userInfo.boolean("connected").value_or(false);
            if (wasConnected && !isIpadHandshakeConnected_ && transfers_)
                transfers_->linkWentDown();
            connectedIpadDeviceName_ = isIpadHandshakeConnected_
                                           ? notification.userInfo.string("remoteDeviceName")
                                           : std::nullopt;
            // A tempo read while no iPad listened is not read again until it changes.
            const auto tempo = tempoBridge_->storedTempo();
            if (tempo && isIpadHandshakeConnected_ && !wasConnected)
                discovery_->sendLogicTempo(*tempo);
            refreshMenu();
        }));
    observeWindowRequests();
    observerTokens_.push_back(learnStore_->observe([this](LearnMode) { refreshMenu(); }));
    observerTokens_.push_back(
        mappingStore_->trackIndexToPC().subscribe([this](const auto&) { refreshMenu(); }));
}

void MenuBarController::start() {
    if (started_)
        return;
    started_ = true;
    std::error_code ec;
    std::filesystem::create_directories(options_.profilesFolder, ec);
    mappingStore_->open(options_.profilesFolder);
    midiRelay_->start();
    // Choose the destination now so the first mapped selection goes out at once.
    midiRelay_->refreshDestinations();
    virtualMIDIBridge_->start();
    discovery_->start(options_.listenPort);
    logicObserver_->start();
    projectTracker_->start();
    tempoBridge_->start();
    directNavigation_->refreshMode();
    statusTimer_.start(dispatcher_.mainQueue(), kStatusRefreshInterval, kStatusRefreshInterval,
                       [this] {
                           directNavigation_->refreshMode();
                           refreshMenu();
                       });
    refreshMenu();
}

void MenuBarController::shutDown() {
    if (!started_)
        return;
    started_ = false;
    statusTimer_.stop();
    projectTracker_->stop();
    transfers_->shutDown();
    if (Status saved = mappingStore_->save(); saved) {
        console_.line("[MenuBar] Saved mappings on quit: " + mappingStore_->fileURL().string());
    }
    logicObserver_->stop();
    discovery_->stop();
}

MenuState MenuBarController::menuState() const {
    MenuState state;
    state.isIpadHandshakeConnected = isIpadHandshakeConnected_;
    state.connectedIpadDeviceName = connectedIpadDeviceName_;
    state.isLogicRunning = logicWindow_->isLogicRunning();
    state.isAccessibilityTrusted = services_.accessibility.isProcessTrusted();
    state.projectTitle = projectTracker_->lastObservedLogicProjectTitle();
    if (!mappingStore_->fileURL().empty()) {
        state.mappingsFileName = mappingStore_->fileURL().filename().string();
    }
    state.missingProjectProfileName = ProjectProfileSetup::missingProjectProfile(
        state.projectTitle, mappingStore_->fileURL(), options_.profilesFolder,
        [](const std::filesystem::path& file) {
            std::error_code ec;
            return std::filesystem::exists(file, ec);
        });
    state.learnMode = learnStore_->mode();
    state.recentMappingsProfilePaths = profileLibrary_->recentPaths();
    state.showLegacyMIDIControls =
        services_.defaults.boolValue(kShowLegacyMIDIControlsDefaultsKey).value_or(false);
    state.isArticulationSetImportRunning = transfers_->importProgress().running;
    state.autoAssignAfterArticulationSetImport = transfers_->autoAssignAfterImport();
    state.articulationSetsStatus = transfers_->importProgress().statusLine();
    state.navigationExportStatus = transfers_->navigationExportStatus();
    return state;
}

void MenuBarController::observeWindowRequests() {
    auto observe = [this](const char* name, std::function<void(const Notification&)> handler) {
        observerTokens_.push_back(notifications_.addObserver(name, std::move(handler)));
    };
    observe(kSaveMappingsRequestedNotification,
            [this](const Notification&) { perform(MenuCommand::saveMappings); });
    observe(kWorkspaceSnapshotRequestRequestedNotification, [this](const Notification&) {
        if (discovery_->activePeerEndpoint()) {
            discovery_->requestWorkspaceSnapshot("workspace refresh requested");
        } else {
            // Asked before any iPad is linked: the request goes with the first "/ping".
            discovery_->forceWorkspaceSnapshotOnNextPing();
            logMenu("Workspace refresh pending",
                    "No iPad is linked; its workspace is requested when it next pings.");
        }
    });
    observe(kTriggerMappingPlaybackNotification, [this](const Notification& notification) {
        const auto row = notification.userInfo.integer(kMappingPlaybackRowKey);
        if (!row || *row < 1) {
            logMenu("Mapping playback skipped", "The play request named no Logic row.");
            return;
        }
        router_->playMapping(static_cast<int>(*row));
    });
    observe(kClearEventsLogNotification, [this](const Notification&) { log_->clear(); });
    observe(kStartAXFlightRecorderNotification, [this](const Notification& notification) {
        const double seconds = notification.userInfo.get<double>(kAXFlightRecorderSecondsKey)
                                   .value_or(AXSelectionRaceSnoop::kMaximumSeconds);
        logicObserver_->beginAXCapture(
            seconds > 0 ? seconds : AXSelectionRaceSnoop::kMaximumSeconds, "events-window");
    });
    observe(kStopAXFlightRecorderNotification,
            [this](const Notification&) { logicObserver_->endAXCapture(); });
}

void MenuBarController::handleLinkRequest(const LinkRequest& request) {
    if (const auto* learn = std::get_if<BankLearnRequest>(&request.request)) {
        handleBankLearnRequest(*learn);
    } else if (const auto* direct = std::get_if<DirectNavigationRequest>(&request.request)) {
        directNavigation_->handle(*direct);
    } else {
        // Acknowledgements, exports and runs: the transfers with the iPad.
        transfers_->handleLinkRequest(request);
    }
}

void MenuBarController::handleBankLearnRequest(const BankLearnRequest& request) {
    const auto selection = router_->lastHandledSelection();
    const std::string& bankUUID = request.bankUUID;
    if (!selection) {
        logMenu("OSC bank learn skipped",
                "No Logic track has been selected yet, so bank " + bankUUID + " was not learned.");
        return;
    }
    OSCBankFocusMapping mapping;
    mapping.trackIndex = selection->index;
    mapping.trackName = selection->name.value_or("");
    mapping.bankUUID = bankUUID;
    mapping.bankName = request.bankName;
    mapping.sectionName = request.sectionName;
    mapping.groupUUID = request.groupUUID;
    mapping.groupName = request.groupName;
    mapping.workspaceUUID = request.workspaceUUID;
    mapping.workspaceName = request.workspaceName;
    if (Status stored = mappingStore_->setBankMapping(selection->index, mapping); !stored)
        return;
    (void)mappingStore_->save();
    postManualMappingSync("bank learn");
    logMenu("Bank learned",
            fmt::format("Track {} \"{}\" now focuses bank {} ({}).", selection->index,
                        mapping.trackName, mapping.bankName, bankUUID));
}

}  // namespace tessiva
