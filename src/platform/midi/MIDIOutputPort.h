#pragma once

#include <cstdint>
#include <span>

#include "platform/midi/MIDIDestination.h"
#include "platform/midi/MIDIStatusCode.h"

namespace tessiva {

// A client's output port: sends one complete MIDI message, timestamped "now", to one
// destination. Used from one queue at a time (the relay's main queue). Test double:
// SimulatedMIDIService records every message per destination.
class MIDIOutputPort {
  public:
    virtual ~MIDIOutputPort() = default;
    // Readies the port for sending to `destination`, for platforms that route through a
    // connection (JACK, ALSA) so that it exists before the first message; `send` connects on
    // demand anyway. CoreMIDI needs nothing.
    virtual MIDIStatusCode prepare(const MIDIDestination& destination) {
        (void)destination;
        return midistatus::kNoError;
    }
    virtual MIDIStatusCode send(const MIDIDestination& destination,
                                std::span<const std::uint8_t> message) = 0;
};

}  // namespace tessiva
