#include "autoassign/AddAllLogicTracks.h"

#include <algorithm>

#include "runtime/Text.h"

namespace tessiva {

AddAllLogicTracksPlan planAddAllLogicTracks(const RowMap& snapshot,
                                            const std::set<int>& mappedRows) {
    AddAllLogicTracksPlan plan;
    for (const auto& [row, name] : snapshot) {
        ++plan.snapshotTracks;
        if (text::lightNormalizedTrackName(name).empty()) {
            ++plan.skippedUnnamed;
        } else if (mappedRows.count(row) != 0) {
            ++plan.skippedExisting;
        } else {
            plan.rowsToAdd.emplace_back(row, name);
        }
    }
    return plan;
}

MIDIMapping newLogicTrackRow(int row, const std::string& name) {
    MIDIMapping mapping;
    mapping.eventType = MappingEventType::programChange;
    mapping.programChange = std::clamp(row - 1, 0, 127);
    mapping.channel = 1;
    mapping.trackName = name;
    return mapping;
}

}  // namespace tessiva
