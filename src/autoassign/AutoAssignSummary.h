#pragma once

#include <string>
#include <vector>

namespace tessiva {

// What one auto-assign run did, counted per row.
struct AutoAssignSummary {
    int linked = 0;
    int alreadyMapped = 0;
    int missingTrackName = 0;
    int noExactMatch = 0;
    int ambiguous = 0;
    int estimated = 0;

    bool operator==(const AutoAssignSummary&) const = default;
};

// Log titles and messages of auto assign and its review.
namespace AutoAssignText {
inline constexpr const char* kSkippedTitle = "Auto Assign skipped";
inline constexpr const char* kNoMappingRows =
    "No Logic mapping rows are available yet. Capture or add Logic tracks first.";
inline constexpr const char* kNoWorkspace =
    "No iPad workspace snapshot is available yet. Connect the iPad and wait for the workspace "
    "card to populate.";
inline constexpr const char* kCouldNotRun =
    "Auto Assign could not run; check that a live Logic snapshot and iPad workspace are "
    "available.";
inline constexpr const char* kCompletedTitle = "Auto Assign completed";
inline constexpr const char* kCompleteAlertTitle = "Auto Assign complete";
inline constexpr const char* kEstimatedAppliedTitle = "Estimated Auto Assign applied";
inline constexpr const char* kEstimatedAppliedMessage = "Estimated Auto Assign matches applied";
inline constexpr const char* kNoEstimatedTitle = "No estimated matches";
inline constexpr const char* kNoEstimatedMessage =
    "There are no pending estimated Auto Assign matches to review.";
inline constexpr const char* kReviewExplanation =
    "These matches need confirmation because they are close estimates or because multiple exact "
    "bank/group names matched. Apply them only if they look right.";
inline constexpr std::size_t kLinkedExampleLimit = 12;
inline constexpr std::size_t kAmbiguousExampleLimit = 8;
}  // namespace AutoAssignText

// The completion message: the six counter lines, then up to 12 linked and 8 ambiguous examples.
std::string autoAssignSummaryMessage(const AutoAssignSummary& summary,
                                     const std::vector<std::string>& linkedExamples,
                                     const std::vector<std::string>& ambiguousExamples);

}  // namespace tessiva
