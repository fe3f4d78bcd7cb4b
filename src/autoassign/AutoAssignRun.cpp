#include "autoassign/AutoAssignRun.h"

#include <algorithm>

#include "autoassign/AutoAssignGroupContextResolver.h"
#include "autoassign/AutoAssignTargetIndex.h"
#include "autoassign/AutoAssignTrack.h"
#include "autoassign/EstimatedCandidates.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

std::string trackExample(const AutoAssignTrack& track) {
    return "Track " + std::to_string(track.index) + " " + track.name;
}

// Several targets carry the track's exact name: all of them at 1.0, the one a stack header above
// points to first.
EstimatedAutoAssignMatch ambiguousMatch(
    const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
    const std::vector<std::size_t>& exact,
    const AutoAssignGroupContextResolver::VisibleRows& visibleRows) {
    const auto context = AutoAssignGroupContextResolver::resolve(
        track.index, track.tokens.size(), groupCandidates(targets, exact), visibleRows);
    EstimatedAutoAssignMatch match{makeUUID(), track.index, track.name, {}, 0};
    for (std::size_t id : exact) {
        EstimatedAutoAssignCandidate candidate{makeUUID(), targets[id].target, 1.0,
                                               "multiple exact normalised matches"};
        if (context && candidate.target.groupUUID == context->groupID) {
            candidate.reason +=
                "; nearby stack header " + AutoAssignGroupContextResolver::describe(*context);
        }
        match.candidates.push_back(std::move(candidate));
    }
    if (context) {
        std::stable_partition(match.candidates.begin(), match.candidates.end(),
                              [&](const EstimatedAutoAssignCandidate& candidate) {
                                  return candidate.target.groupUUID == context->groupID;
                              });
    }
    return match;
}

}  // namespace

AutoAssignRunResult decideAutoAssign(const std::vector<AutoAssignRow>& rows,
                                     std::vector<AutoAssignTarget> targetList,
                                     const RowMap& visibleRowNames) {
    const AutoAssignTargetIndex targets(std::move(targetList));
    const auto visibleRows = AutoAssignGroupContextResolver::tokenizedRows(visibleRowNames);
    AutoAssignRunResult result;
    for (const auto& row : rows) {
        if (row.alreadyLinked) {
            ++result.summary.alreadyMapped;
            continue;
        }
        const AutoAssignTrack track = AutoAssignTrack::make(row.trackIndex, row.trackName);
        if (track.normalizedName.empty()) {
            ++result.summary.missingTrackName;
            continue;
        }
        const std::vector<std::size_t>& exact = targets.named(track.normalizedName);
        if (exact.size() == 1) {
            result.links.push_back({track.index, track.name, targets[exact.front()].target});
            result.linkedExamples.push_back(trackExample(track));
            ++result.summary.linked;
        } else if (exact.size() > 1) {
            ++result.summary.ambiguous;
            result.ambiguousExamples.push_back(trackExample(track) + " matched " +
                                               std::to_string(exact.size()) + " exact targets");
            result.estimatedMatches.push_back(ambiguousMatch(track, targets, exact, visibleRows));
        } else {
            ++result.summary.noExactMatch;
            auto candidates = estimatedAutoAssignCandidates(track, targets, visibleRows);
            if (!candidates.empty()) {
                result.estimatedMatches.push_back(
                    {makeUUID(), track.index, track.name, std::move(candidates), 0});
                ++result.summary.estimated;
            }
        }
    }
    return result;
}

}  // namespace tessiva
