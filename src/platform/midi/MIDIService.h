#pragma once

#include <memory>
#include <string>

#include "platform/midi/MIDIClient.h"
#include "platform/midi/MIDICreation.h"

namespace tessiva {

// The MIDI port: creates named clients on the platform MIDI service (CoreMIDI, JACK or ALSA
// through RtMidi; in memory for tests and the simulated build). Thread-safe. Test double:
// SimulatedMIDIService.
class MIDIService {
  public:
    virtual ~MIDIService() = default;
    virtual MIDICreation<MIDIClient> createClient(const std::string& name) = 0;
};

// The platform's MIDI service; defined by the adapter the build links (tessiva_platform_rtmidi).
std::unique_ptr<MIDIService> makeSystemMIDIService();

}  // namespace tessiva
