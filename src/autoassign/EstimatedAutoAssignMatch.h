#pragma once

#include <string>
#include <vector>

#include "autoassign/AutoAssignTarget.h"

namespace tessiva {

// One possible target for a track that auto assign could not link by itself.
struct EstimatedAutoAssignCandidate {
    std::string id;  // fresh UUID per candidate
    AutoAssignTarget target;
    double confidence = 0.0;  // 0...1
    std::string reason;

    bool operator==(const EstimatedAutoAssignCandidate&) const = default;
};

// A track waiting for the user's confirmation in the review, with its candidates best first.
// `selectedCandidateIndex` is the candidate the review shows and applies.
struct EstimatedAutoAssignMatch {
    std::string id;  // UUID
    int trackIndex = 0;
    std::string trackName;
    std::vector<EstimatedAutoAssignCandidate> candidates;
    int selectedCandidateIndex = 0;

    const EstimatedAutoAssignCandidate* selectedCandidate() const {
        if (selectedCandidateIndex < 0 ||
            static_cast<std::size_t>(selectedCandidateIndex) >= candidates.size()) {
            return nullptr;
        }
        return &candidates[static_cast<std::size_t>(selectedCandidateIndex)];
    }

    bool operator==(const EstimatedAutoAssignMatch&) const = default;
};

}  // namespace tessiva
