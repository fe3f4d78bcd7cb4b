#pragma once

#include <string_view>

namespace tessiva {

// Where the active iPad's scheduled MIDI runs go the moment they are decoded, without waiting
// for the main queue: "/tessiva/midi/run/schedule" and "/tessiva/midi/run/cancel", each with its
// JSON payload (checked for its keys only). `receivedAt` is the link clock's `now()` when the
// datagram was taken off the socket: the run's time zero. Called on the discovery queue
// "tessiva.focus.osc.discovery". The coordinator connects MIDIRunScheduler; tests record calls.
class MIDIRunSink {
  public:
    virtual ~MIDIRunSink() = default;
    virtual void scheduleMIDIRun(std::string_view json, double receivedAt,
                                 std::string_view sender) = 0;
    virtual void cancelMIDIRun(std::string_view json, std::string_view sender) = 0;
};

}  // namespace tessiva
