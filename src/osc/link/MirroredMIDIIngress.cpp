#include "osc/link/MirroredMIDIIngress.h"

#include <fmt/format.h>

#include <optional>

#include "osc/InboundAddress.h"
#include "osc/MirroredMIDISink.h"
#include "osc/OSCCodec.h"
#include "osc/link/PeerLink.h"
#include "runtime/Console.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {
// The mirrored-MIDI progress line appears for the first event and then every 250th.
constexpr std::int64_t kMirroredMIDIReportEvery = 250;
}  // namespace

bool MirroredMIDIIngress::handleAtOnce(const UdpDatagram& datagram) {
    const auto address = decodeAddress(OSCBytes(datagram.bytes));
    if (address && *address == addressText(InboundAddress::midiEvent)) {
        handleMirroredMIDI(datagram);
        return true;
    }
    return address && *address == addressText(InboundAddress::ping) && rejectPing(datagram);
}

void MirroredMIDIIngress::receive(UdpDatagram datagram) {
    if (!handleAtOnce(datagram))
        forward_(std::move(datagram));
}

bool MirroredMIDIIngress::rejectPing(const UdpDatagram& datagram) {
    // Another iPad's ping can only be rejected while a peer is active, and rejecting changes
    // nothing: decide here so a flood of them never reaches the discovery queue.
    const std::optional<std::string> active = peerLink_.activePeerID();
    if (!active)
        return false;
    std::uint16_t replyPort = datagram.port;
    if (auto requested = firstInt32Argument(OSCBytes(datagram.bytes));
        requested && *requested >= 0 && *requested <= 65535) {
        replyPort = static_cast<std::uint16_t>(*requested);
    }
    if (text::trimmed(datagram.host).empty())
        return false;
    const std::string peerID = makePeerID(datagram.host, replyPort);
    if (peerID == *active)
        return false;
    context_.log.flood(
        "rejected " + peerID, "OSC iPad peer rejected",
        "Rejected " + peerID + " because active peer " + *active + " is already connected.");
    return true;
}

void MirroredMIDIIngress::handleMirroredMIDI(const UdpDatagram& datagram) {
    const std::optional<std::string> active =
        peerLink_.activePeerForSender(datagram.host, datagram.port);
    if (active && active->empty()) {
        const std::string senderID = makePeerID(datagram.host, datagram.port);
        context_.log.flood("inactive " + senderID, "OSC inactive peer contact ignored",
                           "Ignoring mirrored MIDI from inactive iPad peer " + senderID +
                               ". Active peer is " + peerLink_.activePeerID().value_or(""));
        return;
    }
    const std::string sender = datagram.host + ":" + std::to_string(datagram.port);

    MirroredMIDIEventArguments event;
    bool decoded = false;
    if (auto reader = OSCMessageReader::open(OSCBytes(datagram.bytes));
        reader && reader->typeTags() == "siii") {
        auto type = reader->next();
        auto channel = reader->next();
        auto data1 = reader->next();
        auto data2 = reader->next();
        if (type && channel && data1 && data2 && !reader->failed()) {
            event = MirroredMIDIEventArguments{type->string, channel->int32, data1->int32,
                                               data2->int32};
            decoded = true;
        }
    }
    const double time = context_.now();
    if (!decoded) {
        context_.log.flood("undecodable " + sender, "Mirrored MIDI skipped",
                           "Could not decode /tessiva/midi/event from " + sender);
        return;
    }
    if (active)
        peerLink_.noteMirroredTraffic(time);
    const std::int64_t count = ++eventCount_;
    if (context_.options.logHeartbeatTraffic || count == 1 ||
        count % kMirroredMIDIReportEvery == 0) {
        context_.log.console().line(fmt::format(
            "[OSCDiscoveryManager] Mirrored MIDI decoded: {} events. latest type={} channel={} "
            "data1={} data2={}",
            count, event.typeName, event.channel, event.data1, event.data2));
    }
    if (MirroredMIDISink* sink = sink_.load())
        sink->mirroredMIDIEvent(event, sender);
}

}  // namespace tessiva
