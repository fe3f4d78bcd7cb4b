#pragma once

#include <cstdint>
#include <span>

#include "platform/midi/MIDIStatusCode.h"

namespace tessiva {

// A named virtual source that other MIDI applications see and record from. `emit` hands them one
// complete message as if it had been received on the source; it does not allocate and may be
// called from any one queue at a time (the mirrored-MIDI queue). Test double:
// SimulatedMIDIService records every emitted message per source.
class MIDIVirtualSource {
  public:
    virtual ~MIDIVirtualSource() = default;
    virtual MIDIStatusCode emit(std::span<const std::uint8_t> message) = 0;
};

}  // namespace tessiva
