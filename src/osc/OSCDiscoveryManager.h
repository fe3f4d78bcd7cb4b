#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "osc/PeerEndpointProvider.h"
#include "osc/PeerRegistry.h"
#include "osc/WorkspaceSnapshotRequestThrottle.h"
#include "osc/link/LifetimeGuard.h"
#include "osc/link/LinkContext.h"
#include "osc/link/LinkEventLog.h"
#include "osc/link/LinkRequest.h"
#include "osc/link/LinkServices.h"
#include "osc/link/PeerLink.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

class BankMappingLookup;
class InboundDispatcher;
class MirroredMIDIIngress;
class MirroredMIDISink;
class MIDIRunSink;
class PeerLink;
class UdpListener;
class WorkspaceReceiver;

// The iPad link: listens for the iPad's UDP datagrams (port 12111), advertises the Mac over
// Bonjour and owns the parts that do the work: the PeerLink (active peer, handshake, pings), the
// InboundDispatcher (one handler per address, typed requests to the coordinator), the
// WorkspaceReceiver and the MirroredMIDIIngress. All state lives on the serial queue
// "tessiva.focus.osc.discovery". Mirrored MIDI (and another iPad's pings) are dealt with on the
// transport's network thread as they arrive; other datagrams land on
// "tessiva.focus.osc.mirrored-midi" and are passed on to the discovery queue.
// Public calls may come from any thread and hop to the discovery queue; notifications are posted
// on the main queue. Destroying it waits for link work already running on another thread. Tests
// run it on a VirtualScheduler with SimulatedUdpTransport and an InMemoryServiceAdvertiser;
// integration tests on AsioDispatcher with real sockets.
class OSCDiscoveryManager final : public PeerEndpointProvider {
  public:
    static constexpr std::uint16_t kDefaultListenPort = 12111;
    static constexpr std::string_view kQueueName = "tessiva.focus.osc.discovery";
    static constexpr std::string_view kMirroredMIDIQueueName = "tessiva.focus.osc.mirrored-midi";
    static constexpr std::string_view kServiceType = "_tessiva-osc._udp";
    static constexpr std::string_view kServiceName = "Tessiva Focus";
    static constexpr std::string_view kHandshakeStatusChanged = "tessiva.oscHandshakeStatusChanged";
    static constexpr std::string_view kLogicTempoAddress = "/tessiva/logic/tempo";

    static constexpr std::string_view kPeerDiscovered = "OSCDiscoveryManager.PeerDiscovered";
    static constexpr std::string_view kPeerLost = "OSCDiscoveryManager.PeerLost";
    static constexpr std::string_view kPingReceived = "OSCDiscoveryManager.PingReceived";
    // The requests' names (posted for observers; the coordinator takes them typed, LinkRequest.h).
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

    using Services = LinkServices;
    using Options = LinkOptions;

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
    void setMirroredMIDISink(MirroredMIDISink* sink);
    void setBankMappingLookup(BankMappingLookup* lookup);
    // Where scheduled MIDI runs go, on the discovery queue, as soon as they are decoded.
    void setMIDIRunSink(MIDIRunSink* sink);
    // Where the active iPad's requests go, on the main queue.
    void setLinkRequestHandler(LinkRequestHandler* handler);
    // Whether the iPad may ask for direct navigation; sent on connect and on every change.
    void setDirectNavigationMode(DirectNavigationMode mode);

    // Logic's tempo for the connected iPad: "/tessiva/logic/tempo" with f beats per minute. Sent
    // only when finite and while an iPad is connected (any thread).
    void sendLogicTempo(double bpm);
    // Unconditional request to the active peer (any thread).
    void requestWorkspaceSnapshot(std::string reason);
    // Asks the active peer for its navigation export (any thread); the outcome arrives as a
    // NavigationExportReceived or NavigationExportFailed request, also when no iPad is linked.
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
    std::int64_t mirroredOSCEventCount() const;
    std::string localDeviceName() const { return context_.localDeviceName(); }

    // Discovery-queue state, for tests that read it after running the queue.
    const PeerRegistry& peers() const;
    const WorkspaceSnapshotRequestThrottle& snapshotThrottle() const;
    std::optional<std::string> storedPeerHost() const;
    std::optional<std::uint16_t> storedPeerPort() const;
    int fastPingAttemptsRemaining() const;

  private:
    void onQueue(std::function<void()> work) { context_.onQueue(std::move(work)); }
    void startOnQueue(std::int64_t port);
    void stopOnQueue(bool logStopped);
    void onAdvertisingEvent(bool registered, const std::string& detail);

    // Closed first on destruction: no queued link work runs after it, and running work is
    // waited for.
    LifetimeGuard guard_;
    std::shared_ptr<Queue> queue_;
    std::shared_ptr<Queue> mirroredMIDIQueue_;
    LinkEventLog log_;
    LinkContext context_;
    std::unique_ptr<PeerLink> peerLink_;
    std::unique_ptr<WorkspaceReceiver> workspace_;
    std::unique_ptr<InboundDispatcher> dispatcher_;
    std::unique_ptr<MirroredMIDIIngress> ingress_;

    // Discovery-queue state.
    std::unique_ptr<UdpListener> listener_;
    RepeatingTimer floodSummaryTimer_;
    ObserverToken activationToken_;
    std::atomic<std::uint16_t> boundPort_{0};
};

}  // namespace tessiva
