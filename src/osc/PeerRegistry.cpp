#include "osc/PeerRegistry.h"

#include <algorithm>

#include "runtime/Text.h"

namespace tessiva {

std::string makePeerID(std::string_view host, std::uint16_t port) {
    return text::trimmed(host) + ":" + std::to_string(port);
}

bool KnownPeer::isSender(std::string_view senderHost, std::uint16_t senderPort) const {
    if (text::trimmed(senderHost) != host)
        return false;
    return senderPort == port ||
           std::find(sourcePorts.begin(), sourcePorts.end(), senderPort) != sourcePorts.end();
}

PeerRegistry::Registration PeerRegistry::registerPeer(const std::string& host, std::uint16_t port,
                                                      const std::optional<std::string>& deviceName,
                                                      double now,
                                                      std::optional<std::uint16_t> sourcePort) {
    Registration result;
    const std::string trimmedHost = text::trimmed(host);
    if (trimmedHost.empty())
        return result;
    result.peerID = makePeerID(trimmedHost, port);
    if (activePeerID_ && *activePeerID_ != result.peerID) {
        result.verdict = Verdict::rejectedOtherActive;
        result.activePeerID = *activePeerID_;
        return result;
    }
    result.verdict = Verdict::accepted;
    auto [entry, inserted] = knownPeersByID_.try_emplace(result.peerID);
    KnownPeer& peer = entry->second;
    peer.id = result.peerID;
    peer.host = trimmedHost;
    peer.port = port;
    if (deviceName)
        peer.deviceName = deviceName;  // an absent name keeps the previous one
    peer.lastSeen = now;
    if (sourcePort && *sourcePort != port) {
        auto& ports = peer.sourcePorts;
        ports.erase(std::remove(ports.begin(), ports.end(), *sourcePort), ports.end());
        if (ports.size() >= KnownPeer::kMaxSourcePorts)
            ports.erase(ports.begin());
        ports.push_back(*sourcePort);
    }
    result.isNewPeer = inserted;
    if (!activePeerID_) {
        activePeerID_ = result.peerID;
        result.becameActive = true;
    }
    return result;
}

bool PeerRegistry::setActivePeer(const std::string& id) {
    if (!knownPeersByID_.count(id))
        return false;
    activePeerID_ = id;
    return true;
}

void PeerRegistry::remove(const std::string& id) {
    knownPeersByID_.erase(id);
    if (activePeerID_ && *activePeerID_ == id)
        activePeerID_.reset();
}

void PeerRegistry::setDeviceName(const std::string& id, std::string name) {
    auto found = knownPeersByID_.find(id);
    if (found != knownPeersByID_.end())
        found->second.deviceName = std::move(name);
}

bool PeerRegistry::isActiveSender(std::string_view host, std::uint16_t port) const {
    const KnownPeer* active = activePeer();
    return active && active->isSender(host, port);
}

const KnownPeer* PeerRegistry::activePeer() const {
    return activePeerID_ ? peer(*activePeerID_) : nullptr;
}

const KnownPeer* PeerRegistry::peer(const std::string& id) const {
    auto found = knownPeersByID_.find(id);
    return found == knownPeersByID_.end() ? nullptr : &found->second;
}

}  // namespace tessiva
