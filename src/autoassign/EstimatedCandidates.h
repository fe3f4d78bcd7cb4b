#pragma once

#include <string_view>
#include <vector>

#include "autoassign/AutoAssignGroupContextResolver.h"
#include "autoassign/AutoAssignTargetIndex.h"
#include "autoassign/AutoAssignTrack.h"
#include "autoassign/EstimatedAutoAssignMatch.h"

namespace tessiva {

// The close matches for one track that has no exact one. Every rule that holds for a target
// gives it a candidate with the rule's confidence and reason:
//
//   0.94  the track's tokens are the target's plus one trailing desk/voice suffix
//   0.92  the target's tokens are the track's plus one trailing desk/voice suffix
//   0.86  the normalised track name starts with the target's
//   0.84  the normalised target name starts with the track's
//   0.88  the track's tokens hold all of the target's (a target of several tokens)
//   0.78  the same, for a target of a single token
//   0.96  same principal instrument, and a stack header above the track identifies its group
//   0.86  same principal instrument otherwise
//
// Rules for one target merge into one candidate: the first rule keeps its confidence and place,
// each further rule adds 0.05 up to 0.99, and the reasons are joined with "; ". Candidates are
// offered best first (ties in the order found), at most kMaxEstimatedCandidates of them: a bare
// instrument word can relate a track to hundreds of banks, and nobody steps through those.
// Targets without a name, or named exactly like the track, give nothing. Pure apart from fresh
// candidate UUIDs; any thread.
std::vector<EstimatedAutoAssignCandidate> estimatedAutoAssignCandidates(
    const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
    const AutoAssignGroupContextResolver::VisibleRows& visibleRows);

// The same for a track name alone, without rows around it (no group context).
std::vector<EstimatedAutoAssignCandidate> estimatedAutoAssignCandidates(
    std::string_view trackName, const std::vector<AutoAssignTarget>& targets);

// The groups of the given targets, for the resolver.
std::vector<AutoAssignGroupContextResolver::Candidate> groupCandidates(
    const AutoAssignTargetIndex& targets, const std::vector<std::size_t>& ids);

inline constexpr std::size_t kMaxEstimatedCandidates = 12;

// Confidences in hundredths, so merged values stay exact (0.94 + 0.05 is 0.99, not 0.98999...).
inline constexpr int kMergeBonusPoints = 5;
inline constexpr int kMergeCapPoints = 99;

}  // namespace tessiva
