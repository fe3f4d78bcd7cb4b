#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "autoassign/AutoAssignCoordinator.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

// The estimated-match review without pixels: what the review window shows for each pending match
// and what its buttons do. It reads the coordinator's published matches, so a new auto-assign run
// replaces what an open review shows. Stepping stops at either end of a match's candidates (no
// wrap-around), so "next" never jumps back to the best candidate unnoticed. A match whose row was
// linked by hand meanwhile is skipped with a logged reason, never overwritten. When the last
// match is applied or dismissed the review closes. Main queue only; tests use it with a real
// coordinator.
class EstimatedAutoAssignReview {
  public:
    // What the window lists for one match: the selected candidate and where it stands.
    struct Row {
        std::string matchID;
        int trackIndex = 0;
        std::string trackName;
        std::string targetName;
        AutoAssignTarget::Kind targetKind = AutoAssignTarget::Kind::bank;
        double confidence = 0.0;
        std::string reason;
        int candidateNumber = 1;  // 1-based, "2 of 5"
        int candidateCount = 0;
        bool canShowPrevious = false;
        bool canShowNext = false;
    };

    // An alert shown instead of the window.
    struct Answer {
        std::string title;
        std::string message;
    };

    explicit EstimatedAutoAssignReview(AutoAssignCoordinator& coordinator);
    EstimatedAutoAssignReview(const EstimatedAutoAssignReview&) = delete;
    EstimatedAutoAssignReview& operator=(const EstimatedAutoAssignReview&) = delete;

    // "Review Estimated Matches": opens, or answers "No estimated matches" when none are pending.
    std::optional<Answer> open();
    void close() { isOpen_ = false; }
    bool isOpen() const { return isOpen_; }

    std::vector<Row> rows() const;

    // "Show previous possible match" / "Show next possible match"; false at either end.
    bool showPreviousPossibleMatch(const std::string& matchID);
    bool showNextPossibleMatch(const std::string& matchID);
    AutoAssignCoordinator::ApplyOutcome apply(const std::string& matchID);
    // "Apply All Remaining".
    AutoAssignCoordinator::ApplyOutcome applyAllRemaining();
    bool dismiss(const std::string& matchID);

    // Called whenever what the review shows changed (a new run, an apply, a step).
    std::function<void()> onChange;

  private:
    bool step(const std::string& matchID, int by);

    AutoAssignCoordinator& coordinator_;
    ObserverToken pendingObservation_;
    bool isOpen_ = false;
};

}  // namespace tessiva
