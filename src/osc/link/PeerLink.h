#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "osc/FastPingBurstPolicy.h"
#include "osc/HandshakeState.h"
#include "osc/KnownPeer.h"
#include "osc/PeerEndpointProvider.h"
#include "osc/PeerRegistry.h"
#include "osc/WorkspaceSnapshotRequestThrottle.h"
#include "osc/link/LinkContext.h"
#include "platform/net/UdpListener.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

// Whether the iPad may ask this Mac to select a Logic track, as "/tessiva/navigation/direct/mode"
// tells it: i 1 (available) or 0, s the reason shown to the user when it is not.
struct DirectNavigationMode {
    bool available = false;
    std::string reason;
    bool operator==(const DirectNavigationMode&) const = default;
};

// The peer link: which iPad is the active peer, the ping/pong handshake and its time-out, the
// fast ping bursts, the endpoint remembered across launches, and the Mac's requests to the iPad
// (workspace snapshot, navigation export). Lives on the discovery queue; the published reads
// (active peer, handshake) are thread-safe. Tests drive it through OSCDiscoveryManager on a
// VirtualScheduler with SimulatedUdpTransport.
class PeerLink {
  public:
    explicit PeerLink(LinkContext& context);
    ~PeerLink();
    PeerLink(const PeerLink&) = delete;
    PeerLink& operator=(const PeerLink&) = delete;

    // Discovery queue.
    void listenerStarted(std::uint16_t port);
    void listenerStopped(bool wasListening);
    void activated();

    // Admits the sender of a datagram that asked to be answered at host:port; false if refused.
    bool registerPeer(const std::string& host, std::uint16_t port,
                      const std::optional<std::string>& deviceName,
                      std::optional<std::uint16_t> sourcePort = std::nullopt);
    void dropActivePeer();
    void handlePing(const UdpDatagram& datagram);
    void handlePong(const UdpDatagram& datagram);
    void setActiveDeviceName(const std::string& name);
    void armHandshakeTimeout();

    // Who a datagram is from, by the one-iPad-two-ports rule (KnownPeer).
    bool isFromInactivePeer(const UdpDatagram& datagram) const;
    std::string senderIDOf(const UdpDatagram& datagram) const;
    std::uint16_t replyPortFor(const UdpDatagram& datagram) const;

    void requestWorkspaceSnapshot(const std::string& reason);
    void requestWorkspaceSnapshotIfNeeded(const std::string& host, std::uint16_t port,
                                          const std::string& reason, bool force);
    void forceWorkspaceSnapshotOnNextPing() { forceWorkspaceSnapshotOnNextPing_ = true; }
    void recordSnapshotReceived() { snapshotThrottle_.recordReceived(context_.now()); }
    // False (logged) when no active peer is known.
    bool requestNavigationExport(const std::string& requestID);
    void setDirectNavigationMode(DirectNavigationMode mode);

    const PeerRegistry& peers() const { return peers_; }
    const WorkspaceSnapshotRequestThrottle& snapshotThrottle() const { return snapshotThrottle_; }
    bool isHandshakeUp() const { return handshake_.isConnected(); }
    const std::optional<std::string>& storedPeerHost() const { return storedPeerHost_; }
    const std::optional<std::uint16_t>& storedPeerPort() const { return storedPeerPort_; }
    int fastPingAttemptsRemaining() const { return fastPingAttemptsRemaining_; }

    // Any thread.
    std::optional<PeerEndpoint> activePeerEndpoint() const;
    std::optional<std::string> activePeerID() const;
    std::optional<std::string> peerDeviceName() const;
    bool isHandshakeConnected() const { return publishedConnected_.load(); }
    // For the mirrored-MIDI queue: the active peer's ID when host:port is one of its ports, an
    // empty string when another peer is active, absent when none is.
    std::optional<std::string> activePeerForSender(const std::string& host,
                                                   std::uint16_t port) const;
    // Mirrored MIDI keeps the link alive without passing through the discovery queue.
    void noteMirroredTraffic(double time) { lastMirroredTrafficTime_.store(time); }

  private:
    void setActivePeer(const std::string& id, const std::string& reason);
    void publishActivePeer();
    void startPeerPingTimer();
    void startFastPingBurst();
    void fastPingBurstStep();
    void sendPing();
    void armTentativeLinkLocalExpiry();
    void updateHandshakeState(bool connected, const std::optional<std::string>& host,
                              std::optional<std::uint16_t> port, const std::string& reason);
    void scheduleHandshakeTimeout(const std::string& peerID, double delay);
    void handshakeTimedOut(const std::string& armedPeerID);
    void sendDirectNavigationMode(const std::string& host, std::uint16_t port);

    LinkContext& context_;
    std::uint16_t listenPort_ = 12111;
    bool listening_ = false;
    bool forceWorkspaceSnapshotOnNextPing_ = false;
    std::optional<std::string> peerHost_;
    std::optional<std::uint16_t> peerPort_;
    std::optional<std::string> peerDeviceName_;
    WorkItem handshakeTimeoutWorkItem_;
    std::string timeoutArmedFor_;
    double lastContactTime_ = 0;
    RepeatingTimer peerPingTimer_;
    int fastPingAttemptsRemaining_ = 0;
    std::optional<double> lastFastPingBurstDate_;
    WorkItem fastPingStepWorkItem_;
    WorkItem tentativeStoredPeerExpiryWorkItem_;
    FastPingBurstPolicy fastPingBurstPolicy_;
    double tentativeLinkLocalPeerLifetime_ = 4.0;
    double handshakeTimeoutInterval_ = 20.0;
    WorkspaceSnapshotRequestThrottle snapshotThrottle_;
    HandshakeState handshake_;
    std::optional<std::string> storedPeerHost_;
    std::optional<std::uint16_t> storedPeerPort_;
    PeerRegistry peers_;
    DirectNavigationMode directNavigationMode_;

    mutable std::mutex published_;
    std::optional<std::string> publishedActivePeerID_;
    std::optional<KnownPeer> publishedActivePeer_;
    std::optional<PeerEndpoint> publishedActiveEndpoint_;
    std::optional<std::string> publishedDeviceName_;
    std::atomic<bool> publishedConnected_{false};
    std::atomic<double> lastMirroredTrafficTime_{0.0};
};

}  // namespace tessiva
