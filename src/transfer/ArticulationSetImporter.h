#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "osc/InboundRequests.h"
#include "runtime/Queue.h"

namespace tessiva {

class Console;
class NotificationCenter;
class OSCManager;
class PeerEndpointProvider;

// What became of one articulation-set file.
enum class ArticulationSetOutcome {
    imported,
    notPropertyList,
    rejectedByIPad,
    unacknowledged,
    notSent
};
inline constexpr std::string_view kArticulationSetOutcomeNames[] = {
    "imported", "notPropertyList", "rejectedByIPad", "unacknowledged", "notSent"};
static_assert(std::size(kArticulationSetOutcomeNames) ==
                  static_cast<std::size_t>(ArticulationSetOutcome::notSent) + 1,
              "one name per ArticulationSetOutcome");

struct ArticulationSetFileResult {
    std::string fileName;
    ArticulationSetOutcome outcome = ArticulationSetOutcome::notSent;
    int attempts = 0;
    std::string message;
};

// Where an import stands, for the menu's status line and the console.
struct ArticulationSetImportProgress {
    bool running = false;
    std::filesystem::path folder;
    std::size_t fileCount = 0;
    std::optional<std::string> currentFile;  // the file waiting for its acknowledgement
    int attempt = 0;
    std::vector<ArticulationSetFileResult> results;

    std::size_t count(ArticulationSetOutcome outcome) const;
    // "Articulation sets: sending 3 of 12 (Strings.plist)…", "Articulation sets: 11 of 12
    // imported (1 failed)", "Articulation sets: not imported yet".
    std::string statusLine() const;
};

// Sends Logic's articulation-set property lists from a folder to the active iPad, one file at
// a time: each file is checked (a file that is not a readable XML property list is never sent),
// sent whole or in chunks (ArticulationSetTransfer.h), and then waits for
// "/tessiva/articulationset/import/ack" with its transfer ID. No acknowledgement within
// `kAcknowledgementTimeout` sends the file again under the same transfer ID, up to
// `kMaxAttempts` in all; then the file is reported failed and the next one goes. The iPad's
// refusal is final for that file. Progress and every file's result go to the event log and to
// `onProgress`; `onFinished` reports the whole import. Main queue only (acknowledgements arrive
// there as LinkRequests). Tests run it on a VirtualScheduler with a recording UDP transport.
class ArticulationSetImporter {
  public:
    static constexpr int kMaxAttempts = 3;
    static constexpr double kAcknowledgementTimeout = 8.0;
    // Larger files are not articulation sets; reading stops there.
    static constexpr std::uintmax_t kMaxFileBytes = 4 * 1024 * 1024;

    struct Services {
        Queue& mainQueue;
        OSCManager& sender;
        const PeerEndpointProvider& peers;
        NotificationCenter& notifications;
        Console& console;
    };

    explicit ArticulationSetImporter(Services services) : services_(services) {}
    ~ArticulationSetImporter();
    ArticulationSetImporter(const ArticulationSetImporter&) = delete;
    ArticulationSetImporter& operator=(const ArticulationSetImporter&) = delete;

    // Starts importing every "*.plist" under `folder` (sorted by path, hidden files skipped).
    // Refused, with the reason logged and returned, when an import runs, the folder cannot be
    // read or holds no property list, or no iPad is connected.
    std::optional<std::string> start(const std::filesystem::path& folder);
    // Stops after the file in flight; its acknowledgement is then ignored.
    void cancel();
    void handleAcknowledgement(const ArticulationSetImportAck& ack);

    const ArticulationSetImportProgress& progress() const { return progress_; }
    std::function<void(const ArticulationSetImportProgress&)> onProgress;
    std::function<void(const ArticulationSetImportProgress&)> onFinished;

  private:
    struct Current {
        std::filesystem::path path;
        std::string fileName;
        std::string transferID;
        std::string text;
    };

    void sendNextFile();
    void sendAttempt();
    void acknowledgementTimedOut(const std::string& transferID, int attempt);
    void finishFile(ArticulationSetOutcome outcome, std::string message);
    void finishImport();
    void log(const std::string& title, const std::string& detail);
    void publish();

    Services services_;
    ArticulationSetImportProgress progress_;
    std::vector<std::filesystem::path> files_;
    std::size_t nextFile_ = 0;
    std::optional<Current> current_;
    WorkItem acknowledgementTimer_;
};

// Logic's own folder of articulation sets: "~/Music/Audio Music Apps/Articulation Settings".
std::filesystem::path defaultArticulationSetsFolder();

}  // namespace tessiva
