#pragma once

#include <string>

#include "mapping/MappingProfileSnapshot.h"
#include "runtime/UUID.h"

// The profile of a large orchestral template, shared by the profile benchmarks: 5,000 rows, each
// with a MIDI and a bank-focus mapping (about 2.4 MB of JSON).
namespace tessiva::bench {

inline constexpr int kRows = 5000;

inline MappingProfileSnapshot largeProfile() {
    MappingProfileSnapshot s;
    for (int row = 1; row <= kRows; ++row) {
        const std::string name = "Violins " + std::to_string(row) + " Legato";
        s.trackIndexToPC[row] = row % 128;
        s.trackIndexToName[row] = name;
        s.trackIndexToChannel[row] = 1 + row % 16;
        s.trackIndexToEventType[row] =
            row % 3 == 0 ? MappingEventType::note : MappingEventType::programChange;
        s.trackIndexToNote[row] = (row * 7) % 128;
        s.oscTrackIdentityByIndex[row] = "logic-row-" + std::to_string(row);
        OSCBankFocusMapping m;
        m.id = makeUUID();
        m.trackIndex = row;
        m.trackName = name;
        m.trackIdentity = s.oscTrackIdentityByIndex[row];
        m.bankUUID = makeUUID();
        m.bankName = "Strings Bank " + std::to_string(row / 16);
        if (row % 2 == 0) {
            m.groupUUID = makeUUID();
            m.groupName = "Shorts";
        }
        m.sectionName = "Strings";
        m.workspaceUUID = "5B1D2C3A-0000-4000-8000-000000000001";
        m.workspaceName = "Orchestra";
        m.updatedAt = 785'000'000.25 + row;
        s.oscBankFocusMappingsByTrackIndex[row] = m;
    }
    return s;
}

}  // namespace tessiva::bench
