#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "mapping/MappingProfileSnapshot.h"
#include "mapping/RowMap.h"
#include "repair/StructuralMappingRepairEngine.h"

namespace tessiva {

// The history of applied structural repairs, so that Logic's own undo and redo, which take the
// track list back and forth, find the exact mappings recorded for each state instead of a new
// computed repair. Each entry holds whole mapping snapshots; nothing is patched row by row.
//
// Capacity: 32 entries. A Logic session rarely undoes more than a handful of track edits in a
// row, and each entry holds two full profiles (a 2,000-row profile is about 1 MB in memory), so
// 32 keeps the history well beyond what users undo while bounding memory to tens of megabytes at
// worst. The oldest entries go first.
//
// A value owned by the repair orchestration on the main queue; tests use it directly.
class StructuralMappingTransactionJournal {
  public:
    static constexpr std::size_t kDefaultCapacity = 32;

    struct Entry {
        StructuralMappingRepairEngine::AppliedRepair::Kind kind =
            StructuralMappingRepairEngine::AppliedRepair::Kind::insertionOffset;
        RowMap visibleBefore;
        RowMap visibleAfter;
        RowMap ownershipBefore;
        RowMap ownershipAfter;
        MappingProfileSnapshot mappingBefore;
        MappingProfileSnapshot mappingAfter;

        bool operator==(const Entry&) const = default;
    };

    explicit StructuralMappingTransactionJournal(std::size_t capacity = kDefaultCapacity)
        : capacity_(capacity == 0 ? 1 : capacity) {}

    // Appends an applied repair: redo history beyond the cursor goes, then the oldest entry when
    // full; the cursor points after the new entry.
    void record(Entry entry);

    // The entry whose inverse `visible` reaches exactly: the last entry in force whose
    // `visibleBefore` has the same anchors as `visible` while `current` equals its
    // `mappingAfter`. Its index, or nothing.
    std::optional<std::size_t> inverseMatch(const RowMap& visible,
                                            const MappingProfileSnapshot& current) const;
    // The first entry beyond the cursor (undone earlier) whose `visibleAfter` has the same
    // anchors as `visible` while `current` equals its `mappingBefore`.
    std::optional<std::size_t> forwardMatch(const RowMap& visible,
                                            const MappingProfileSnapshot& current) const;

    // Moves the cursor back before / forward past the entry at `index`.
    void stepBack(std::size_t index) { cursor_ = index; }
    void stepForward(std::size_t index) { cursor_ = index + 1; }
    void clear() {
        entries_.clear();
        cursor_ = 0;
    }

    const std::vector<Entry>& entries() const { return entries_; }
    std::size_t cursor() const { return cursor_; }
    std::size_t capacity() const { return capacity_; }

  private:
    std::vector<Entry> entries_;
    std::size_t cursor_ = 0;
    std::size_t capacity_;
};

}  // namespace tessiva
