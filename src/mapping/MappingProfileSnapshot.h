#pragma once

#include <set>

#include "mapping/MappingEventType.h"
#include "mapping/OSCBankFocusMapping.h"
#include "mapping/RowMap.h"

namespace tessiva {

// The profile format version this build writes.
inline constexpr int kMappingProfileVersion = 1;

// A full value copy of MappingStore's persistent maps: the content of a profile file and the
// checkpoint every structural undo and rollback restores. Absent optional file keys decode to
// the defaults below, so a snapshot never distinguishes "absent" from "empty".
struct MappingProfileSnapshot {
    int version = kMappingProfileVersion;
    RowKeyed<int> trackIndexToPC;
    RowMap trackIndexToName;
    RowKeyed<int> trackIndexToChannel;
    RowKeyed<MappingEventType> trackIndexToEventType;
    RowKeyed<int> trackIndexToNote;
    RowMap oscTrackIdentityByIndex;
    int oscInsertedTrackSerial = 0;
    RowKeyed<OSCBankFocusMapping> oscBankFocusMappingsByTrackIndex;

    bool operator==(const MappingProfileSnapshot&) const = default;

    // Rows that carry any part of a MIDI mapping (value, note, channel, type or saved name).
    std::set<int> rowsWithMIDIMappings() const {
        std::set<int> rows;
        for (const auto& [row, value] : trackIndexToPC)
            rows.insert(row);
        for (const auto& [row, value] : trackIndexToName)
            rows.insert(row);
        for (const auto& [row, value] : trackIndexToChannel)
            rows.insert(row);
        for (const auto& [row, value] : trackIndexToEventType)
            rows.insert(row);
        for (const auto& [row, value] : trackIndexToNote)
            rows.insert(row);
        return rows;
    }
};

}  // namespace tessiva
