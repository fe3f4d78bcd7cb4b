#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessiva {

// One "/tessiva/midi/event" as it came off the wire (tags ",siii"), before any normalisation:
// the event type name, the channel (1 to 16 when well formed), data 1 and data 2.
struct MirroredMIDIEventArguments {
    std::string_view typeName;
    std::int32_t channel = 0;
    std::int32_t data1 = 0;
    std::int32_t data2 = 0;
};

// Where mirrored MIDI from the active iPad goes. Called on the UDP transport's network thread
// (on the mirrored-MIDI queue "tessiva.focus.osc.mirrored-midi" with a transport that has none),
// one event at a time and never on the discovery queue, so MIDI is not held up by other traffic.
// The coordinator connects VirtualMIDIBridge; tests and benchmarks record events. `sender` is the
// iPad's "host:port", for the bridge's own log lines. The type name and the sender point into the
// received datagram and are valid only during the call.
class MirroredMIDISink {
  public:
    virtual ~MirroredMIDISink() = default;
    virtual void mirroredMIDIEvent(const MirroredMIDIEventArguments& event,
                                   std::string_view sender) = 0;
};

}  // namespace tessiva
