#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/midi/MIDIClient.h"
#include "platform/midi/MIDIDestination.h"
#include "platform/midi/MIDIOutputPort.h"

namespace tessiva {

class Console;
class MIDIService;
class NotificationCenter;
struct MIDIMessage;

// The legacy MIDI output: sends a mapped row's Program Change or Note to one destination, chosen
// by name (a network session first), and publishes which destination it uses on
// "tessivaLegacyMIDIDestinationChanged" and "tessiva.midiDestinationChanged", each only when it
// changed. Failures are console lines; the relay keeps running and tries again on the next send
// or refresh. Main queue. Tests run it on SimulatedMIDIService.
class MIDIRelay {
  public:
    static constexpr const char* kClientName = "Tessiva Focus";
    static constexpr const char* kOutputPortName = "Output";

    MIDIRelay(MIDIService& service, NotificationCenter& center, Console& console);
    ~MIDIRelay();
    MIDIRelay(const MIDIRelay&) = delete;
    MIDIRelay& operator=(const MIDIRelay&) = delete;

    // Creates the client and its output port; true when both exist. Call refreshDestinations
    // next to pick a destination.
    bool start();
    // Picks the destination again and publishes its status. Retries start() first when the
    // client or port could not be created before (the MIDI service may have come up since).
    void refreshDestinations();

    // Channels are 1-16 (clamped); a program or note outside 0...127 sends nothing.
    void sendProgramChange(int program, int channel);
    void sendProgramChange(int program) { sendProgramChange(program, midiChannel_); }
    void sendNoteOn(int note, int channel, int velocity);
    void sendNoteOff(int note, int channel, int velocity);

    const std::optional<MIDIDestination>& cachedDestination() const { return cachedDestination_; }
    bool isStarted() const { return outPort_ != nullptr; }

  private:
    void send(const std::optional<MIDIMessage>& message);
    void publish(const char* notification, std::optional<std::string>& lastName,
                 std::optional<bool>& lastAvailable, const std::string& name, bool available);

    MIDIService& service_;
    NotificationCenter& center_;
    Console& console_;
    std::unique_ptr<MIDIClient> client_;
    std::unique_ptr<MIDIOutputPort> outPort_;
    std::optional<MIDIDestination> cachedDestination_;
    std::optional<std::string> lastPublishedDestinationName_;
    std::optional<bool> lastPublishedDestinationAvailable_;
    std::optional<std::string> lastPublishedLegacyDestinationName_;
    std::optional<bool> lastPublishedLegacyDestinationAvailable_;
    int midiChannel_ = 1;
};

}  // namespace tessiva
