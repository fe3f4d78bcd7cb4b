#include "osc/link/WorkspaceReceiver.h"

#include <fmt/format.h>

#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceSnapshot.h"
#include "osc/RemoteWorkspaceStore.h"
#include "osc/link/PeerLink.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {
std::string senderText(const UdpDatagram& datagram) {
    return datagram.host + ":" + std::to_string(datagram.port);
}
}  // namespace

bool WorkspaceReceiver::acceptSnapshotSender(const UdpDatagram& datagram,
                                             const std::string& senderID) {
    const PeerRegistry& peers = peerLink_.peers();
    const auto& active = peers.activePeerID();
    if (active && (*active == senderID || peers.isActiveSender(datagram.host, datagram.port)))
        return true;
    const std::string host = text::trimmed(datagram.host);
    const std::string endpoint = senderText(datagram);
    // The pending active peer: the active iPad before its handshake is confirmed, or, with no
    // active iPad, the stored endpoint the Mac is pinging. A snapshot from another address of
    // that iPad (another interface, another port) makes that address the active endpoint.
    std::optional<std::string> pendingID;
    if (active) {
        const KnownPeer* pending = peers.activePeer();
        const bool sameIPad =
            pending && (pending->host == host || peerLink_.snapshotThrottle().lastRequestKey() ==
                                                     OSCManager::endpointKey(host, datagram.port));
        if (!peerLink_.isHandshakeUp() && sameIPad)
            pendingID = *active;
    } else if (peerLink_.storedPeerHost() && peerLink_.storedPeerPort()) {
        pendingID = makePeerID(*peerLink_.storedPeerHost(), *peerLink_.storedPeerPort());
    } else {
        return true;  // nobody to compare with
    }
    if (!pendingID) {
        context_.log.flood("OSC inactive peer contact ignored " + senderID,
                           "OSC inactive peer contact ignored",
                           "Ignoring snapshot from inactive iPad peer " + senderID);
        return false;
    }
    std::optional<std::string> name;
    if (active) {
        name = peers.activePeer()->deviceName;
        peerLink_.dropActivePeer();
    }
    peerLink_.registerPeer(host, datagram.port, name);
    context_.log.event("Active iPad endpoint updated",
                       "Accepted workspace snapshot from alternate endpoint " + endpoint +
                           " for pending active peer " + *pendingID + ". Active peer is now " +
                           endpoint);
    return true;
}

void WorkspaceReceiver::handleSnapshot(const UdpDatagram& datagram, const std::string& senderID) {
    if (!acceptSnapshotSender(datagram, senderID))
        return;
    peerLink_.armHandshakeTimeout();
    const auto strings = stringArguments(OSCBytes(datagram.bytes));
    if (!strings || strings->empty()) {
        const std::string message =
            "Could not decode JSON string argument from /tessiva/workspace/snapshot. bytes=" +
            std::to_string(datagram.bytes.size());
        context_.log.event("OSC workspace snapshot skipped: " + message, message);
        return;
    }
    handleSnapshotJSON(std::string((*strings)[0]), senderText(datagram), false);
}

void WorkspaceReceiver::handleSnapshotChunk(const UdpDatagram& datagram,
                                            const std::string& senderID) {
    if (!acceptSnapshotSender(datagram, senderID))
        return;
    peerLink_.armHandshakeTimeout();
    const std::string sender = senderText(datagram);
    auto arguments = decodeArguments(OSCBytes(datagram.bytes));
    auto chunk = arguments ? WorkspaceSnapshotChunk::fromArguments(*arguments) : std::nullopt;
    if (!chunk) {
        context_.log.flood("chunk " + sender, "OSC workspace snapshot chunk skipped",
                           "Could not decode /tessiva/workspace/snapshot/chunk from " + sender);
        return;
    }
    auto outcome = assembler_.addChunk(chunk->transferID, chunk->index, chunk->count, chunk->text);
    for (const auto& refusal : outcome.refusals) {
        context_.log.event("OSC workspace snapshot chunk refused", refusal);
    }
    if (outcome.text)
        handleSnapshotJSON(*outcome.text, sender, true);
}

void WorkspaceReceiver::handleSnapshotJSON(const std::string& json, const std::string& fromEndpoint,
                                           bool reassembled) {
    if (!isValidUTF8(json)) {
        const std::string message = "Snapshot JSON could not be converted to UTF-8 data.";
        context_.log.event("OSC workspace snapshot skipped", message,
                           "OSC workspace snapshot skipped: " + message);
        return;
    }
    auto decoded = decodeRemoteWorkspaceSnapshot(json);
    if (auto* error = std::get_if<std::string>(&decoded)) {
        context_.log.event("OSC workspace snapshot decode failed", *error,
                           "OSC workspace snapshot skipped: " + *error);
        return;
    }
    auto& snapshot = std::get<RemoteWorkspaceSnapshot>(decoded);
    peerLink_.recordSnapshotReceived();
    const std::string name = snapshot.workspaceName.value_or("Unknown");
    const std::size_t sections = snapshot.sections.size();
    const std::size_t banks = snapshot.bankCount();
    context_.services.workspaceStore.publish(std::move(snapshot));
    if (reassembled) {
        context_.log.event("OSC workspace snapshot decoded",
                           fmt::format("Reassembled workspace contains {} sections and {} banks. "
                                       "workspace=\"{}\" from {}",
                                       sections, banks, name, fromEndpoint));
    } else {
        context_.log.event("OSC workspace snapshot decoded",
                           fmt::format("Workspace \"{}\" with {} sections and {} banks from {}",
                                       name, sections, banks, fromEndpoint));
    }
}

}  // namespace tessiva
