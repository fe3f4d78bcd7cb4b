#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "osc/link/LinkRequest.h"
#include "transfer/ArticulationSetImporter.h"

namespace tessiva {

class Console;
class DebugLogStore;
class Dispatcher;
class MIDIRunScheduler;
class NotificationCenter;
class OSCDiscoveryManager;
class OSCManager;
class UserDefaults;
class VirtualMIDIBridge;

// Defaults keys of the transfers ("tessivaFocus.articulationSetsFolderPath" is the coordinator's,
// MenuBarController.h; the other two are this feature's own).
inline constexpr const char* kAutoAssignAfterImportDefaultsKey =
    "tessivaFocus.autoAssignAfterArticulationSetImport";
inline constexpr const char* kNavigationExportFolderDefaultsKey =
    "tessivaFocus.navigationExportFolderPath";

// The coordinator's part in the transfers with the iPad: it starts articulation-set imports from
// the remembered (or newly chosen) folder and, when the user asked for it, adds the Logic tracks
// and auto-assigns after a successful one; it asks the iPad for its navigation export and saves
// what arrives into the chosen folder; it owns the precision-run scheduler that plays the iPad's
// scheduled MIDI runs from "Tessiva MIDI" and stops them, releasing every note, when the iPad
// link goes down or the program quits. Main queue only (the runs themselves play on
// "tessiva.focus.precision-run"). MenuBarController owns it; tests build that coordinator on a
// VirtualScheduler with a recording UDP transport and in-memory MIDI.
class IPadTransfers {
  public:
    struct Dependencies {
        Dispatcher& dispatcher;
        NotificationCenter& notifications;
        Console& console;
        DebugLogStore& log;
        UserDefaults& defaults;
        OSCManager& sender;
        OSCDiscoveryManager& link;
        VirtualMIDIBridge& bridge;
        // "Add All Logic Tracks and Attempt Auto Assign".
        std::function<void()> addAllLogicTracksAndAttemptAutoAssign;
        // The menu's state changed (status lines, enabled items).
        std::function<void()> changed;
    };

    explicit IPadTransfers(Dependencies dependencies);
    ~IPadTransfers();
    IPadTransfers(const IPadTransfers&) = delete;
    IPadTransfers& operator=(const IPadTransfers&) = delete;

    // "Import Articulation Sets…": `folder` is what the folder panel returned (remembered for
    // next time); without one the remembered folder, else Logic's own. The refusal, if any.
    std::optional<std::string> importArticulationSets(
        const std::optional<std::filesystem::path>& folder);
    void setAutoAssignAfterImport(bool on);
    bool autoAssignAfterImport() const;
    // "Export Navigation Assignments…": asks the iPad; `folder` as above. The request ID.
    std::string exportNavigation(const std::optional<std::filesystem::path>& folder);

    // The active iPad's acknowledgements and exports; other requests are left alone (runs were
    // handed to the scheduler on the link's queue already).
    void handleLinkRequest(const LinkRequest& request);
    // The link went down: every run stops and its notes are released.
    void linkWentDown();
    // Quit: runs stop (note-offs sent before this returns), the import stops.
    void shutDown();

    std::filesystem::path articulationSetsFolder() const;
    std::filesystem::path navigationExportFolder() const;
    const ArticulationSetImportProgress& importProgress() const;
    const std::string& navigationExportStatus() const { return navigationExportStatus_; }
    MIDIRunScheduler& runs() { return *runs_; }

  private:
    class RunForwarder;

    void log(const std::string& title, const std::string& detail);
    void importFinished(const ArticulationSetImportProgress& progress);

    Dependencies deps_;
    std::unique_ptr<ArticulationSetImporter> importer_;
    std::unique_ptr<MIDIRunScheduler> runs_;
    std::unique_ptr<RunForwarder> runForwarder_;
    std::optional<std::string> pendingExportID_;
    std::filesystem::path pendingExportFolder_;
    std::string navigationExportStatus_ = "Navigation export: none yet";
};

}  // namespace tessiva
