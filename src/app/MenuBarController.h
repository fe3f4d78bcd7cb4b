#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/MenuModel.h"
#include "app/ProjectTracker.h"
#include "mapping/MappingProfileLibrary.h"
#include "osc/link/LinkRequest.h"
#include "runtime/NotificationCenter.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

class AccessibilityPort;
class ActivationEventSource;
class AutoAssignCoordinator;
class ConnectionSoundPlayer;
class Console;
class DebugLogStore;
class DirectNavigation;
class Dispatcher;
class IPadTransfers;
class InputEventPort;
class LearnModeStore;
class LogicTempoBridge;
class LogicObserver;
class MIDIRelay;
class MIDIService;
class MappingProfileLibrary;
class MappingsEditor;
class MappingReconcile;
class MappingStore;
class OSCDiscoveryManager;
class OSCManager;
class RemoteWorkspaceStore;
class SelectionStageRecorder;
class ServiceAdvertiser;
class StructuralRepairOrchestrator;
class StructuralRepairState;
class TrackSelectionRouter;
class UdpTransport;
class UserDefaults;
class VirtualMIDIBridge;

// The user-defaults keys the coordinator owns.
inline constexpr const char* kInitialSetupCompletionDefaultsKey =
    "tessivaFocus.hasCompletedInitialSetup";
inline constexpr const char* kHasSeenMenuBarHintDefaultsKey = "tessivaFocus.hasSeenMenuBarHint";
inline constexpr const char* kRecentMappingsDefaultsKey = "tessiva.recentMappingsProfilePaths";
inline constexpr const char* kShowLegacyMIDIControlsDefaultsKey = "tessiva.showLegacyMIDIControls";
inline constexpr const char* kArticulationSetsFolderDefaultsKey =
    "tessivaFocus.articulationSetsFolderPath";
inline constexpr const char* kHasSeenReconcileGuideDefaultsKey =
    "tessiva.hasSeenMappingReconcileExpansionGuide";

// The operating-system services the program runs on, chosen by the composition root: macOS
// adapters on a Mac; the simulated Logic Pro, RtMidi or the in-memory MIDI service, and Asio
// elsewhere. Everything must outlive the coordinator.
struct PlatformServices {
    AccessibilityPort& accessibility;
    InputEventPort& input;
    MIDIService& midi;
    UdpTransport& udp;
    UserDefaults& defaults;
    ConnectionSoundPlayer& sound;
    ActivationEventSource& activation;
    ProjectRecallAlert& recallAlert;
    // Absent when Bonjour advertising is off; the link then works by direct address.
    ServiceAdvertiser* advertiser = nullptr;
};

struct CoordinatorOptions {
    // The folder of profiles; the default profile is opened from it.
    std::filesystem::path profilesFolder;
    std::uint16_t listenPort = 12111;
    std::string bindHost = "::";
    // Empty: the Mac's own name.
    std::string localDeviceName;
};

// The coordinator: creates and wires the mapping store, the event log, the legacy MIDI relay and
// the virtual MIDI mirror, the Logic observer, the learn-mode store, the iPad link and the
// selection routing; follows the Logic project; owns the menu (as data) and performs its
// commands. Main queue only; `start` and every command run there. The program builds it on real
// queues; tests build it on a VirtualScheduler with the simulated Logic Pro and in-memory MIDI.
class MenuBarController final : public LinkRequestHandler {
  public:
    MenuBarController(Dispatcher& dispatcher, NotificationCenter& notifications, Console& console,
                      PlatformServices services, CoordinatorOptions options);
    ~MenuBarController() override;
    MenuBarController(const MenuBarController&) = delete;
    MenuBarController& operator=(const MenuBarController&) = delete;

    // Loads the profile, starts MIDI, the iPad link, the Logic observer and project tracking.
    void start();
    // Saves the profile and stops the link and the observer (quit).
    void shutDown();

    // The menu as it stands, and a callback for every change of it.
    std::vector<MenuItem> menu() const;
    MenuState menuState() const;
    std::function<void(const std::vector<MenuItem>&)> onMenuChanged;

    // A menu command; `path` is the profile for loadRecentMappings and the folder the panel
    // chose for importArticulationSets and exportNavigation (empty: the remembered one).
    void perform(MenuCommand command, const std::string& path = {});
    // "Add All Logic Tracks and Attempt Auto Assign" with the most recent Logic snapshot.
    void addAllLogicTracksAndAttemptAutoAssign();
    // "Choose File…" and "Save Mappings As…" after their panels: the path the user chose.
    void loadMappingsFrom(const std::filesystem::path& file);
    void saveMappingsAs(const std::filesystem::path& file);

    // The active iPad's requests, on the main queue (the link calls it; tests may too).
    void handleLinkRequest(const LinkRequest& request) override;

    // Quit was chosen; the shell ends the run loop.
    std::function<void()> onQuitRequested;
    // A profile file action failed and the user must be told ("Failed to save mappings", ...).
    // Headless, the failure is only logged.
    std::function<void(const ProfileAlert&)> onProfileAlert;
    // The shell has windows: window commands post their notifications (the shell opens the
    // window) instead of logging that the window would open here.
    void setWindowsAvailable(bool available) { windowsAvailable_ = available; }
    // The first-run item: writes "<project>.json" from the current mappings and makes it the
    // loaded profile; never overwrites an existing file.
    void createProjectProfile();
    const std::filesystem::path& profilesFolder() const { return options_.profilesFolder; }
    // What "Save Mappings As…" proposes: "<open project>.json", else the library's proposal.
    std::string proposedSaveAsName() const;
    UserDefaults& defaults() { return services_.defaults; }

    DebugLogStore& log() { return *log_; }
    MappingStore& mappingStore() { return *mappingStore_; }
    TrackSelectionRouter& router() { return *router_; }
    ProjectTracker& projectTracker() { return *projectTracker_; }
    OSCDiscoveryManager& discovery() { return *discovery_; }
    RemoteWorkspaceStore& workspaceStore() { return *workspaceStore_; }
    MIDIRelay& midiRelay() { return *midiRelay_; }
    LearnModeStore& learnStore() { return *learnStore_; }
    SelectionStageRecorder& stageRecorder() { return *stages_; }
    AutoAssignCoordinator& autoAssign() { return *autoAssign_; }
    IPadTransfers& transfers() { return *transfers_; }
    StructuralRepairOrchestrator& structuralRepair() { return *structuralRepair_; }
    MappingsEditor& mappingsEditor() { return *mappingsEditor_; }
    MappingReconcile& mappingReconcile() { return *mappingReconcile_; }
    NotificationCenter& notifications() { return notifications_; }

    bool isIpadHandshakeConnected() const { return isIpadHandshakeConnected_; }
    const std::optional<std::string>& connectedIpadDeviceName() const {
        return connectedIpadDeviceName_;
    }

  private:
    class LogicWindow;
    class MirroredMIDIForwarder;
    class MappedTrackLookup;
    class RepairCaptureSource;
    class RepairSelectionState;

    void observeNotifications();
    // The requests the windows post by name (AppNotifications.h).
    void observeWindowRequests();
    // Structural repair's triggers and baselines: Logic's commands, snapshots, loads, syncs.
    void wireStructuralRepair();
    void postManualMappingSync(const std::string& reason);
    void handleBankLearnRequest(const BankLearnRequest& request);
    void refreshMenu();
    void wouldOpen(const std::string& what);
    void showAlertIfFailed(const ProfileActionResult& result);
    void logMenu(const std::string& title, const std::string& detail);

    Dispatcher& dispatcher_;
    NotificationCenter& notifications_;
    Console& console_;
    PlatformServices services_;
    CoordinatorOptions options_;

    std::unique_ptr<DebugLogStore> log_;
    std::unique_ptr<MappingStore> mappingStore_;
    std::unique_ptr<MappingProfileLibrary> profileLibrary_;
    std::unique_ptr<LearnModeStore> learnStore_;
    std::unique_ptr<MIDIRelay> midiRelay_;
    std::unique_ptr<VirtualMIDIBridge> virtualMIDIBridge_;
    std::unique_ptr<OSCManager> oscManager_;
    std::unique_ptr<RemoteWorkspaceStore> workspaceStore_;
    std::unique_ptr<OSCDiscoveryManager> discovery_;
    std::unique_ptr<LogicObserver> logicObserver_;
    std::unique_ptr<LogicWindow> logicWindow_;
    std::unique_ptr<ProjectTracker> projectTracker_;
    std::unique_ptr<RepairCaptureSource> repairCaptureSource_;
    std::unique_ptr<StructuralRepairOrchestrator> structuralRepair_;
    std::unique_ptr<StructuralRepairState> repairState_;
    std::unique_ptr<SelectionStageRecorder> stages_;
    std::unique_ptr<TrackSelectionRouter> router_;
    std::unique_ptr<DirectNavigation> directNavigation_;
    std::unique_ptr<LogicTempoBridge> tempoBridge_;
    std::unique_ptr<MirroredMIDIForwarder> mirroredMIDIForwarder_;
    std::unique_ptr<MappedTrackLookup> mappedTrackLookup_;
    std::unique_ptr<AutoAssignCoordinator> autoAssign_;
    std::unique_ptr<IPadTransfers> transfers_;
    std::unique_ptr<MappingsEditor> mappingsEditor_;
    std::unique_ptr<MappingReconcile> mappingReconcile_;

    bool isIpadHandshakeConnected_ = false;
    std::optional<std::string> connectedIpadDeviceName_;
    std::vector<MenuItem> lastMenu_;
    std::string lastStatusLines_;
    RepeatingTimer statusTimer_;
    std::vector<ObserverToken> observerTokens_;
    bool started_ = false;
    bool windowsAvailable_ = false;
};

}  // namespace tessiva
