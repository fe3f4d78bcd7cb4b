#include "midi/MIDIRelay.h"

#include "midi/DestinationStatusStore.h"
#include "midi/LegacyMIDIDestinationChoice.h"
#include "midi/MIDIMessage.h"
#include "platform/midi/MIDIService.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

MIDIRelay::MIDIRelay(MIDIService& service, NotificationCenter& center, Console& console)
    : service_(service), center_(center), console_(console) {}

MIDIRelay::~MIDIRelay() = default;

bool MIDIRelay::start() {
    if (outPort_)
        return true;
    if (!client_) {
        auto client = service_.createClient(kClientName);
        if (!client.ok()) {
            console_.line("[MIDIRelay] MIDIClientCreate failed: " + std::to_string(client.status));
            return false;
        }
        client_ = std::move(client.object);
    }
    auto port = client_->createOutputPort(kOutputPortName);
    if (!port.ok()) {
        console_.line("[MIDIRelay] MIDIOutputPortCreate failed: " + std::to_string(port.status));
        return false;
    }
    outPort_ = std::move(port.object);
    return true;
}

void MIDIRelay::refreshDestinations() {
    if (!outPort_)
        start();
    std::optional<LegacyMIDIDestinationChoice> choice;
    if (client_) {
        const auto destinations = client_->destinations();
        choice = chooseLegacyMIDIDestination(destinations);
    }
    std::string name = kNoMIDIDestinationName;
    if (choice) {
        cachedDestination_ = choice->destination;
        name = choice->displayName;
        // Where the platform routes through connections, make it now rather than on the first
        // mapped message. A failure here shows up as a send failure.
        if (outPort_)
            (void)outPort_->prepare(*cachedDestination_);
        console_.line("[MIDIRelay] Using legacy destination: " + name);
    } else {
        cachedDestination_.reset();
        console_.line("[MIDIRelay] No legacy MIDI destinations found yet.");
    }
    const bool available = choice.has_value();
    publish(kLegacyMIDIDestinationChangedNotification, lastPublishedLegacyDestinationName_,
            lastPublishedLegacyDestinationAvailable_, name, available);
    publish(kMIDIDestinationChangedNotification, lastPublishedDestinationName_,
            lastPublishedDestinationAvailable_, name, available);
}

void MIDIRelay::publish(const char* notification, std::optional<std::string>& lastName,
                        std::optional<bool>& lastAvailable, const std::string& name,
                        bool available) {
    if (lastAvailable == available && lastName == name)
        return;
    lastAvailable = available;
    lastName = name;
    center_.post(notification, UserInfo{{kMIDIDestinationAvailableKey, available},
                                        {kMIDIDestinationNameKey, name}});
}

void MIDIRelay::sendProgramChange(int program, int channel) {
    send(MIDIMessage::programChange(program, channel));
}

void MIDIRelay::sendNoteOn(int note, int channel, int velocity) {
    send(MIDIMessage::noteOn(note, channel, velocity));
}

void MIDIRelay::sendNoteOff(int note, int channel, int velocity) {
    send(MIDIMessage::noteOff(note, channel, velocity));
}

void MIDIRelay::send(const std::optional<MIDIMessage>& message) {
    if (!message || !outPort_ || !cachedDestination_)
        return;
    if (auto status = outPort_->send(*cachedDestination_, message->view())) {
        console_.line("[MIDIRelay] MIDISend failed: " + std::to_string(status));
    }
}

}  // namespace tessiva
