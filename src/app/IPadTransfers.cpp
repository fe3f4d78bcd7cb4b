#include "app/IPadTransfers.h"

#include "app/MenuBarController.h"
#include "mapping/DebugLogStore.h"
#include "midi/MIDIRunScheduler.h"
#include "osc/MIDIRunSink.h"
#include "osc/OSCDiscoveryManager.h"
#include "runtime/Console.h"
#include "runtime/Queue.h"
#include "runtime/UUID.h"
#include "runtime/UserDefaults.h"
#include "transfer/NavigationExportSaver.h"

namespace tessiva {

// Scheduled runs go from the link's queue straight to the scheduler, never via the main queue.
class IPadTransfers::RunForwarder final : public MIDIRunSink {
  public:
    explicit RunForwarder(MIDIRunScheduler& runs) : runs_(runs) {}
    void scheduleMIDIRun(std::string_view json, double receivedAt,
                         std::string_view sender) override {
        runs_.schedule(json, receivedAt, sender);
    }
    void cancelMIDIRun(std::string_view json, std::string_view sender) override {
        runs_.cancel(json, sender);
    }

  private:
    MIDIRunScheduler& runs_;
};

IPadTransfers::IPadTransfers(Dependencies dependencies) : deps_(std::move(dependencies)) {
    importer_ = std::make_unique<ArticulationSetImporter>(
        ArticulationSetImporter::Services{deps_.dispatcher.mainQueue(), deps_.sender, deps_.link,
                                          deps_.notifications, deps_.console});
    importer_->onProgress = [this](const ArticulationSetImportProgress&) {
        if (deps_.changed)
            deps_.changed();
    };
    importer_->onFinished = [this](const ArticulationSetImportProgress& progress) {
        importFinished(progress);
    };
    runs_ = std::make_unique<MIDIRunScheduler>(deps_.dispatcher, deps_.bridge, deps_.notifications,
                                               deps_.console);
    runForwarder_ = std::make_unique<RunForwarder>(*runs_);
    deps_.link.setMIDIRunSink(runForwarder_.get());
}

IPadTransfers::~IPadTransfers() {
    deps_.link.setMIDIRunSink(nullptr);
}

void IPadTransfers::log(const std::string& title, const std::string& detail) {
    deps_.console.line("[Transfers] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

std::filesystem::path IPadTransfers::articulationSetsFolder() const {
    auto stored = deps_.defaults.string(kArticulationSetsFolderDefaultsKey);
    return stored && !stored->empty() ? std::filesystem::path(*stored)
                                      : defaultArticulationSetsFolder();
}

std::filesystem::path IPadTransfers::navigationExportFolder() const {
    auto stored = deps_.defaults.string(kNavigationExportFolderDefaultsKey);
    return stored && !stored->empty() ? std::filesystem::path(*stored)
                                      : defaultNavigationExportFolder();
}

const ArticulationSetImportProgress& IPadTransfers::importProgress() const {
    return importer_->progress();
}

std::optional<std::string> IPadTransfers::importArticulationSets(
    const std::optional<std::filesystem::path>& folder) {
    if (folder)
        deps_.defaults.setString(kArticulationSetsFolderDefaultsKey, folder->string());
    auto refusal = importer_->start(folder ? *folder : articulationSetsFolder());
    if (deps_.changed)
        deps_.changed();
    return refusal;
}

void IPadTransfers::setAutoAssignAfterImport(bool on) {
    deps_.defaults.setBool(kAutoAssignAfterImportDefaultsKey, on);
}

bool IPadTransfers::autoAssignAfterImport() const {
    return deps_.defaults.boolValue(kAutoAssignAfterImportDefaultsKey).value_or(false);
}

void IPadTransfers::importFinished(const ArticulationSetImportProgress& progress) {
    if (deps_.changed)
        deps_.changed();
    if (!autoAssignAfterImport())
        return;
    if (progress.count(ArticulationSetOutcome::imported) == 0) {
        log("Auto assign after import skipped",
            "No articulation set was imported, so the Logic tracks were not added.");
        return;
    }
    log("Auto assign after import",
        "Adding the Logic tracks and auto-assigning, as \"Add Logic Tracks and Auto Assign After "
        "Import\" asks.");
    if (deps_.addAllLogicTracksAndAttemptAutoAssign)
        deps_.addAllLogicTracksAndAttemptAutoAssign();
}

std::string IPadTransfers::exportNavigation(const std::optional<std::filesystem::path>& folder) {
    if (folder)
        deps_.defaults.setString(kNavigationExportFolderDefaultsKey, folder->string());
    const std::string requestID = makeUUID();
    pendingExportID_ = requestID;
    pendingExportFolder_ = folder ? *folder : navigationExportFolder();
    navigationExportStatus_ = "Navigation export: waiting for the iPad…";
    deps_.link.requestNavigationExport(requestID);
    if (deps_.changed)
        deps_.changed();
    return requestID;
}

void IPadTransfers::handleLinkRequest(const LinkRequest& request) {
    if (const auto* ack = std::get_if<ArticulationSetImportAck>(&request.request)) {
        importer_->handleAcknowledgement(*ack);
        return;
    }
    if (const auto* received = std::get_if<NavigationExportReceived>(&request.request)) {
        if (received->requestID != pendingExportID_) {
            log("Navigation export not saved",
                "Navigation export " + received->requestID +
                    " arrived after a newer request; it was not saved.");
            return;
        }
        pendingExportID_.reset();
        auto saved = saveNavigationExport(pendingExportFolder_, received->fileName, received->text,
                                          deps_.dispatcher.clock().date());
        if (auto* path = std::get_if<std::filesystem::path>(&saved)) {
            navigationExportStatus_ = "Navigation export: saved " + path->filename().string();
            log("Navigation export saved", "Saved the iPad's navigation export (" +
                                               std::to_string(received->text.size()) +
                                               " bytes) to " + path->string() + ".");
        } else {
            navigationExportStatus_ = "Navigation export: not saved";
            log("Navigation export not saved", std::get<std::string>(saved));
        }
        if (deps_.changed)
            deps_.changed();
        return;
    }
    if (const auto* failed = std::get_if<NavigationExportFailed>(&request.request)) {
        if (failed->requestID == pendingExportID_) {
            pendingExportID_.reset();
            // The link wrote the event-log entry with the reason.
            navigationExportStatus_ = "Navigation export: failed";
            if (deps_.changed)
                deps_.changed();
        }
    }
}

void IPadTransfers::linkWentDown() {
    runs_->stopAll("the iPad link went down");
}

void IPadTransfers::shutDown() {
    runs_->stopAll("Tessiva Focus is quitting");
    importer_->cancel();
}

}  // namespace tessiva
