#pragma once

#include <string>
#include <vector>

#include "autoassign/AutoAssignSummary.h"
#include "autoassign/AutoAssignTarget.h"
#include "autoassign/EstimatedAutoAssignMatch.h"
#include "mapping/RowMap.h"

namespace tessiva {

// One mapping row as a run sees it.
struct AutoAssignRow {
    int trackIndex = 0;
    std::string trackName;
    bool alreadyLinked = false;  // carries a bank or group focus already
};

// A row to link: the one exact match of its name.
struct AutoAssignLink {
    int trackIndex = 0;
    std::string trackName;
    AutoAssignTarget target;
};

struct AutoAssignRunResult {
    AutoAssignSummary summary;
    std::vector<AutoAssignLink> links;
    std::vector<EstimatedAutoAssignMatch> estimatedMatches;
    std::vector<std::string> linkedExamples;     // "Track 3 Violas"
    std::vector<std::string> ambiguousExamples;  // "Track 5 Brass matched 2 exact targets"

    std::string summaryMessage() const {
        return autoAssignSummaryMessage(summary, linkedExamples, ambiguousExamples);
    }
};

// Decides a whole run: for each row in row order, count it as already mapped or unnamed, link it
// when exactly one target has its normalised name, or leave an estimated match (every exact
// target at 1.0 when several share the name; the close candidates otherwise). `visibleRows` are
// Logic's rows for the stack-header context. Pure apart from fresh UUIDs; the caller applies the
// links.
AutoAssignRunResult decideAutoAssign(const std::vector<AutoAssignRow>& rows,
                                     std::vector<AutoAssignTarget> targets,
                                     const RowMap& visibleRows);

}  // namespace tessiva
