#include "osc/OSCDiscoveryManager.h"

#include <fmt/format.h>

#include <cmath>

#include "osc/ActivationEventSource.h"
#include "osc/ConnectionSoundPlayer.h"
#include "osc/OSCManager.h"
#include "osc/StoredPeerEndpoint.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "platform/net/UdpTransport.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/Text.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

namespace {
constexpr double kPingFirstDelay = 5.0;
constexpr double kPingInterval = 10.0;
constexpr double kConnectedSoundDelay = 0.12;
constexpr std::int32_t kConnectedSoundDelayMs = 120;

std::string endpointText(const std::string& host, std::uint16_t port) {
    return host + ":" + std::to_string(port);
}
}  // namespace

OSCDiscoveryManager::OSCDiscoveryManager(Services services, Options options)
    : services_(services),
      options_(std::move(options)),
      queue_(services.dispatcher.makeSerialQueue(std::string(kQueueName))),
      mirroredMIDIQueue_(services.dispatcher.makeSerialQueue(std::string(kMirroredMIDIQueueName))) {
    if (auto stored = StoredPeerEndpoint::load(services_.defaults)) {
        storedPeerHost_ = stored->host;
        storedPeerPort_ = stored->port;
    }
    if (services_.activation) {
        activationToken_ = services_.activation->addObserver([this](ActivationEvent) {
            onQueue([this] {
                startPeerPingTimer();
                startFastPingBurst();
            });
        });
    }
}

OSCDiscoveryManager::~OSCDiscoveryManager() {
    activationToken_.reset();
    alive_.reset();
    if (listener_)
        listener_->stop();
    if (services_.advertiser)
        services_.advertiser->stop();
    handshakeTimeoutWorkItem_.cancel();
    fastPingStepWorkItem_.cancel();
    tentativeStoredPeerExpiryWorkItem_.cancel();
}

void OSCDiscoveryManager::onQueue(std::function<void()> work) {
    std::weak_ptr<int> alive = alive_;
    queue_->post([alive, work = std::move(work)] {
        if (alive.lock())
            work();
    });
}

double OSCDiscoveryManager::now() const {
    return services_.dispatcher.clock().now();
}

std::string OSCDiscoveryManager::localDeviceName() const {
    if (!options_.localDeviceName.empty())
        return options_.localDeviceName;
    return OSCManager::localDeviceName();
}

// ---- Logging ----

void OSCDiscoveryManager::logEvent(const std::string& title, const std::string& message) {
    logEvent(title, message, "[OSCDiscoveryManager] " + message);
}

void OSCDiscoveryManager::logEvent(const std::string& title, const std::string& message,
                                   const std::string& consoleLine) {
    services_.console.line(consoleLine);
    postDebugEvent(services_.notifications, title, message);
}

void OSCDiscoveryManager::logRepeated(const std::string& key, const std::string& title,
                                      const std::string& message) {
    if (repeatedLogs_.shouldLog(key, now()))
        logEvent(title, message);
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
        logEvent("OSC discovery failed", message, "OSC discovery failed: " + message);
        return;
    }
    listenPortSetting_ = static_cast<std::uint16_t>(port);
    UdpListenOptions listenOptions;
    listenOptions.port = listenPortSetting_;
    listenOptions.bindHost = options_.bindHost;
    listenOptions.reuseAddress = true;
    std::weak_ptr<int> alive = alive_;
    // Reported on the mirrored-MIDI queue like the datagrams; the listener keeps going after one.
    listenOptions.receiveErrorHandler = [this, alive](std::string description) {
        if (auto held = alive.lock()) {
            logEvent("OSC discovery receive failed", description,
                     "OSC discovery receive failed: " + description);
        }
    };
    // Datagrams land on the mirrored-MIDI queue: MIDI is handled there at once, the rest hops on.
    UdpListenResult result = services_.transport.listen(
        listenOptions, *mirroredMIDIQueue_, [this, alive](UdpDatagram datagram) {
            if (alive.lock())
                receiveOnIngress(std::move(datagram));
        });
    if (!result.ok()) {
        logEvent("OSC discovery setup failed", result.error,
                 "OSC discovery setup failed: " + result.error);
        return;
    }
    listener_ = std::move(result.listener);
    boundPort_.store(listener_->port());

    if (services_.advertiser) {
        ServiceAdvertisement service{std::string(kServiceType), options_.serviceName,
                                     listener_->port()};
        services_.advertiser->advertise(
            service, *queue_, [this, alive](const AdvertisingEvent& event) {
                if (alive.lock()) {
                    onAdvertisingEvent(event.kind == AdvertisingEvent::Kind::registered,
                                       event.detail);
                }
            });
    }
    logEvent("OSC listener ready",
             "Listening for inbound OSC UDP on port " + std::to_string(listener_->port()));
    startPeerPingTimer();
    startFastPingBurst();
}

void OSCDiscoveryManager::onAdvertisingEvent(bool registered, const std::string& detail) {
    if (!listener_)
        return;
    if (registered) {
        logEvent("OSC Bonjour advertising",
                 "Advertising " + std::string(kServiceType) + " on UDP port " +
                     std::to_string(listener_->port()) + " as " + detail);
    } else {
        // The link keeps working: the iPad can still reach the Mac by its address.
        logEvent("OSC Bonjour failed", "OSC Bonjour failed: " + detail);
    }
}

void OSCDiscoveryManager::stopOnQueue(bool logStopped) {
    if (services_.advertiser)
        services_.advertiser->stop();
    const bool wasListening = listener_ != nullptr;
    if (listener_) {
        listener_->stop();
        listener_.reset();
    }
    boundPort_.store(0);
    peerPingTimer_.stop();
    fastPingStepWorkItem_.cancel();
    handshakeTimeoutWorkItem_.cancel();
    inboundConnectionsByID_.clear();
    if (!wasListening)
        return;
    if (logStopped) {
        logEvent("OSC Bonjour stopped", "Stopped advertising " + std::string(kServiceType) + ".");
    }
    const std::optional<std::string> host = peerHost_;
    const std::optional<std::uint16_t> port = peerPort_;
    dropActivePeer();
    updateHandshakeState(false, host, port, "advertising stopped");
}

// ---- Peers ----

bool OSCDiscoveryManager::registerPeer(const std::string& host, std::uint16_t port,
                                       const std::optional<std::string>& deviceName,
                                       std::optional<std::uint16_t> sourcePort) {
    const PeerRegistry::Registration registration =
        peers_.registerPeer(host, port, deviceName, now(), sourcePort);
    switch (registration.verdict) {
        case PeerRegistry::Verdict::refusedEmptyHost:
            return false;
        case PeerRegistry::Verdict::rejectedOtherActive:
            logRepeated("rejected " + registration.peerID, "OSC iPad peer rejected",
                        "Rejected " + registration.peerID + " because active peer " +
                            registration.activePeerID + " is already connected.");
            return false;
        case PeerRegistry::Verdict::accepted:
            break;
    }
    if (registration.isNewPeer) {
        logEvent("OSC iPad peer accepted",
                 "Peer " + registration.peerID + " registered as the active Tessiva iPad.");
        UserInfo info;
        info.set("peer", registration.peerID);
        services_.notifications.post(std::string(kPeerDiscovered), std::move(info));
    }
    // Real contact replaces the tentative endpoint.
    tentativeStoredPeerExpiryWorkItem_.cancel();
    const KnownPeer* peer = peers_.peer(registration.peerID);
    if (!storedPeerHost_ || *storedPeerHost_ != peer->host || storedPeerPort_ != peer->port) {
        StoredPeerEndpoint{peer->host, peer->port}.save(services_.defaults);
    }
    storedPeerHost_ = peer->host;
    storedPeerPort_ = peer->port;
    if (registration.becameActive) {
        setActivePeer(registration.peerID, "first peer connected");
        startPeerPingTimer();
    } else {
        // The name or the source ports may have changed.
        peerDeviceName_ = peer->deviceName;
        publishActivePeer();
    }
    return true;
}

void OSCDiscoveryManager::setActivePeer(const std::string& id, const std::string& reason) {
    if (!peers_.setActivePeer(id))
        return;
    const KnownPeer* peer = peers_.activePeer();
    peerHost_ = peer->host;
    peerPort_ = peer->port;
    peerDeviceName_ = peer->deviceName;
    publishActivePeer();
    logEvent("Active iPad selected", "Active peer is now " + id + ". reason=" + reason);
}

void OSCDiscoveryManager::dropActivePeer() {
    if (const auto& id = peers_.activePeerID()) {
        const std::string lost = *id;
        peers_.remove(lost);
        UserInfo info;
        info.set("peer", lost);
        services_.notifications.post(std::string(kPeerLost), std::move(info));
    }
    peerHost_.reset();
    peerPort_.reset();
    peerDeviceName_.reset();
    handshakeTimeoutWorkItem_.cancel();
    publishActivePeer();
}

void OSCDiscoveryManager::publishActivePeer() {
    std::lock_guard guard(published_);
    publishedActivePeerID_ = peers_.activePeerID();
    if (const KnownPeer* active = peers_.activePeer())
        publishedActivePeer_ = *active;
    else
        publishedActivePeer_.reset();
    if (peerHost_ && peerPort_) {
        publishedActiveEndpoint_ = PeerEndpoint{*peerHost_, *peerPort_};
    } else {
        publishedActiveEndpoint_.reset();
    }
    publishedDeviceName_ = peerDeviceName_;
}

std::optional<PeerEndpoint> OSCDiscoveryManager::activePeerEndpoint() const {
    std::lock_guard guard(published_);
    return publishedActiveEndpoint_;
}

std::optional<std::string> OSCDiscoveryManager::activePeerID() const {
    std::lock_guard guard(published_);
    return publishedActivePeerID_;
}

std::optional<std::string> OSCDiscoveryManager::peerDeviceName() const {
    std::lock_guard guard(published_);
    return publishedDeviceName_;
}

bool OSCDiscoveryManager::isHandshakeConnected() const {
    return publishedConnected_.load();
}

// ---- Pings ----

void OSCDiscoveryManager::startPeerPingTimer() {
    peerPingTimer_.start(*queue_, kPingFirstDelay, kPingInterval, [this] { sendPing(); });
}

void OSCDiscoveryManager::sendPing() {
    std::optional<std::string> host = peerHost_ ? peerHost_ : storedPeerHost_;
    std::optional<std::uint16_t> port = peerHost_ ? peerPort_ : storedPeerPort_;
    if (!host || !port)
        return;
    const std::uint16_t listening = listener_ ? listener_->port() : listenPortSetting_;
    services_.sender.send(*host, *port, "/ping", {OSCArgument::int32(listening)});
}

void OSCDiscoveryManager::startFastPingBurst() {
    const auto attempts =
        fastPingBurstPolicy_.attemptsForBurst(lastFastPingBurstDate_, now(), peerHost_.has_value());
    if (!attempts)
        return;
    lastFastPingBurstDate_ = now();
    fastPingAttemptsRemaining_ = *attempts;
    armTentativeLinkLocalExpiry();
    fastPingStepWorkItem_.cancel();
    fastPingBurstStep();
}

void OSCDiscoveryManager::fastPingBurstStep() {
    if (fastPingAttemptsRemaining_ < 1)
        return;
    --fastPingAttemptsRemaining_;
    sendPing();
    std::weak_ptr<int> alive = alive_;
    fastPingStepWorkItem_ = queue_->postAfter(fastPingBurstPolicy_.stepInterval, [this, alive] {
        if (alive.lock())
            fastPingBurstStep();
    });
}

void OSCDiscoveryManager::armTentativeLinkLocalExpiry() {
    if (peers_.activePeerID() || !storedPeerHost_ ||
        !StoredPeerEndpoint::isLinkLocalHost(*storedPeerHost_)) {
        return;
    }
    tentativeStoredPeerExpiryWorkItem_.cancel();
    std::weak_ptr<int> alive = alive_;
    tentativeStoredPeerExpiryWorkItem_ =
        queue_->postAfter(tentativeLinkLocalPeerLifetime_, [this, alive] {
            if (!alive.lock() || peers_.activePeerID() || !storedPeerHost_)
                return;
            const std::string endpoint =
                endpointText(*storedPeerHost_, storedPeerPort_.value_or(0));
            storedPeerHost_.reset();
            storedPeerPort_.reset();
            logEvent("Expired tentative iPad endpoint",
                     "Discarded stale cached link-local endpoint " + endpoint +
                         "; waiting for fresh iPad contact.");
        });
}

// ---- Handshake ----

void OSCDiscoveryManager::updateHandshakeState(bool connected,
                                               const std::optional<std::string>& host,
                                               std::optional<std::uint16_t> port,
                                               const std::string& reason) {
    const HandshakeState::Transition transition = handshake_.update(connected);
    if (transition.becameConnected()) {
        services_.sound.playConnectedSound(kConnectedSoundDelay);
        if (host && port) {
            const std::string endpoint = endpointText(*host, *port);
            const std::string name = localDeviceName();
            services_.sender.send(*host, *port, "/tessiva/focus/device/name",
                                  {OSCArgument::string(name)});
            services_.sender.send(*host, *port, "/tessiva/focus/connectedSound",
                                  {OSCArgument::int32(kConnectedSoundDelayMs)});
            logEvent("Focus device name sent",
                     "Sent /tessiva/focus/device/name \"" + name + "\" to " + endpoint);
            logEvent("Connection sound sync requested",
                     "Sent /tessiva/focus/connectedSound delayMs=" +
                         std::to_string(kConnectedSoundDelayMs) + " to " + endpoint);
        } else {
            logEvent("Connection sound sync skipped",
                     "No OSC peer host/port was available when the Mac connection sound was "
                     "scheduled.");
        }
    }
    publishedConnected_.store(connected);
    UserInfo info;
    info.set("connected", connected);
    if (host && port) {
        info.set("peer", makePeerID(*host, *port));
        info.set("endpoint", endpointText(*host, *port));
    }
    if (peerDeviceName_)
        info.set("remoteDeviceName", *peerDeviceName_);
    info.set("reason", reason);
    info.set("localDeviceName", localDeviceName());
    services_.notifications.post(std::string(kHandshakeStatusChanged), std::move(info));
}

void OSCDiscoveryManager::armHandshakeTimeout() {
    const auto& active = peers_.activePeerID();
    if (!active)
        return;
    handshakeTimeoutWorkItem_.cancel();
    const std::string armedFor = *active;
    const double armedAt = now();
    std::weak_ptr<int> alive = alive_;
    handshakeTimeoutWorkItem_ =
        queue_->postAfter(handshakeTimeoutInterval_, [this, alive, armedFor, armedAt] {
            if (alive.lock())
                handshakeTimedOut(armedFor, armedAt);
        });
}

void OSCDiscoveryManager::handshakeTimedOut(const std::string& armedPeerID, double armedAt) {
    if (!peers_.isActive(armedPeerID))
        return;
    // Mirrored MIDI does not pass through this queue; it leaves a timestamp instead.
    const double lastMIDI = lastMirroredTrafficTime_.load();
    if (lastMIDI > armedAt) {
        const double remaining = lastMIDI + handshakeTimeoutInterval_ - now();
        std::weak_ptr<int> alive = alive_;
        handshakeTimeoutWorkItem_ =
            queue_->postAfter(std::max(0.0, remaining), [this, alive, armedPeerID, lastMIDI] {
                if (alive.lock())
                    handshakeTimedOut(armedPeerID, lastMIDI);
            });
        return;
    }
    const std::optional<std::string> host = peerHost_;
    const std::optional<std::uint16_t> port = peerPort_;
    const std::string endpoint = host && port ? endpointText(*host, *port) : "unknown";
    dropActivePeer();
    snapshotThrottle_.clear();
    logEvent("OSC handshake timed out",
             fmt::format("No /ping, /pong, or bridge traffic received for {}s from {}",
                         static_cast<long long>(std::lround(handshakeTimeoutInterval_)), endpoint));
    updateHandshakeState(false, host, port, "timeout");
}

void OSCDiscoveryManager::forceWorkspaceSnapshotOnNextPing() {
    onQueue([this] { forceWorkspaceSnapshotOnNextPing_ = true; });
}

// ---- Requests to the iPad ----

void OSCDiscoveryManager::requestWorkspaceSnapshot(std::string reason) {
    onQueue([this, reason = std::move(reason)] { requestWorkspaceSnapshotOnQueue(reason); });
}

void OSCDiscoveryManager::requestWorkspaceSnapshotOnQueue(const std::string& reason) {
    if (!peerHost_ || !peerPort_) {
        logEvent("OSC workspace snapshot request skipped",
                 "No discovered Tessiva peer is currently available. reason=" + reason);
        return;
    }
    services_.sender.send(*peerHost_, *peerPort_, "/tessiva/workspace/snapshot/request", {});
    logEvent("OSC workspace snapshot requested", "Requesting workspace snapshot from " +
                                                     endpointText(*peerHost_, *peerPort_) +
                                                     ". reason=" + reason);
}

void OSCDiscoveryManager::requestWorkspaceSnapshotIfNeeded(const std::string& host,
                                                           std::uint16_t port,
                                                           const std::string& reason, bool force) {
    const std::string key = OSCManager::endpointKey(host, port);
    if (!snapshotThrottle_.shouldRequest(key, now(), force))
        return;
    snapshotThrottle_.recordRequest(key, now());
    services_.sender.send(host, port, "/tessiva/workspace/snapshot/request", {});
    logEvent("OSC workspace snapshot requested",
             "Requested snapshot after " + reason + " from " + endpointText(host, port));
}

void OSCDiscoveryManager::requestNavigationExport(std::string requestID) {
    onQueue([this, requestID = std::move(requestID)] {
        if (!peerHost_ || !peerPort_) {
            logEvent("Navigation export request skipped",
                     "No discovered Tessiva peer is currently available. requestID=" + requestID);
            return;
        }
        services_.sender.send(*peerHost_, *peerPort_, "/tessiva/navigation/export/request",
                              {OSCArgument::string(requestID)});
        logEvent("Navigation export requested", "Requesting navigation export from Tessiva on " +
                                                    endpointText(*peerHost_, *peerPort_) +
                                                    ". requestID=" + requestID);
    });
}

}  // namespace tessiva
