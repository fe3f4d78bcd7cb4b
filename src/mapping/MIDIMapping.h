#pragma once

#include <optional>
#include <string>

#include "mapping/MappingEventType.h"

namespace tessiva {

// One row's legacy MIDI mapping as the selection path and the editor see it, gathered from the
// store's five row maps. Values outside 0...127 are kept but never sent; the channel is clamped
// into 1...16 when sent.
struct MIDIMapping {
    MappingEventType eventType = MappingEventType::programChange;
    std::optional<int> programChange;
    std::optional<int> note;
    int channel = 1;
    std::string trackName;

    bool operator==(const MIDIMapping&) const = default;
};

}  // namespace tessiva
