#pragma once

#include <string>
#include <vector>

#include "platform/midi/MIDICreation.h"
#include "platform/midi/MIDIDestination.h"
#include "platform/midi/MIDIOutputPort.h"
#include "platform/midi/MIDIVirtualSource.h"

namespace tessiva {

// A named connection to the platform MIDI service. It lists the destinations and creates the
// output port and virtual sources that speak for it. Ports and sources must not outlive their
// client. Test double: SimulatedMIDIService's clients.
class MIDIClient {
  public:
    virtual ~MIDIClient() = default;

    // Destinations in the platform's enumeration order.
    virtual std::vector<MIDIDestination> destinations() = 0;
    virtual MIDICreation<MIDIOutputPort> createOutputPort(const std::string& name) = 0;
    virtual MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string& name) = 0;
};

}  // namespace tessiva
