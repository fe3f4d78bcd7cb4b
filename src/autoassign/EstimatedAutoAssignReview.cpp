#include "autoassign/EstimatedAutoAssignReview.h"

#include <algorithm>

namespace tessiva {

EstimatedAutoAssignReview::EstimatedAutoAssignReview(AutoAssignCoordinator& coordinator)
    : coordinator_(coordinator) {
    pendingObservation_ = coordinator_.pendingEstimatedAutoAssignMatches().subscribe(
        [this](const std::vector<EstimatedAutoAssignMatch>& matches) {
            if (matches.empty())
                isOpen_ = false;
            if (onChange)
                onChange();
        });
}

std::optional<EstimatedAutoAssignReview::Answer> EstimatedAutoAssignReview::open() {
    if (coordinator_.pendingEstimatedAutoAssignMatches()->empty()) {
        isOpen_ = false;
        return Answer{AutoAssignText::kNoEstimatedTitle, AutoAssignText::kNoEstimatedMessage};
    }
    isOpen_ = true;
    return std::nullopt;
}

std::vector<EstimatedAutoAssignReview::Row> EstimatedAutoAssignReview::rows() const {
    std::vector<Row> rows;
    for (const auto& match : *coordinator_.pendingEstimatedAutoAssignMatches()) {
        const EstimatedAutoAssignCandidate* candidate = match.selectedCandidate();
        if (!candidate)
            continue;
        Row row;
        row.matchID = match.id;
        row.trackIndex = match.trackIndex;
        row.trackName = match.trackName;
        row.targetName = candidate->target.name;
        row.targetKind = candidate->target.kind;
        row.confidence = candidate->confidence;
        row.reason = candidate->reason;
        row.candidateNumber = match.selectedCandidateIndex + 1;
        row.candidateCount = static_cast<int>(match.candidates.size());
        row.canShowPrevious = match.selectedCandidateIndex > 0;
        row.canShowNext = row.candidateNumber < row.candidateCount;
        rows.push_back(std::move(row));
    }
    return rows;
}

bool EstimatedAutoAssignReview::step(const std::string& matchID, int by) {
    for (const auto& match : *coordinator_.pendingEstimatedAutoAssignMatches()) {
        if (match.id == matchID)
            return coordinator_.selectCandidate(matchID, match.selectedCandidateIndex + by);
    }
    return false;
}

bool EstimatedAutoAssignReview::showPreviousPossibleMatch(const std::string& matchID) {
    return step(matchID, -1);
}

bool EstimatedAutoAssignReview::showNextPossibleMatch(const std::string& matchID) {
    return step(matchID, +1);
}

AutoAssignCoordinator::ApplyOutcome EstimatedAutoAssignReview::apply(const std::string& matchID) {
    return coordinator_.applyEstimatedMatch(matchID);
}

AutoAssignCoordinator::ApplyOutcome EstimatedAutoAssignReview::applyAllRemaining() {
    return coordinator_.applyAllRemainingEstimatedMatches();
}

bool EstimatedAutoAssignReview::dismiss(const std::string& matchID) {
    return coordinator_.dismissEstimatedMatch(matchID);
}

}  // namespace tessiva
