#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mapping/MappingProfileSnapshot.h"
#include "mapping/RowMap.h"

namespace tessiva {

// The checkpoint kept after an insertion repair: when Logic's undo removes exactly the inserted
// rows (the next settled capture equals the visible baseline before the insertion) and nobody
// edited a mapping since, the mappings from before the repair come back in one step. Lives
// kMaximumAgeSeconds. A value held by the repair orchestration on the main queue.
struct TessivaInsertionUndoCandidate {
    static constexpr double kMaximumAgeSeconds = 300.0;

    std::vector<int> insertedIndices;
    RowMap visibleBaselineBeforeInsertion;
    RowMap ownershipBaselineBeforeInsertion;
    MappingProfileSnapshot mappingSnapshotBeforeRepair;
    MappingProfileSnapshot mappingSnapshotAfterRepair;
    double createdAt = 0;

    bool isExpired(double now) const { return now - createdAt > kMaximumAgeSeconds; }
    // The capture is exactly the pre-insertion list (same anchors, equivalent names).
    bool matchesUndo(const RowMap& visible) const;
};

// The checkpoint kept after a deletion repair: the deleted rows with their names and the
// mappings before the repair. When a later capture shows every deleted row back at its row with
// an equivalent name, or hidden under a reappeared stack header among them, the mappings from
// before come back, also for rows the deletion had removed. `snapshotAfterRepair` makes sure no
// mapping was edited since (as for insertions). Lives kMaximumAgeSeconds.
struct TessivaNonContiguousDeletionUndoCandidate {
    static constexpr double kMaximumAgeSeconds = 300.0;

    // How the deleted rows came back.
    enum class Restoration { contiguous, collapsedStack, nonContiguous };

    std::vector<std::pair<int, std::string>> deletedRows;
    MappingProfileSnapshot snapshotBeforeRepair;
    MappingProfileSnapshot snapshotAfterRepair;
    double createdAt = 0;

    bool isExpired(double now) const { return now - createdAt > kMaximumAgeSeconds; }
    // How `visible` proves the deleted rows back, or nothing when it does not.
    std::optional<Restoration> restorationIn(const RowMap& visible) const;
    // " 5, 6, 9": the rows for log texts.
    std::string rowsText() const;
};

// "contiguous deletion undo", "collapsed-stack deletion undo", "non-contiguous deletion undo".
std::string deletionUndoLabel(TessivaNonContiguousDeletionUndoCandidate::Restoration restoration);

}  // namespace tessiva
