#pragma once

#include <memory>
#include <string>

#include "platform/midi/MIDIService.h"

namespace tessiva {

// The MIDI port over RtMidi: CoreMIDI on macOS; on Linux JACK while a JACK server runs, else
// ALSA; TESSIVA_MIDI_API (jack, alsa, coremidi) forces one. The API is chosen when a client is
// created. A client is one RtMidi connection under the client's name; its output port opens a
// connection to the destination it is sending to, and each virtual source is an RtMidi virtual
// output port. Every RtMidi failure, thrown or reported, comes back as a status value: nothing
// here throws. Thread-safe per object as MIDIService documents. Test double:
// SimulatedMIDIService.
class RtMidiService final : public MIDIService {
  public:
    RtMidiService();
    ~RtMidiService() override;
    RtMidiService(const RtMidiService&) = delete;
    RtMidiService& operator=(const RtMidiService&) = delete;

    MIDICreation<MIDIClient> createClient(const std::string& name) override;
};

}  // namespace tessiva
