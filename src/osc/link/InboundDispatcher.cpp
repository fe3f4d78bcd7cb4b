#include "osc/link/InboundDispatcher.h"

#include "osc/BankMappingLookup.h"
#include "osc/InboundAddress.h"
#include "osc/InboundRequests.h"
#include "osc/MIDIRunSink.h"
#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/link/PeerLink.h"
#include "osc/link/WorkspaceReceiver.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

// Enough endpoints for every real iPad; a hostile sender cycling source ports cannot grow it.
constexpr std::size_t kMaxInboundConnections = 64;

std::string senderText(const UdpDatagram& datagram) {
    return datagram.host + ":" + std::to_string(datagram.port);
}

OSCBytes bytesOf(const UdpDatagram& datagram) {
    return OSCBytes(datagram.bytes);
}

}  // namespace

void InboundDispatcher::noteInboundConnection(const UdpDatagram& datagram) {
    const std::string id = senderText(datagram);
    auto found = inboundConnectionsByID_.find(id);
    if (found == inboundConnectionsByID_.end()) {
        if (inboundConnectionsByID_.size() >= kMaxInboundConnections) {
            auto oldest = inboundConnectionsByID_.begin();
            for (auto it = inboundConnectionsByID_.begin(); it != inboundConnectionsByID_.end();
                 ++it) {
                if (it->second.lastSeen < oldest->second.lastSeen)
                    oldest = it;
            }
            inboundConnectionsByID_.erase(oldest);
        }
        found = inboundConnectionsByID_
                    .emplace(id, InboundConnection{id, datagram.host, datagram.port, 0, 0})
                    .first;
    }
    ++found->second.datagrams;
    found->second.lastSeen = context_.now();
}

LinkRequestOrigin InboundDispatcher::originOf(const UdpDatagram& datagram) const {
    return LinkRequestOrigin{peerLink_.senderIDOf(datagram), text::trimmed(datagram.host),
                             peerLink_.replyPortFor(datagram)};
}

void InboundDispatcher::deliver(LinkRequest request) {
    const std::string name(notificationNameFor(request.request));
    context_.services.notifications.post(name, userInfoFor(request));
    context_.services.dispatcher.mainQueue().post(
        context_.guard.wrap([this, request = std::move(request)] {
            if (LinkRequestHandler* handler = requestHandler_.load())
                handler->handleLinkRequest(request);
        }));
}

void InboundDispatcher::handleDatagram(const UdpDatagram& datagram) {
    const std::string sender = senderText(datagram);
    const auto address = decodeAddress(bytesOf(datagram));
    if (!address || address->empty()) {
        context_.log.floodConsole("address " + sender,
                                  "Could not decode OSC address from datagram bytes=" +
                                      std::to_string(datagram.bytes.size()) + " from " + sender);
        return;
    }
    noteInboundConnection(datagram);
    const auto kind = inboundAddress(*address);
    if (!kind) {
        context_.log.flood(
            "unknown " + sender, "OSC message ignored",
            "Ignoring unknown OSC address " + std::string(*address) + " from " + sender);
        return;
    }
    const std::string senderID = peerLink_.senderIDOf(datagram);
    switch (*kind) {
        case InboundAddress::ping:
            peerLink_.handlePing(datagram);
            return;
        case InboundAddress::pong:
            peerLink_.handlePong(datagram);
            return;
        case InboundAddress::workspaceSnapshot:
            workspace_.handleSnapshot(datagram, senderID);
            return;
        case InboundAddress::workspaceSnapshotChunk:
            workspace_.handleSnapshotChunk(datagram, senderID);
            return;
        default:
            break;
    }
    if (peerLink_.isFromInactivePeer(datagram)) {
        ignoreInactive(datagram, *address);
        return;
    }
    peerLink_.armHandshakeTimeout();

    switch (*kind) {
        case InboundAddress::deviceName:
            handleDeviceName(datagram);
            return;
        case InboundAddress::focusMappingQuery:
            handleMappingQuery(datagram);
            return;
        case InboundAddress::navigationDirectSelect:
            handleDirectSelect(datagram);
            return;
        case InboundAddress::bankFocusLearn:
            handleBankLearn(datagram);
            return;
        case InboundAddress::articulationSetImportAck:
            handleImportAck(datagram);
            return;
        case InboundAddress::midiRunSchedule:
            handleMIDIRun(datagram, true);
            return;
        case InboundAddress::midiRunCancel:
            handleMIDIRun(datagram, false);
            return;
        case InboundAddress::workspaceSnapshotRequest:
            handleSnapshotRequest(datagram);
            return;
        case InboundAddress::navigationExportStart:
            navigationExports_.handle(datagram, NavigationExportReceiver::Part::start,
                                      originOf(datagram));
            return;
        case InboundAddress::navigationExportChunk:
            navigationExports_.handle(datagram, NavigationExportReceiver::Part::chunk,
                                      originOf(datagram));
            return;
        case InboundAddress::navigationExportEnd:
            navigationExports_.handle(datagram, NavigationExportReceiver::Part::end,
                                      originOf(datagram));
            return;
        case InboundAddress::navigationExportError:
            navigationExports_.handle(datagram, NavigationExportReceiver::Part::error,
                                      originOf(datagram));
            return;
        case InboundAddress::midiEvent:  // always handled on the mirrored-MIDI queue
        case InboundAddress::ping:
        case InboundAddress::pong:
        case InboundAddress::workspaceSnapshot:
        case InboundAddress::workspaceSnapshotChunk:
            return;
    }
}

void InboundDispatcher::ignoreInactive(const UdpDatagram& datagram, std::string_view address) {
    const std::string senderID = makePeerID(datagram.host, datagram.port);
    const std::string tail = ". Active peer is " + peerLink_.peers().activePeerID().value_or("");
    auto ignore = [&](const std::string& title, const std::string& message) {
        context_.log.flood(title + " " + senderID, title, message);
    };
    switch (*inboundAddress(address)) {
        case InboundAddress::deviceName: {
            const std::string name = firstNonEmptyStringArgument(bytesOf(datagram)).value_or("");
            ignore("Tessiva device name ignored",
                   "Ignored device name \"" + name + "\" from inactive iPad " + senderID + tail);
            return;
        }
        case InboundAddress::focusMappingQuery: {
            const std::string uuid = firstNonEmptyStringArgument(bytesOf(datagram)).value_or("");
            ignore("OSC inactive peer contact ignored", "Ignoring mapping query for bank UUID " +
                                                            uuid + " from inactive iPad peer " +
                                                            senderID + tail);
            return;
        }
        case InboundAddress::navigationDirectSelect:
            ignore("Direct navigation ignored",
                   "Ignoring request from inactive iPad peer " + senderID);
            return;
        case InboundAddress::navigationExportStart:
            ignore("Navigation export start ignored",
                   "Ignoring export start from inactive iPad peer " + senderID);
            return;
        case InboundAddress::navigationExportChunk:
            ignore("Navigation export chunk ignored",
                   "Ignoring export chunk from inactive iPad peer " + senderID);
            return;
        case InboundAddress::navigationExportEnd:
            ignore("Navigation export end ignored",
                   "Ignoring export end from inactive iPad peer " + senderID);
            return;
        case InboundAddress::navigationExportError:
            ignore("Navigation export error ignored",
                   "Ignoring export error from inactive iPad peer " + senderID);
            return;
        default:
            ignore(
                "OSC inactive peer contact ignored",
                "Ignoring " + std::string(address) + " from inactive iPad peer " + senderID + tail);
            return;
    }
}

// ---- Requests from the iPad ----

void InboundDispatcher::handleDeviceName(const UdpDatagram& datagram) {
    const OSCBytes bytes = bytesOf(datagram);
    const std::string sender = senderText(datagram);
    const auto strings = stringArguments(bytes);
    if (!strings || strings->empty()) {
        context_.log.event("Tessiva device name skipped",
                           "Could not decode /tessiva/device/name from " + sender);
        return;
    }
    const auto name = firstNonEmptyStringArgument(bytes);
    if (!name) {
        context_.log.event(
            "Tessiva device name skipped",
            "Received /tessiva/device/name with an empty device name from " + sender);
        return;
    }
    peerLink_.setActiveDeviceName(*name);
    context_.log.event("Tessiva device name received",
                       "Received iPad device name \"" + *name + "\" from " + sender);
}

void InboundDispatcher::handleMappingQuery(const UdpDatagram& datagram) {
    const OSCBytes bytes = bytesOf(datagram);
    const auto strings = stringArguments(bytes);
    const std::string title = "OSC focus mapping query skipped";
    if (!strings || strings->empty()) {
        context_.log.event(title,
                           "Could not decode a bank UUID string argument from "
                           "/tessiva/focus/mapping/query.");
        return;
    }
    const auto bankUUID = firstNonEmptyStringArgument(bytes);
    if (!bankUUID) {
        context_.log.event(title, "Received /tessiva/focus/mapping/query with an empty bank UUID.");
        return;
    }
    const std::string host = text::trimmed(datagram.host);
    if (host.empty()) {
        context_.log.event(title, "Could not determine remote host for bank UUID " + *bankUUID);
        return;
    }
    const std::uint16_t replyPort = peerLink_.replyPortFor(datagram);
    if (replyPort == 0) {
        context_.log.event(title, "Could not determine reply port for bank UUID " + *bankUUID);
        return;
    }
    // The mapping store lives on the main queue: ask there, answer from there.
    context_.services.dispatcher.mainQueue().post(context_.guard.wrap([this, host, port = replyPort,
                                                                       uuid = *bankUUID] {
        std::optional<MappedTrack> track;
        if (BankMappingLookup* lookup = bankMappingLookup_.load())
            track = lookup->mappedTrack(uuid);
        context_.services.sender.send(host, port, "/tessiva/focus/mapping/result",
                                      {OSCArgument::string(uuid), OSCArgument::int32(track ? 1 : 0),
                                       OSCArgument::int32(track ? track->index : 0),
                                       OSCArgument::string(track ? track->name : "")});
        context_.log.event(
            "OSC focus mapping query received",
            "Bank UUID " + uuid + ", mapped=" + (track ? "true" : "false") + ", reply=" + host +
                ":" + std::to_string(port) +
                (track ? ", track=" + std::to_string(track->index) + " \"" + track->name + "\""
                       : std::string(", track=<none>")));
    }));
}

void InboundDispatcher::handleDirectSelect(const UdpDatagram& datagram) {
    auto decoded = decodeDirectNavigationRequest(bytesOf(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        context_.log.event("Direct navigation skipped", *refusal);
        return;
    }
    deliver(LinkRequest{originOf(datagram), std::get<DirectNavigationRequest>(std::move(decoded))});
}

void InboundDispatcher::handleBankLearn(const UdpDatagram& datagram) {
    auto decoded = decodeBankLearnRequest(bytesOf(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        context_.log.event("OSC bank learn skipped", *refusal);
        return;
    }
    deliver(LinkRequest{originOf(datagram), std::get<BankLearnRequest>(std::move(decoded))});
}

void InboundDispatcher::handleImportAck(const UdpDatagram& datagram) {
    auto decoded = decodeArticulationSetImportAck(bytesOf(datagram), senderText(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        context_.log.event("Articulation set ACK skipped", *refusal);
        return;
    }
    deliver(
        LinkRequest{originOf(datagram), std::get<ArticulationSetImportAck>(std::move(decoded))});
}

void InboundDispatcher::handleMIDIRun(const UdpDatagram& datagram, bool schedule) {
    const std::string sender = senderText(datagram);
    auto decoded = schedule ? decodeMIDIRunSchedule(bytesOf(datagram), sender)
                            : decodeMIDIRunCancel(bytesOf(datagram), sender);
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        context_.log.flood("run " + sender, "MIDI run skipped", *refusal);
        return;
    }
    MIDIRunMessage run = std::get<MIDIRunMessage>(std::move(decoded));
    if (MIDIRunSink* sink = midiRunSink_.load()) {
        if (schedule) {
            sink->scheduleMIDIRun(
                run.json, datagram.receivedAt > 0 ? datagram.receivedAt : context_.now(), sender);
        } else {
            sink->cancelMIDIRun(run.json, sender);
        }
    }
    if (schedule)
        deliver(LinkRequest{originOf(datagram), MIDIRunScheduleRequest{std::move(run)}});
    else
        deliver(LinkRequest{originOf(datagram), MIDIRunCancelRequest{std::move(run)}});
}

void InboundDispatcher::handleSnapshotRequest(const UdpDatagram& datagram) {
    // The iPad asks for an exchange: it answers our request with its snapshot.
    peerLink_.requestWorkspaceSnapshotIfNeeded(text::trimmed(datagram.host),
                                               peerLink_.replyPortFor(datagram),
                                               "the iPad asked for a snapshot exchange", true);
}

}  // namespace tessiva
