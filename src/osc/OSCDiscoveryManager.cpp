#include "osc/OSCDiscoveryManager.h"

#include <cmath>

#include "osc/OSCManager.h"
#include "osc/link/InboundDispatcher.h"
#include "osc/link/MirroredMIDIIngress.h"
#include "osc/link/WorkspaceReceiver.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "platform/net/UdpTransport.h"
#include "runtime/Clock.h"

namespace tessiva {

namespace {
// How often the counts of suppressed flood lines are written once their burst is over.
constexpr double kFloodSummaryInterval = 2.0;
}  // namespace

OSCDiscoveryManager::OSCDiscoveryManager(Services services, Options options)
    : queue_(services.dispatcher.makeSerialQueue(std::string(kQueueName))),
      mirroredMIDIQueue_(services.dispatcher.makeSerialQueue(std::string(kMirroredMIDIQueueName))),
      log_(services.console, services.notifications, services.dispatcher.clock()),
      context_{services, std::move(options), *queue_, guard_, log_} {
    peerLink_ = std::make_unique<PeerLink>(context_);
    workspace_ = std::make_unique<WorkspaceReceiver>(context_, *peerLink_);
    dispatcher_ = std::make_unique<InboundDispatcher>(context_, *peerLink_, *workspace_);
    ingress_ =
        std::make_unique<MirroredMIDIIngress>(context_, *peerLink_, [this](UdpDatagram datagram) {
            queue_->post(guard_.wrap([this, datagram = std::move(datagram)] {
                if (listener_)  // not stopped while the datagram was on its way
                    dispatcher_->handleDatagram(datagram);
            }));
        });
    if (context_.services.activation) {
        activationToken_ = context_.services.activation->addObserver(
            guard_.wrap([this](ActivationEvent) { onQueue([this] { peerLink_->activated(); }); }));
    }
}

OSCDiscoveryManager::~OSCDiscoveryManager() {
    activationToken_.reset();
    guard_.close();
    floodSummaryTimer_.stop();
    if (listener_)
        listener_->stop();
    if (context_.services.advertiser)
        context_.services.advertiser->stop();
    log_.flushSuppressed(true);
}

// ---- Lifecycle ----

void OSCDiscoveryManager::start(std::int64_t port) {
    onQueue([this, port] { startOnQueue(port); });
}

void OSCDiscoveryManager::stop() {
    onQueue([this] { stopOnQueue(true); });
}

void OSCDiscoveryManager::startOnQueue(std::int64_t port) {
    stopOnQueue(listener_ != nullptr);
    if (port < 0 || port > 65535) {
        const std::string message = "Invalid UDP port " + std::to_string(port);
        log_.event("OSC discovery failed", message, "OSC discovery failed: " + message);
        return;
    }
    UdpListenOptions listenOptions;
    listenOptions.port = static_cast<std::uint16_t>(port);
    listenOptions.bindHost = context_.options.bindHost;
    listenOptions.reuseAddress = true;
    // Reported on the mirrored-MIDI queue like the datagrams; the listener keeps going after one.
    listenOptions.receiveErrorHandler = guard_.wrap([this](std::string description) {
        log_.event("OSC discovery receive failed", description,
                   "OSC discovery receive failed: " + description);
    });
    // Mirrored MIDI is handled on the transport's network thread, without waiting for another
    // thread to wake; the rest lands on the mirrored-MIDI queue and hops on to the discovery queue.
    listenOptions.networkThreadFilter =
        [filter = guard_.wrap([this](const UdpDatagram& d, bool& handled) {
            handled = ingress_->handleAtOnce(d);
        })](const UdpDatagram& datagram) mutable {
            bool handled = false;
            filter(datagram, handled);
            return handled;
        };
    UdpListenResult result = context_.services.transport.listen(
        listenOptions, *mirroredMIDIQueue_, guard_.wrap([this](UdpDatagram datagram) {
            datagram.receivedAt = context_.now();
            ingress_->receive(std::move(datagram));
        }));
    if (!result.ok()) {
        log_.event("OSC discovery setup failed", result.error,
                   "OSC discovery setup failed: " + result.error);
        return;
    }
    listener_ = std::move(result.listener);
    boundPort_.store(listener_->port());

    if (ServiceAdvertiser* advertiser = context_.services.advertiser) {
        ServiceAdvertisement service{std::string(kServiceType), context_.options.serviceName,
                                     listener_->port()};
        advertiser->advertise(service, *queue_, guard_.wrap([this](const AdvertisingEvent& event) {
            onAdvertisingEvent(event.kind == AdvertisingEvent::Kind::registered, event.detail);
        }));
    }
    log_.event("OSC listener ready",
               "Listening for inbound OSC UDP on port " + std::to_string(listener_->port()));
    floodSummaryTimer_.start(*queue_, kFloodSummaryInterval, kFloodSummaryInterval,
                             guard_.wrap([this] { log_.flushSuppressed(); }));
    peerLink_->listenerStarted(listener_->port());
}

void OSCDiscoveryManager::onAdvertisingEvent(bool registered, const std::string& detail) {
    if (!listener_)
        return;
    if (registered) {
        log_.event("OSC Bonjour advertising",
                   "Advertising " + std::string(kServiceType) + " on UDP port " +
                       std::to_string(listener_->port()) + " as " + detail);
    } else {
        // The link keeps working: the iPad can still reach the Mac by its address.
        log_.event("OSC Bonjour failed", "OSC Bonjour failed: " + detail);
    }
}

void OSCDiscoveryManager::stopOnQueue(bool logStopped) {
    if (context_.services.advertiser)
        context_.services.advertiser->stop();
    const bool wasListening = listener_ != nullptr;
    if (listener_) {
        listener_->stop();
        listener_.reset();
    }
    boundPort_.store(0);
    floodSummaryTimer_.stop();
    log_.flushSuppressed(true);
    dispatcher_->clearConnections();
    if (wasListening && logStopped) {
        log_.event("OSC Bonjour stopped", "Stopped advertising " + std::string(kServiceType) + ".");
    }
    peerLink_->listenerStopped(wasListening);
}

// ---- Settings and requests (any thread) ----

void OSCDiscoveryManager::setMirroredMIDISink(MirroredMIDISink* sink) {
    ingress_->setSink(sink);
}

void OSCDiscoveryManager::setBankMappingLookup(BankMappingLookup* lookup) {
    dispatcher_->setBankMappingLookup(lookup);
}

void OSCDiscoveryManager::setMIDIRunSink(MIDIRunSink* sink) {
    dispatcher_->setMIDIRunSink(sink);
}

void OSCDiscoveryManager::setLinkRequestHandler(LinkRequestHandler* handler) {
    dispatcher_->setRequestHandler(handler);
}

void OSCDiscoveryManager::setDirectNavigationMode(DirectNavigationMode mode) {
    onQueue([this, mode = std::move(mode)] { peerLink_->setDirectNavigationMode(mode); });
}

void OSCDiscoveryManager::sendLogicTempo(double bpm) {
    if (!std::isfinite(bpm))
        return;
    onQueue([this, bpm] {
        const auto peer = peerLink_->activePeerEndpoint();
        if (!peerLink_->isHandshakeConnected() || !peer)
            return;
        context_.services.sender.send(peer->host, peer->port, kLogicTempoAddress,
                                      {OSCArgument::float32(static_cast<float>(bpm))});
    });
}

void OSCDiscoveryManager::requestWorkspaceSnapshot(std::string reason) {
    onQueue([this, reason = std::move(reason)] { peerLink_->requestWorkspaceSnapshot(reason); });
}

void OSCDiscoveryManager::requestNavigationExport(std::string requestID) {
    onQueue([this, requestID = std::move(requestID)] {
        if (peerLink_->requestNavigationExport(requestID)) {
            dispatcher_->navigationExports().expect(requestID);
        } else {
            dispatcher_->navigationExports().requestNotSent(
                requestID, "No iPad is connected, so the navigation export was not requested.");
        }
    });
}

void OSCDiscoveryManager::forceWorkspaceSnapshotOnNextPing() {
    onQueue([this] { peerLink_->forceWorkspaceSnapshotOnNextPing(); });
}

// ---- Reads ----

std::optional<PeerEndpoint> OSCDiscoveryManager::activePeerEndpoint() const {
    return peerLink_->activePeerEndpoint();
}

bool OSCDiscoveryManager::isHandshakeConnected() const {
    return peerLink_->isHandshakeConnected();
}

std::optional<std::string> OSCDiscoveryManager::activePeerID() const {
    return peerLink_->activePeerID();
}

std::optional<std::string> OSCDiscoveryManager::peerDeviceName() const {
    return peerLink_->peerDeviceName();
}

std::int64_t OSCDiscoveryManager::mirroredOSCEventCount() const {
    return ingress_->eventCount();
}

const PeerRegistry& OSCDiscoveryManager::peers() const {
    return peerLink_->peers();
}

const WorkspaceSnapshotRequestThrottle& OSCDiscoveryManager::snapshotThrottle() const {
    return peerLink_->snapshotThrottle();
}

std::optional<std::string> OSCDiscoveryManager::storedPeerHost() const {
    return peerLink_->storedPeerHost();
}

std::optional<std::uint16_t> OSCDiscoveryManager::storedPeerPort() const {
    return peerLink_->storedPeerPort();
}

int OSCDiscoveryManager::fastPingAttemptsRemaining() const {
    return peerLink_->fastPingAttemptsRemaining();
}

}  // namespace tessiva
