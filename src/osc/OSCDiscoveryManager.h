#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "osc/FastPingBurstPolicy.h"
#include "osc/HandshakeState.h"
#include "osc/PeerEndpointProvider.h"
#include "osc/PeerRegistry.h"
#include "osc/RepeatedLogThrottle.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/WorkspaceSnapshotRequestThrottle.h"
#include "platform/net/UdpListener.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

class ActivationEventSource;
class BankMappingLookup;
class Console;
class ConnectionSoundPlayer;
class Dispatcher;
class MirroredMIDISink;
class OSCManager;
class RemoteWorkspaceStore;
class ServiceAdvertiser;
class UdpTransport;
class UserDefaults;

// The iPad link: listens for the iPad's UDP datagrams (port 12111), advertises the Mac over
// Bonjour, decides which iPad is the one active peer, keeps the ping/pong handshake alive and
// dispatches every inbound message. All state lives on the serial queue
// "tessiva.focus.osc.discovery"; datagrams arrive on "tessiva.focus.osc.mirrored-midi", where
// mirrored MIDI is handled at once and everything else is passed on to the discovery queue.
// Public calls may come from any thread and hop to the discovery queue; notifications are posted
// on the main queue. Tests run it on a VirtualScheduler with a fake UdpTransport and an
// InMemoryServiceAdvertiser; integration tests on AsioDispatcher with real sockets.
class OSCDiscoveryManager final : public PeerEndpointProvider {
  public:
    static constexpr std::uint16_t kDefaultListenPort = 12111;
    static constexpr std::string_view kQueueName = "tessiva.focus.osc.discovery";
    static constexpr std::string_view kMirroredMIDIQueueName = "tessiva.focus.osc.mirrored-midi";
    static constexpr std::string_view kServiceType = "_tessiva-osc._udp";
    static constexpr std::string_view kServiceName = "Tessiva Focus";
    static constexpr std::string_view kHandshakeStatusChanged = "tessiva.oscHandshakeStatusChanged";

    static constexpr std::string_view kPeerDiscovered = "OSCDiscoveryManager.PeerDiscovered";
    static constexpr std::string_view kPeerLost = "OSCDiscoveryManager.PeerLost";
    static constexpr std::string_view kPingReceived = "OSCDiscoveryManager.PingReceived";
    static constexpr std::string_view kArticulationSetImportAckReceived =
        "OSCDiscoveryManager.ArticulationSetImportAckReceived";
    static constexpr std::string_view kNavigationExportReceived =
        "OSCDiscoveryManager.NavigationExportReceived";
    static constexpr std::string_view kNavigationExportFailed =
        "OSCDiscoveryManager.NavigationExportFailed";
    static constexpr std::string_view kDirectNavigationRequested =
        "OSCDiscoveryManager.DirectNavigationRequested";
    static constexpr std::string_view kBankLearnRequested =
        "OSCDiscoveryManager.BankLearnRequested";
    static constexpr std::string_view kMIDIRunScheduleReceived =
        "OSCDiscoveryManager.MIDIRunScheduleReceived";
    static constexpr std::string_view kMIDIRunCancelReceived =
        "OSCDiscoveryManager.MIDIRunCancelReceived";

    // What the link needs from the rest of the program. Everything must outlive the manager;
    // the advertiser and the activation source may be absent.
    struct Services {
        Dispatcher& dispatcher;
        NotificationCenter& notifications;
        Console& console;
        UserDefaults& defaults;
        UdpTransport& transport;
        OSCManager& sender;
        RemoteWorkspaceStore& workspaceStore;
        ConnectionSoundPlayer& sound;
        ServiceAdvertiser* advertiser = nullptr;
        ActivationEventSource* activation = nullptr;
    };

    struct Options {
        // "::" in the program; "127.0.0.1" in tests.
        std::string bindHost = "::";
        std::string serviceName = std::string(kServiceName);
        // Name announced to the iPad; empty means OSCManager::localDeviceName().
        std::string localDeviceName;
        // Pings, pongs and mirrored MIDI are echoed at most every few seconds unless set.
        bool logHeartbeatTraffic = false;
    };

    OSCDiscoveryManager(Services services, Options options);
    explicit OSCDiscoveryManager(Services services) : OSCDiscoveryManager(services, Options{}) {}
    ~OSCDiscoveryManager() override;
    OSCDiscoveryManager(const OSCDiscoveryManager&) = delete;
    OSCDiscoveryManager& operator=(const OSCDiscoveryManager&) = delete;

    // Stops any previous listener, then listens on `port` (0: an ephemeral one) and advertises.
    void start(std::int64_t port = kDefaultListenPort);
    // Cancels the listener and the advertisement and drops the active peer.
    void stop();

    // Any thread. Set before traffic flows, or at any time: the switch is atomic.
    void setMirroredMIDISink(MirroredMIDISink* sink) { mirroredMIDISink_.store(sink); }
    void setBankMappingLookup(BankMappingLookup* lookup) { bankMappingLookup_.store(lookup); }

    // Unconditional request to the active peer (any thread).
    void requestWorkspaceSnapshot(std::string reason);
    // Asks the active peer for its navigation export (any thread).
    void requestNavigationExport(std::string requestID);
    // The next accepted "/ping" also asks for a snapshot, whatever the throttle says.
    void forceWorkspaceSnapshotOnNextPing();

    // Thread-safe reads for senders and the menu.
    std::optional<PeerEndpoint> activePeerEndpoint() const override;
    bool isHandshakeConnected() const;
    std::optional<std::string> activePeerID() const;
    std::optional<std::string> peerDeviceName() const;
    // The bound listen port, 0 when not listening.
    std::uint16_t listenPort() const { return boundPort_.load(); }
    std::int64_t mirroredOSCEventCount() const { return mirroredOSCEventCount_.load(); }
    std::string localDeviceName() const;

    // Discovery-queue state, for tests that read it after running the queue.
    const PeerRegistry& peers() const { return peers_; }
    const WorkspaceSnapshotRequestThrottle& snapshotThrottle() const { return snapshotThrottle_; }
    std::optional<std::string> storedPeerHost() const { return storedPeerHost_; }
    std::optional<std::uint16_t> storedPeerPort() const { return storedPeerPort_; }
    int fastPingAttemptsRemaining() const { return fastPingAttemptsRemaining_; }
    std::size_t inboundConnectionCount() const { return inboundConnectionsByID_.size(); }

  private:
    struct InboundConnection {
        std::string id;
        std::string host;
        std::uint16_t port = 0;
        std::uint64_t datagrams = 0;
        double lastSeen = 0;
    };
    struct NavigationExportTransfer {
        std::optional<std::string> fileName;
        std::optional<std::string> text;
    };

    // Runs `work` on the discovery queue unless the manager is gone.
    void onQueue(std::function<void()> work);
    double now() const;

    // Event log and console.
    void logEvent(const std::string& title, const std::string& message);
    void logEvent(const std::string& title, const std::string& message,
                  const std::string& consoleLine);
    // Throttled logEvent for lines a flood could repeat.
    void logRepeated(const std::string& key, const std::string& title, const std::string& message);

    // Lifecycle (discovery queue).
    void startOnQueue(std::int64_t port);
    void stopOnQueue(bool logStopped);
    void onAdvertisingEvent(bool registered, const std::string& detail);

    // Peers and handshake (discovery queue).
    bool registerPeer(const std::string& host, std::uint16_t port,
                      const std::optional<std::string>& deviceName,
                      std::optional<std::uint16_t> sourcePort = std::nullopt);
    void setActivePeer(const std::string& id, const std::string& reason);
    void dropActivePeer();
    void publishActivePeer();
    void startPeerPingTimer();
    void startFastPingBurst();
    void fastPingBurstStep();
    void sendPing();
    void armTentativeLinkLocalExpiry();
    void updateHandshakeState(bool connected, const std::optional<std::string>& host,
                              std::optional<std::uint16_t> port, const std::string& reason);
    void armHandshakeTimeout();
    void handshakeTimedOut(const std::string& armedPeerID, double armedAt);

    // Inbound (datagrams arrive on the mirrored-MIDI queue).
    void receiveOnIngress(UdpDatagram datagram);
    bool rejectPingOnIngress(const UdpDatagram& datagram);
    void handleMirroredMIDI(const UdpDatagram& datagram);
    void handleDatagram(const UdpDatagram& datagram);
    void noteInboundConnection(const UdpDatagram& datagram);
    bool isFromInactivePeer(const UdpDatagram& datagram) const;
    // The peer ID requests from this datagram count under: the active peer's for any of its
    // ports, else the datagram's own source.
    std::string senderIDOf(const UdpDatagram& datagram) const;
    // Where a reply to this datagram goes: the active peer's reply port for any of its ports.
    std::uint16_t replyPortFor(const UdpDatagram& datagram) const;
    void ignoreInactive(const std::string& senderID, const std::string& message,
                        const std::string& title);

    void handlePing(const UdpDatagram& datagram);
    void handlePong(const UdpDatagram& datagram);
    void handleDeviceName(const UdpDatagram& datagram, const std::string& senderID);
    void handleMappingQuery(const UdpDatagram& datagram, const std::string& senderID);
    void handleDirectSelect(const UdpDatagram& datagram, const std::string& senderID);
    void handleBankLearn(const UdpDatagram& datagram, const std::string& senderID);
    void handleImportAck(const UdpDatagram& datagram, const std::string& senderID);
    void handleMIDIRun(const UdpDatagram& datagram, const std::string& senderID, bool schedule);
    void handleSnapshot(const UdpDatagram& datagram, const std::string& senderID);
    void handleSnapshotChunk(const UdpDatagram& datagram, const std::string& senderID);
    void handleSnapshotRequest(const UdpDatagram& datagram, const std::string& senderID);
    void handleNavigationExport(const UdpDatagram& datagram, const std::string& senderID,
                                int which);
    // True when a snapshot from `senderID` may be used: from the active peer, or from an
    // alternate endpoint of the pending active peer (which then becomes the active endpoint).
    bool acceptSnapshotSender(const UdpDatagram& datagram, const std::string& senderID);
    void handleSnapshotJSON(const std::string& text, const std::string& fromEndpoint,
                            bool reassembled);

    // Workspace snapshot requests (discovery queue).
    void requestWorkspaceSnapshotOnQueue(const std::string& reason);
    void requestWorkspaceSnapshotIfNeeded(const std::string& host, std::uint16_t port,
                                          const std::string& reason, bool force);

    Services services_;
    Options options_;
    std::shared_ptr<Queue> queue_;
    std::shared_ptr<Queue> mirroredMIDIQueue_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);

    // Discovery-queue state.
    std::unique_ptr<UdpListener> listener_;
    std::map<std::string, InboundConnection> inboundConnectionsByID_;
    bool forceWorkspaceSnapshotOnNextPing_ = false;
    std::uint16_t listenPortSetting_ = kDefaultListenPort;
    std::optional<std::string> peerHost_;
    std::optional<std::uint16_t> peerPort_;
    std::optional<std::string> peerDeviceName_;
    WorkItem handshakeTimeoutWorkItem_;
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
    WorkspaceSnapshotChunkAssembler snapshotAssembler_;
    WorkspaceSnapshotChunkAssembler navigationExportAssembler_;
    std::map<std::string, NavigationExportTransfer> navigationExports_;
    RepeatedLogThrottle repeatedLogs_;
    ObserverToken activationToken_;

    // Mirrored-MIDI-queue state.
    std::optional<std::string> mirroredMIDIInboundConnection_;
    RepeatedLogThrottle mirroredMIDILogs_;

    // Shared between the queues.
    mutable std::mutex published_;
    std::optional<std::string> publishedActivePeerID_;
    std::optional<KnownPeer> publishedActivePeer_;
    std::optional<PeerEndpoint> publishedActiveEndpoint_;
    std::optional<std::string> publishedDeviceName_;
    std::atomic<bool> publishedConnected_{false};
    std::atomic<double> lastMirroredTrafficTime_{0.0};
    std::atomic<std::int64_t> mirroredOSCEventCount_{0};
    std::atomic<std::uint16_t> boundPort_{0};
    std::atomic<MirroredMIDISink*> mirroredMIDISink_{nullptr};
    std::atomic<BankMappingLookup*> bankMappingLookup_{nullptr};
};

}  // namespace tessiva
