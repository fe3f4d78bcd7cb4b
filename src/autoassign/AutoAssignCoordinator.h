#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "autoassign/AutoAssignRun.h"
#include "autoassign/AutoAssignSummary.h"
#include "autoassign/EstimatedAutoAssignMatch.h"
#include "mapping/Published.h"
#include "mapping/RowMap.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"

namespace tessiva {

class Console;
class DebugLogStore;
class MappingStore;
class RemoteWorkspaceStore;

// Posted after auto assign or an applied estimate changed links, so structural repair takes the
// current rows as its baseline.
inline constexpr const char* kManualMappingSyncAcceptedNotification =
    "tessivaManualMappingSyncAccepted";

// Owns auto assign: waits for a fresh iPad workspace, runs the matching over the mapping rows,
// links the exact matches in the mapping store, and publishes the estimated matches and the latest
// summary for the windows (and the review model) to follow. Also performs "Add All Logic Tracks
// and Attempt Auto Assign". Main queue only. Tests use the real class on a VirtualScheduler with a
// real MappingStore and RemoteWorkspaceStore.
class AutoAssignCoordinator {
  public:
    struct Dependencies {
        Queue& mainQueue;
        NotificationCenter& notifications;
        Console& console;
        DebugLogStore& log;
        MappingStore& mappingStore;
        RemoteWorkspaceStore& workspaceStore;
        // Asks the iPad for its workspace; false when no iPad can be asked (the run then goes ahead
        // with the workspace at hand).
        std::function<bool(const std::string& reason)> requestWorkspaceRefresh;
    };

    // How long a run waits for the requested workspace before going ahead with the one at hand.
    static constexpr double kWorkspaceRefreshFallbackDelay = 3.0;

    // What a finished run reports: its summary, or nothing when an input was missing.
    using Completion = std::function<void(const std::optional<AutoAssignSummary>&)>;

    // Applying one or all estimated matches.
    struct ApplyOutcome {
        int applied = 0;
        int skipped = 0;  // the row was linked by hand or renamed meanwhile
    };

    explicit AutoAssignCoordinator(Dependencies dependencies);
    ~AutoAssignCoordinator();
    AutoAssignCoordinator(const AutoAssignCoordinator&) = delete;
    AutoAssignCoordinator& operator=(const AutoAssignCoordinator&) = delete;

    // Runs at once over the current mapping rows and workspace.
    std::optional<AutoAssignSummary> runAutoAssign();
    // Asks for a fresh workspace and runs when it arrives, or after the fallback delay. A request
    // made while one is waiting joins it: one run answers both.
    void runAfterWorkspaceRefresh(const std::string& reason, Completion completion = nullptr);
    bool isWaitingForWorkspace() const {
        return static_cast<bool>(workspaceRefreshFallbackWorkItem_);
    }

    // The menu command: a mapping row for every named row of `snapshot` that has none, then a run
    // after a workspace refresh.
    void addAllLogicTracksAndAttemptAutoAssign(const RowMap& snapshot,
                                               Completion completion = nullptr);

    const Published<std::vector<EstimatedAutoAssignMatch>>& pendingEstimatedAutoAssignMatches()
        const {
        return pendingEstimatedAutoAssignMatches_;
    }
    const Published<std::optional<AutoAssignSummary>>& latestSummary() const {
        return latestSummary_;
    }
    // The completion message of the latest run, as logged.
    const std::string& latestSummaryMessage() const { return latestSummaryMessage_; }

    // Review operations. Choosing a candidate only moves the match's selection (clamped to its
    // candidates); applying links the row to the selected candidate and removes the match.
    bool selectCandidate(const std::string& matchID, int candidateIndex);
    ApplyOutcome applyEstimatedMatch(const std::string& matchID);
    ApplyOutcome applyAllRemainingEstimatedMatches();
    bool dismissEstimatedMatch(const std::string& matchID);

  private:
    std::vector<AutoAssignRow> mappingRows() const;
    void link(int row, const std::string& trackName, const AutoAssignTarget& target);
    ApplyOutcome apply(std::vector<EstimatedAutoAssignMatch> matches);
    bool canApply(const EstimatedAutoAssignMatch& match);
    void finishWaiting();
    void skip(const std::string& message);
    void note(const std::string& title, const std::string& detail);

    Dependencies deps_;
    Published<std::vector<EstimatedAutoAssignMatch>> pendingEstimatedAutoAssignMatches_;
    Published<std::optional<AutoAssignSummary>> latestSummary_;
    std::string latestSummaryMessage_;
    std::optional<ObserverToken> workspaceRefreshCancellable_;
    WorkItem workspaceRefreshFallbackWorkItem_;
    std::vector<Completion> waitingCompletions_;
};

}  // namespace tessiva
