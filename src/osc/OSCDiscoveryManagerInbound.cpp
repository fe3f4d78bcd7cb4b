// Inbound dispatch of OSCDiscoveryManager: one handler per address the iPad may send.
#include <fmt/format.h>

#include "osc/BankMappingLookup.h"
#include "osc/InboundAddress.h"
#include "osc/InboundRequests.h"
#include "osc/MirroredMIDISink.h"
#include "osc/OSCCodec.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "osc/StoredPeerEndpoint.h"
#include "runtime/Console.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

// Enough endpoints for every real iPad; a hostile sender cycling source ports cannot grow it.
constexpr std::size_t kMaxInboundConnections = 64;
constexpr std::size_t kMaxNavigationExports = 8;
// The mirrored-MIDI progress line appears for the first event and then every 250th.
constexpr std::int64_t kMirroredMIDIReportEvery = 250;

std::string senderText(const UdpDatagram& datagram) {
    return datagram.host + ":" + std::to_string(datagram.port);
}

OSCBytes bytesOf(const UdpDatagram& datagram) {
    return OSCBytes(datagram.bytes);
}

UserInfo infoFromSender(const std::string& senderID) {
    UserInfo info;
    info.set("peer", senderID);
    return info;
}

}  // namespace

// ---- Ingress: the mirrored-MIDI queue ----

void OSCDiscoveryManager::receiveOnIngress(UdpDatagram datagram) {
    const auto address = decodeAddress(bytesOf(datagram));
    if (address && *address == addressText(InboundAddress::midiEvent)) {
        handleMirroredMIDI(datagram);
        return;
    }
    if (address && *address == addressText(InboundAddress::ping) && rejectPingOnIngress(datagram)) {
        return;
    }
    std::weak_ptr<int> alive = alive_;
    queue_->post([this, alive, datagram = std::move(datagram)] {
        if (alive.lock())
            handleDatagram(datagram);
    });
}

bool OSCDiscoveryManager::rejectPingOnIngress(const UdpDatagram& datagram) {
    // Another iPad's ping can only be rejected while a peer is active, and rejecting changes
    // nothing: decide here so a flood of them never reaches the discovery queue.
    std::optional<std::string> active;
    {
        std::lock_guard guard(published_);
        active = publishedActivePeerID_;
    }
    if (!active)
        return false;
    std::uint16_t replyPort = datagram.port;
    if (auto requested = firstInt32Argument(bytesOf(datagram));
        requested && *requested >= 0 && *requested <= 65535) {
        replyPort = static_cast<std::uint16_t>(*requested);
    }
    if (text::trimmed(datagram.host).empty())
        return false;
    const std::string peerID = makePeerID(datagram.host, replyPort);
    if (peerID == *active)
        return false;
    if (mirroredMIDILogs_.shouldLog("rejected " + peerID, now())) {
        logEvent("OSC iPad peer rejected", "Rejected " + peerID + " because active peer " +
                                               *active + " is already connected.");
    }
    return true;
}

void OSCDiscoveryManager::handleMirroredMIDI(const UdpDatagram& datagram) {
    const std::string sender = senderText(datagram);
    const std::string senderID = makePeerID(datagram.host, datagram.port);
    std::optional<std::string> active;
    bool fromActive = false;
    {
        std::lock_guard guard(published_);
        active = publishedActivePeerID_;
        fromActive =
            publishedActivePeer_ && publishedActivePeer_->isSender(datagram.host, datagram.port);
    }
    const double time = now();
    if (active && !fromActive) {
        if (mirroredMIDILogs_.shouldLog("inactive " + senderID, time)) {
            logEvent("OSC inactive peer contact ignored",
                     "Ignoring mirrored MIDI from inactive iPad peer " + senderID +
                         ". Active peer is " + *active);
        }
        return;
    }
    mirroredMIDIInboundConnection_ = sender;

    MirroredMIDIEventArguments event;
    bool decoded = false;
    if (auto reader = OSCMessageReader::open(bytesOf(datagram));
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
    if (!decoded) {
        if (mirroredMIDILogs_.shouldLog("undecodable " + senderID, time)) {
            logEvent("Mirrored MIDI skipped",
                     "Could not decode /tessiva/midi/event from " + sender);
        }
        return;
    }
    if (active)
        lastMirroredTrafficTime_.store(time);
    const std::int64_t count = ++mirroredOSCEventCount_;
    if (options_.logHeartbeatTraffic || count == 1 || count % kMirroredMIDIReportEvery == 0) {
        services_.console.line(fmt::format(
            "[OSCDiscoveryManager] Mirrored MIDI decoded: {} events. latest type={} channel={} "
            "data1={} data2={}",
            count, event.typeName, event.channel, event.data1, event.data2));
    }
    if (MirroredMIDISink* sink = mirroredMIDISink_.load())
        sink->mirroredMIDIEvent(event, sender);
}

// ---- Dispatch: the discovery queue ----

void OSCDiscoveryManager::noteInboundConnection(const UdpDatagram& datagram) {
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
    found->second.lastSeen = now();
}

bool OSCDiscoveryManager::isFromInactivePeer(const UdpDatagram& datagram) const {
    return peers_.activePeerID() && !peers_.isActiveSender(datagram.host, datagram.port);
}

std::string OSCDiscoveryManager::senderIDOf(const UdpDatagram& datagram) const {
    if (peers_.isActiveSender(datagram.host, datagram.port))
        return *peers_.activePeerID();
    return makePeerID(datagram.host, datagram.port);
}

std::uint16_t OSCDiscoveryManager::replyPortFor(const UdpDatagram& datagram) const {
    if (peers_.isActiveSender(datagram.host, datagram.port))
        return peers_.activePeer()->port;
    return datagram.port;
}

void OSCDiscoveryManager::ignoreInactive(const std::string& senderID, const std::string& message,
                                         const std::string& title) {
    logRepeated(title + " " + senderID, title, message);
}

void OSCDiscoveryManager::handleDatagram(const UdpDatagram& datagram) {
    if (!listener_)
        return;  // stopped while the datagram was on its way
    const std::string sender = senderText(datagram);
    const auto address = decodeAddress(bytesOf(datagram));
    if (!address || address->empty()) {
        if (repeatedLogs_.shouldLog("address " + sender, now())) {
            services_.console.line("Could not decode OSC address from datagram bytes=" +
                                   std::to_string(datagram.bytes.size()) + " from " + sender);
        }
        return;
    }
    noteInboundConnection(datagram);
    const auto kind = inboundAddress(*address);
    if (!kind) {
        logRepeated("unknown " + sender, "OSC message ignored",
                    "Ignoring unknown OSC address " + std::string(*address) + " from " + sender);
        return;
    }
    const std::string senderID = senderIDOf(datagram);
    switch (*kind) {
        case InboundAddress::ping:
            handlePing(datagram);
            return;
        case InboundAddress::pong:
            handlePong(datagram);
            return;
        case InboundAddress::workspaceSnapshot:
            handleSnapshot(datagram, senderID);
            return;
        case InboundAddress::workspaceSnapshotChunk:
            handleSnapshotChunk(datagram, senderID);
            return;
        default:
            break;
    }

    if (isFromInactivePeer(datagram)) {
        const std::string& active = *peers_.activePeerID();
        const std::string tail = ". Active peer is " + active;
        switch (*kind) {
            case InboundAddress::deviceName: {
                const std::string name =
                    firstNonEmptyStringArgument(bytesOf(datagram)).value_or("");
                ignoreInactive(
                    senderID,
                    "Ignored device name \"" + name + "\" from inactive iPad " + senderID + tail,
                    "Tessiva device name ignored");
                return;
            }
            case InboundAddress::focusMappingQuery: {
                const std::string uuid =
                    firstNonEmptyStringArgument(bytesOf(datagram)).value_or("");
                ignoreInactive(senderID,
                               "Ignoring mapping query for bank UUID " + uuid +
                                   " from inactive iPad peer " + senderID + tail,
                               "OSC inactive peer contact ignored");
                return;
            }
            case InboundAddress::navigationDirectSelect:
                ignoreInactive(senderID, "Ignoring request from inactive iPad peer " + senderID,
                               "Direct navigation ignored");
                return;
            case InboundAddress::navigationExportStart:
                ignoreInactive(senderID,
                               "Ignoring export start from inactive iPad peer " + senderID,
                               "Navigation export start ignored");
                return;
            case InboundAddress::navigationExportChunk:
                ignoreInactive(senderID,
                               "Ignoring export chunk from inactive iPad peer " + senderID,
                               "Navigation export chunk ignored");
                return;
            case InboundAddress::navigationExportEnd:
                ignoreInactive(senderID, "Ignoring export end from inactive iPad peer " + senderID,
                               "Navigation export end ignored");
                return;
            case InboundAddress::navigationExportError:
                ignoreInactive(senderID,
                               "Ignoring export error from inactive iPad peer " + senderID,
                               "Navigation export error ignored");
                return;
            default:
                ignoreInactive(senderID,
                               "Ignoring " + std::string(*address) + " from inactive iPad peer " +
                                   senderID + tail,
                               "OSC inactive peer contact ignored");
                return;
        }
    }
    armHandshakeTimeout();

    switch (*kind) {
        case InboundAddress::deviceName:
            handleDeviceName(datagram, senderID);
            return;
        case InboundAddress::focusMappingQuery:
            handleMappingQuery(datagram, senderID);
            return;
        case InboundAddress::navigationDirectSelect:
            handleDirectSelect(datagram, senderID);
            return;
        case InboundAddress::bankFocusLearn:
            handleBankLearn(datagram, senderID);
            return;
        case InboundAddress::articulationSetImportAck:
            handleImportAck(datagram, senderID);
            return;
        case InboundAddress::midiRunSchedule:
            handleMIDIRun(datagram, senderID, true);
            return;
        case InboundAddress::midiRunCancel:
            handleMIDIRun(datagram, senderID, false);
            return;
        case InboundAddress::workspaceSnapshotRequest:
            handleSnapshotRequest(datagram, senderID);
            return;
        case InboundAddress::navigationExportStart:
            handleNavigationExport(datagram, senderID, 0);
            return;
        case InboundAddress::navigationExportChunk:
            handleNavigationExport(datagram, senderID, 1);
            return;
        case InboundAddress::navigationExportEnd:
            handleNavigationExport(datagram, senderID, 2);
            return;
        case InboundAddress::navigationExportError:
            handleNavigationExport(datagram, senderID, 3);
            return;
        case InboundAddress::midiEvent:  // always handled on the mirrored-MIDI queue
        case InboundAddress::ping:
        case InboundAddress::pong:
        case InboundAddress::workspaceSnapshot:
        case InboundAddress::workspaceSnapshotChunk:
            return;
    }
}

// ---- Handshake messages ----

void OSCDiscoveryManager::handlePing(const UdpDatagram& datagram) {
    const OSCBytes bytes = bytesOf(datagram);
    std::uint16_t replyPort = datagram.port;
    if (auto requested = firstInt32Argument(bytes);
        requested && *requested >= 0 && *requested <= 65535) {
        replyPort = static_cast<std::uint16_t>(*requested);
    }
    const std::optional<std::string> deviceName = firstNonEmptyStringArgument(bytes);
    if (!registerPeer(datagram.host, replyPort, deviceName, datagram.port))
        return;

    const bool wasConnected = handshake_.isConnected();
    const std::string host = text::trimmed(datagram.host);
    const std::string peerID = makePeerID(host, replyPort);
    services_.sender.sendPong(host, replyPort, localDeviceName());
    if (options_.logHeartbeatTraffic || repeatedLogs_.shouldLog("pong " + peerID, now())) {
        services_.console.line(
            "[OSCDiscoveryManager] received /ping from active peer and sent /pong");
    }
    armHandshakeTimeout();
    updateHandshakeState(true, host, replyPort, "confirmed active peer heartbeat");
    UserInfo info = infoFromSender(peerID);
    if (deviceName)
        info.set("deviceName", *deviceName);
    services_.notifications.post(std::string(kPingReceived), std::move(info));
    // The workspace feeds the bank pickers and auto assign: ask as soon as the iPad is linked.
    if (forceWorkspaceSnapshotOnNextPing_) {
        forceWorkspaceSnapshotOnNextPing_ = false;
        requestWorkspaceSnapshotIfNeeded(host, replyPort, "forced request on /ping", true);
    } else if (!wasConnected) {
        requestWorkspaceSnapshotIfNeeded(host, replyPort, "active peer connected via /ping", false);
    }
}

void OSCDiscoveryManager::handlePong(const UdpDatagram& datagram) {
    const std::string senderID = makePeerID(datagram.host, datagram.port);
    if (isFromInactivePeer(datagram)) {
        ignoreInactive(senderID, "Ignoring /pong from inactive iPad peer " + senderID,
                       "OSC pong ignored");
        return;
    }
    // A "/pong" from another port of the active iPad keeps its announced reply port.
    const std::uint16_t replyPort = replyPortFor(datagram);
    const std::optional<std::string> deviceName = firstNonEmptyStringArgument(bytesOf(datagram));
    if (!registerPeer(datagram.host, replyPort, deviceName, datagram.port))
        return;
    const bool wasConnected = handshake_.isConnected();
    const std::string host = text::trimmed(datagram.host);
    armHandshakeTimeout();
    updateHandshakeState(true, host, replyPort, "confirmed active peer");
    if (!wasConnected) {
        requestWorkspaceSnapshotIfNeeded(host, replyPort, "active peer reconnected via /pong",
                                         false);
    }
}

// ---- Requests from the iPad ----

void OSCDiscoveryManager::handleDeviceName(const UdpDatagram& datagram,
                                           const std::string& senderID) {
    const OSCBytes bytes = bytesOf(datagram);
    const std::string sender = senderText(datagram);
    const auto strings = stringArguments(bytes);
    if (!strings || strings->empty()) {
        logEvent("Tessiva device name skipped",
                 "Could not decode /tessiva/device/name from " + sender);
        return;
    }
    const auto name = firstNonEmptyStringArgument(bytes);
    if (!name) {
        logEvent("Tessiva device name skipped",
                 "Received /tessiva/device/name with an empty device name from " + sender);
        return;
    }
    if (peers_.isActive(senderID)) {
        peers_.setDeviceName(senderID, *name);
        peerDeviceName_ = *name;
        publishActivePeer();
    }
    logEvent("Tessiva device name received",
             "Received iPad device name \"" + *name + "\" from " + sender);
}

void OSCDiscoveryManager::handleMappingQuery(const UdpDatagram& datagram, const std::string&) {
    const OSCBytes bytes = bytesOf(datagram);
    const auto strings = stringArguments(bytes);
    const std::string title = "OSC focus mapping query skipped";
    if (!strings || strings->empty()) {
        logEvent(title,
                 "Could not decode a bank UUID string argument from "
                 "/tessiva/focus/mapping/query.");
        return;
    }
    const auto bankUUID = firstNonEmptyStringArgument(bytes);
    if (!bankUUID) {
        logEvent(title, "Received /tessiva/focus/mapping/query with an empty bank UUID.");
        return;
    }
    const std::string host = text::trimmed(datagram.host);
    if (host.empty()) {
        logEvent(title, "Could not determine remote host for bank UUID " + *bankUUID);
        return;
    }
    const std::uint16_t replyPort = replyPortFor(datagram);
    if (replyPort == 0) {
        logEvent(title, "Could not determine reply port for bank UUID " + *bankUUID);
        return;
    }
    // The mapping store lives on the main queue: ask there, answer from there.
    std::weak_ptr<int> alive = alive_;
    services_.dispatcher.mainQueue().post([this, alive, host, port = replyPort, uuid = *bankUUID] {
        if (!alive.lock())
            return;
        std::optional<MappedTrack> track;
        if (BankMappingLookup* lookup = bankMappingLookup_.load())
            track = lookup->mappedTrack(uuid);
        services_.sender.send(host, port, "/tessiva/focus/mapping/result",
                              {OSCArgument::string(uuid), OSCArgument::int32(track ? 1 : 0),
                               OSCArgument::int32(track ? track->index : 0),
                               OSCArgument::string(track ? track->name : "")});
        logEvent("OSC focus mapping query received",
                 "Bank UUID " + uuid + ", mapped=" + (track ? "true" : "false") +
                     ", reply=" + host + ":" + std::to_string(port) +
                     (track ? ", track=" + std::to_string(track->index) + " \"" + track->name + "\""
                            : std::string(", track=<none>")));
    });
}

void OSCDiscoveryManager::handleDirectSelect(const UdpDatagram& datagram,
                                             const std::string& senderID) {
    auto decoded = decodeDirectNavigationRequest(bytesOf(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        logEvent("Direct navigation skipped", *refusal);
        return;
    }
    const auto& request = std::get<DirectNavigationRequest>(decoded);
    UserInfo info = infoFromSender(senderID);
    info.set("requestID", request.requestID);
    info.set("bankUUID", request.bankUUID);
    if (request.bankName)
        info.set("bankName", *request.bankName);
    info.set("host", text::trimmed(datagram.host));
    info.set("port", static_cast<std::int64_t>(replyPortFor(datagram)));
    services_.notifications.post(std::string(kDirectNavigationRequested), std::move(info));
}

void OSCDiscoveryManager::handleBankLearn(const UdpDatagram& datagram,
                                          const std::string& senderID) {
    auto decoded = decodeBankLearnRequest(bytesOf(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        logEvent("OSC bank learn skipped", *refusal);
        return;
    }
    const auto& request = std::get<BankLearnRequest>(decoded);
    UserInfo info = infoFromSender(senderID);
    info.set("bankUUID", request.bankUUID);
    info.set("bankName", request.bankName);
    info.set("sectionName", request.sectionName);
    if (request.groupUUID)
        info.set("groupUUID", *request.groupUUID);
    if (request.groupName)
        info.set("groupName", *request.groupName);
    if (request.workspaceUUID)
        info.set("workspaceUUID", *request.workspaceUUID);
    if (request.workspaceName)
        info.set("workspaceName", *request.workspaceName);
    services_.notifications.post(std::string(kBankLearnRequested), std::move(info));
}

void OSCDiscoveryManager::handleImportAck(const UdpDatagram& datagram,
                                          const std::string& senderID) {
    auto decoded = decodeArticulationSetImportAck(bytesOf(datagram), senderText(datagram));
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        logEvent("Articulation set ACK skipped", *refusal);
        return;
    }
    const auto& ack = std::get<ArticulationSetImportAck>(decoded);
    UserInfo info = infoFromSender(senderID);
    info.set("transferID", ack.transferID);
    info.set("success", ack.success);
    info.set("status", ack.status);
    info.set("message", ack.message);
    services_.notifications.post(std::string(kArticulationSetImportAckReceived), std::move(info));
}

void OSCDiscoveryManager::handleMIDIRun(const UdpDatagram& datagram, const std::string& senderID,
                                        bool schedule) {
    const std::string sender = senderText(datagram);
    auto decoded = schedule ? decodeMIDIRunSchedule(bytesOf(datagram), sender)
                            : decodeMIDIRunCancel(bytesOf(datagram), sender);
    if (auto* refusal = std::get_if<std::string>(&decoded)) {
        logRepeated("run " + sender, "MIDI run skipped", *refusal);
        return;
    }
    const auto& run = std::get<MIDIRunMessage>(decoded);
    UserInfo info = infoFromSender(senderID);
    info.set("runID", run.runID);
    info.set("json", run.json);
    services_.notifications.post(
        std::string(schedule ? kMIDIRunScheduleReceived : kMIDIRunCancelReceived), std::move(info));
}

void OSCDiscoveryManager::handleNavigationExport(const UdpDatagram& datagram,
                                                 const std::string& senderID, int which) {
    const OSCBytes bytes = bytesOf(datagram);
    const std::string sender = senderText(datagram);
    auto failed = [&](const std::string& requestID, const std::string& message) {
        navigationExports_.erase(requestID);
        logEvent("Navigation export failed", message);
        UserInfo info = infoFromSender(senderID);
        info.set("requestID", requestID);
        info.set("message", message);
        services_.notifications.post(std::string(kNavigationExportFailed), std::move(info));
    };
    auto transferFor = [&](const std::string& requestID) -> NavigationExportTransfer& {
        if (!navigationExports_.count(requestID) &&
            navigationExports_.size() >= kMaxNavigationExports) {
            navigationExports_.erase(navigationExports_.begin());
        }
        return navigationExports_[requestID];
    };
    switch (which) {
        case 0: {
            auto decoded = decodeNavigationExportStart(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                logEvent("Navigation export start skipped", *refusal);
                return;
            }
            const auto& start = std::get<NavigationExportStart>(decoded);
            transferFor(start.requestID) = NavigationExportTransfer{start.fileName, std::nullopt};
            logEvent("Navigation export started", "Receiving navigation export " + start.requestID +
                                                      " in " + std::to_string(start.chunkCount) +
                                                      " chunks from " + sender);
            return;
        }
        case 1: {
            auto arguments = decodeArguments(bytes);
            auto chunk =
                arguments ? WorkspaceSnapshotChunk::fromArguments(*arguments) : std::nullopt;
            if (!chunk) {
                logEvent("Navigation export chunk skipped",
                         "Could not decode /tessiva/navigation/export/chunk from " + sender);
                return;
            }
            auto outcome = navigationExportAssembler_.addChunk(chunk->transferID, chunk->index,
                                                               chunk->count, chunk->text);
            for (const auto& refusal : outcome.refusals) {
                logEvent("Navigation export chunk refused", refusal);
            }
            if (outcome.text)
                transferFor(chunk->transferID).text = std::move(outcome.text);
            return;
        }
        case 2: {
            auto decoded = decodeNavigationExportEnd(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                logEvent("Navigation export end skipped", *refusal);
                return;
            }
            const std::string requestID = std::get<NavigationExportEnd>(decoded).requestID;
            auto found = navigationExports_.find(requestID);
            if (found == navigationExports_.end() || !found->second.text) {
                failed(requestID,
                       "Navigation export " + requestID + " ended before all chunks arrived.");
                return;
            }
            UserInfo info = infoFromSender(senderID);
            info.set("requestID", requestID);
            info.set("text", *found->second.text);
            if (found->second.fileName)
                info.set("fileName", *found->second.fileName);
            navigationExports_.erase(found);
            logEvent("Navigation export received",
                     "Received navigation export " + requestID + " from " + sender);
            services_.notifications.post(std::string(kNavigationExportReceived), std::move(info));
            return;
        }
        default: {
            auto decoded = decodeNavigationExportError(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                logEvent("Navigation export error skipped", *refusal);
                return;
            }
            const auto& error = std::get<NavigationExportError>(decoded);
            failed(error.requestID, error.message);
            return;
        }
    }
}

// ---- Workspace snapshot ----

void OSCDiscoveryManager::handleSnapshotRequest(const UdpDatagram& datagram, const std::string&) {
    // The iPad asks for an exchange: it answers our request with its snapshot.
    requestWorkspaceSnapshotIfNeeded(text::trimmed(datagram.host), replyPortFor(datagram),
                                     "the iPad asked for a snapshot exchange", true);
}

bool OSCDiscoveryManager::acceptSnapshotSender(const UdpDatagram& datagram,
                                               const std::string& senderID) {
    const auto& active = peers_.activePeerID();
    if (active && (*active == senderID || peers_.isActiveSender(datagram.host, datagram.port)))
        return true;
    const std::string host = text::trimmed(datagram.host);
    const std::string endpoint = senderText(datagram);
    // The pending active peer: the active iPad before its handshake is confirmed, or, with no
    // active iPad, the stored endpoint the Mac is pinging. A snapshot from another address of
    // that iPad (another interface, another port) makes that address the active endpoint.
    std::optional<std::string> pendingID;
    if (active) {
        const KnownPeer* pending = peers_.activePeer();
        const bool sameIPad =
            pending && (pending->host == host || snapshotThrottle_.lastRequestKey() ==
                                                     OSCManager::endpointKey(host, datagram.port));
        if (!handshake_.isConnected() && sameIPad)
            pendingID = *active;
    } else if (storedPeerHost_ && storedPeerPort_) {
        pendingID = makePeerID(*storedPeerHost_, *storedPeerPort_);
    } else {
        return true;  // nobody to compare with
    }
    if (!pendingID) {
        ignoreInactive(senderID, "Ignoring snapshot from inactive iPad peer " + senderID,
                       "OSC inactive peer contact ignored");
        return false;
    }
    std::optional<std::string> name;
    if (active) {
        name = peers_.activePeer()->deviceName;
        dropActivePeer();
    }
    registerPeer(host, datagram.port, name);
    logEvent("Active iPad endpoint updated",
             "Accepted workspace snapshot from alternate endpoint " + endpoint +
                 " for pending active peer " + *pendingID + ". Active peer is now " + endpoint);
    return true;
}

void OSCDiscoveryManager::handleSnapshot(const UdpDatagram& datagram, const std::string& senderID) {
    if (!acceptSnapshotSender(datagram, senderID))
        return;
    armHandshakeTimeout();
    const auto strings = stringArguments(bytesOf(datagram));
    if (!strings || strings->empty()) {
        const std::string message =
            "Could not decode JSON string argument from /tessiva/workspace/snapshot. bytes=" +
            std::to_string(datagram.bytes.size());
        logEvent("OSC workspace snapshot skipped: " + message, message);
        return;
    }
    handleSnapshotJSON(std::string((*strings)[0]), senderText(datagram), false);
}

void OSCDiscoveryManager::handleSnapshotChunk(const UdpDatagram& datagram,
                                              const std::string& senderID) {
    if (!acceptSnapshotSender(datagram, senderID))
        return;
    armHandshakeTimeout();
    const std::string sender = senderText(datagram);
    auto arguments = decodeArguments(bytesOf(datagram));
    auto chunk = arguments ? WorkspaceSnapshotChunk::fromArguments(*arguments) : std::nullopt;
    if (!chunk) {
        logRepeated("chunk " + sender, "OSC workspace snapshot chunk skipped",
                    "Could not decode /tessiva/workspace/snapshot/chunk from " + sender);
        return;
    }
    auto outcome =
        snapshotAssembler_.addChunk(chunk->transferID, chunk->index, chunk->count, chunk->text);
    for (const auto& refusal : outcome.refusals) {
        logEvent("OSC workspace snapshot chunk refused", refusal);
    }
    if (outcome.text)
        handleSnapshotJSON(*outcome.text, sender, true);
}

void OSCDiscoveryManager::handleSnapshotJSON(const std::string& json,
                                             const std::string& fromEndpoint, bool reassembled) {
    if (!isValidUTF8(json)) {
        const std::string message = "Snapshot JSON could not be converted to UTF-8 data.";
        logEvent("OSC workspace snapshot skipped", message,
                 "OSC workspace snapshot skipped: " + message);
        return;
    }
    auto decoded = decodeRemoteWorkspaceSnapshot(json);
    if (auto* error = std::get_if<std::string>(&decoded)) {
        logEvent("OSC workspace snapshot decode failed", *error,
                 "OSC workspace snapshot skipped: " + *error);
        return;
    }
    auto& snapshot = std::get<RemoteWorkspaceSnapshot>(decoded);
    snapshotThrottle_.recordReceived(now());
    const std::string name = snapshot.workspaceName.value_or("Unknown");
    const std::size_t sections = snapshot.sections.size();
    const std::size_t banks = snapshot.bankCount();
    services_.workspaceStore.publish(std::move(snapshot));
    if (reassembled) {
        logEvent("OSC workspace snapshot decoded",
                 fmt::format("Reassembled workspace contains {} sections and {} banks. "
                             "workspace=\"{}\" from {}",
                             sections, banks, name, fromEndpoint));
    } else {
        logEvent("OSC workspace snapshot decoded",
                 fmt::format("Workspace \"{}\" with {} sections and {} banks from {}", name,
                             sections, banks, fromEndpoint));
    }
}

}  // namespace tessiva
