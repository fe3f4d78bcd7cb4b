#include "repair/StructuralUndoCandidates.h"

#include "repair/TrackAnchors.h"

namespace tessiva {

bool TessivaInsertionUndoCandidate::matchesUndo(const RowMap& visible) const {
    const RowMap before = repair::anchorsOf(visibleBaselineBeforeInsertion);
    return !before.empty() && repair::sameAnchors(before, repair::anchorsOf(visible));
}

std::optional<TessivaNonContiguousDeletionUndoCandidate::Restoration>
TessivaNonContiguousDeletionUndoCandidate::restorationIn(const RowMap& visible) const {
    if (deletedRows.empty())
        return std::nullopt;
    bool hiddenUnderHeader = false;
    bool contiguous = true;
    // The deleted row shown last: a hidden deleted row right after it (every row between also
    // deleted and hidden) sits inside that reappeared stack header.
    std::optional<int> lastShownDeleted;
    int previous = 0;
    for (const auto& [row, name] : deletedRows) {
        if (previous != 0 && row != previous + 1)
            contiguous = false;
        auto shown = visible.find(row);
        if (shown != visible.end()) {
            if (!repair::namesEquivalent(shown->second, name))
                return std::nullopt;
            lastShownDeleted = row;
        } else {
            if (!lastShownDeleted || row != previous + 1)
                return std::nullopt;
            hiddenUnderHeader = true;
        }
        previous = row;
    }
    if (hiddenUnderHeader)
        return Restoration::collapsedStack;
    return contiguous ? Restoration::contiguous : Restoration::nonContiguous;
}

std::string TessivaNonContiguousDeletionUndoCandidate::rowsText() const {
    std::string text;
    for (const auto& [row, name] : deletedRows)
        text += (text.empty() ? " " : ", ") + std::to_string(row);
    return text;
}

std::string deletionUndoLabel(TessivaNonContiguousDeletionUndoCandidate::Restoration restoration) {
    switch (restoration) {
        case TessivaNonContiguousDeletionUndoCandidate::Restoration::contiguous:
            return "contiguous deletion undo";
        case TessivaNonContiguousDeletionUndoCandidate::Restoration::collapsedStack:
            return "collapsed-stack deletion undo";
        case TessivaNonContiguousDeletionUndoCandidate::Restoration::nonContiguous:
            break;
    }
    return "non-contiguous deletion undo";
}

}  // namespace tessiva
