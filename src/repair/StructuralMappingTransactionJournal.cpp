#include "repair/StructuralMappingTransactionJournal.h"

#include "repair/TrackAnchors.h"

namespace tessiva {

void StructuralMappingTransactionJournal::record(Entry entry) {
    entries_.resize(cursor_);
    entries_.push_back(std::move(entry));
    while (entries_.size() > capacity_)
        entries_.erase(entries_.begin());
    cursor_ = entries_.size();
}

std::optional<std::size_t> StructuralMappingTransactionJournal::inverseMatch(
    const RowMap& visible, const MappingProfileSnapshot& current) const {
    const RowMap anchors = repair::anchorsOf(visible);
    for (std::size_t index = cursor_; index-- > 0;) {
        const Entry& entry = entries_[index];
        if (entry.mappingAfter == current &&
            repair::sameAnchors(repair::anchorsOf(entry.visibleBefore), anchors))
            return index;
        // Only the entry in force can be undone: an older one needs the newer undone first.
        break;
    }
    return std::nullopt;
}

std::optional<std::size_t> StructuralMappingTransactionJournal::forwardMatch(
    const RowMap& visible, const MappingProfileSnapshot& current) const {
    if (cursor_ >= entries_.size())
        return std::nullopt;
    const Entry& entry = entries_[cursor_];
    if (entry.mappingBefore == current &&
        repair::sameAnchors(repair::anchorsOf(entry.visibleAfter), repair::anchorsOf(visible)))
        return cursor_;
    return std::nullopt;
}

}  // namespace tessiva
