#include "osc/link/PeerLink.h"

#include <fmt/format.h>

#include <cmath>

#include "osc/OSCCodec.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/StoredPeerEndpoint.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {
constexpr double kPingFirstDelay = 5.0;
constexpr double kPingInterval = 10.0;
constexpr double kConnectedSoundDelay = 0.12;
constexpr std::int32_t kConnectedSoundDelayMs = 120;
constexpr const char* kDirectNavigationUnavailable =
    "Selecting a Logic track on request is not available in this build.";

std::string endpointText(const std::string& host, std::uint16_t port) {
    return host + ":" + std::to_string(port);
}

OSCBytes bytesOf(const UdpDatagram& datagram) {
    return OSCBytes(datagram.bytes);
}
}  // namespace

double LinkContext::now() const {
    return services.dispatcher.clock().now();
}

std::string LinkContext::localDeviceName() const {
    if (!options.localDeviceName.empty())
        return options.localDeviceName;
    return OSCManager::localDeviceName();
}

PeerLink::PeerLink(LinkContext& context)
    : context_(context), directNavigationMode_{false, kDirectNavigationUnavailable} {
    if (auto stored = StoredPeerEndpoint::load(context_.services.defaults)) {
        storedPeerHost_ = stored->host;
        storedPeerPort_ = stored->port;
    }
}

PeerLink::~PeerLink() {
    peerPingTimer_.stop();
    handshakeTimeoutWorkItem_.cancel();
    fastPingStepWorkItem_.cancel();
    tentativeStoredPeerExpiryWorkItem_.cancel();
}

// ---- Listener lifecycle ----

void PeerLink::listenerStarted(std::uint16_t port) {
    listenPort_ = port;
    listening_ = true;
    startPeerPingTimer();
    startFastPingBurst();
}

void PeerLink::listenerStopped(bool wasListening) {
    listening_ = false;
    peerPingTimer_.stop();
    fastPingStepWorkItem_.cancel();
    handshakeTimeoutWorkItem_.cancel();
    if (!wasListening)
        return;
    const std::optional<std::string> host = peerHost_;
    const std::optional<std::uint16_t> port = peerPort_;
    dropActivePeer();
    updateHandshakeState(false, host, port, "advertising stopped");
}

void PeerLink::activated() {
    startPeerPingTimer();
    startFastPingBurst();
}

// ---- Peers ----

bool PeerLink::registerPeer(const std::string& host, std::uint16_t port,
                            const std::optional<std::string>& deviceName,
                            std::optional<std::uint16_t> sourcePort) {
    const PeerRegistry::Registration registration =
        peers_.registerPeer(host, port, deviceName, context_.now(), sourcePort);
    switch (registration.verdict) {
        case PeerRegistry::Verdict::refusedEmptyHost:
            return false;
        case PeerRegistry::Verdict::rejectedOtherActive:
            context_.log.flood("rejected " + registration.peerID, "OSC iPad peer rejected",
                               "Rejected " + registration.peerID + " because active peer " +
                                   registration.activePeerID + " is already connected.");
            return false;
        case PeerRegistry::Verdict::accepted:
            break;
    }
    if (registration.isNewPeer) {
        context_.log.event("OSC iPad peer accepted", "Peer " + registration.peerID +
                                                         " registered as the active Tessiva iPad.");
        UserInfo info;
        info.set("peer", registration.peerID);
        context_.services.notifications.post(std::string(OSCDiscoveryManager::kPeerDiscovered),
                                             std::move(info));
    }
    // Real contact replaces the tentative endpoint.
    tentativeStoredPeerExpiryWorkItem_.cancel();
    const KnownPeer* peer = peers_.peer(registration.peerID);
    if (!storedPeerHost_ || *storedPeerHost_ != peer->host || storedPeerPort_ != peer->port) {
        StoredPeerEndpoint{peer->host, peer->port}.save(context_.services.defaults);
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

void PeerLink::setActivePeer(const std::string& id, const std::string& reason) {
    if (!peers_.setActivePeer(id))
        return;
    const KnownPeer* peer = peers_.activePeer();
    peerHost_ = peer->host;
    peerPort_ = peer->port;
    peerDeviceName_ = peer->deviceName;
    publishActivePeer();
    context_.log.event("Active iPad selected", "Active peer is now " + id + ". reason=" + reason);
}

void PeerLink::dropActivePeer() {
    if (const auto& id = peers_.activePeerID()) {
        const std::string lost = *id;
        peers_.remove(lost);
        UserInfo info;
        info.set("peer", lost);
        context_.services.notifications.post(std::string(OSCDiscoveryManager::kPeerLost),
                                             std::move(info));
    }
    peerHost_.reset();
    peerPort_.reset();
    peerDeviceName_.reset();
    handshakeTimeoutWorkItem_.cancel();
    publishActivePeer();
}

void PeerLink::setActiveDeviceName(const std::string& name) {
    const auto& active = peers_.activePeerID();
    if (!active)
        return;
    peers_.setDeviceName(*active, name);
    peerDeviceName_ = name;
    publishActivePeer();
}

void PeerLink::publishActivePeer() {
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

std::optional<PeerEndpoint> PeerLink::activePeerEndpoint() const {
    std::lock_guard guard(published_);
    return publishedActiveEndpoint_;
}

std::optional<std::string> PeerLink::activePeerID() const {
    std::lock_guard guard(published_);
    return publishedActivePeerID_;
}

std::optional<std::string> PeerLink::peerDeviceName() const {
    std::lock_guard guard(published_);
    return publishedDeviceName_;
}

std::optional<std::string> PeerLink::activePeerForSender(const std::string& host,
                                                         std::uint16_t port) const {
    std::lock_guard guard(published_);
    if (!publishedActivePeer_)
        return std::nullopt;
    return publishedActivePeer_->isSender(host, port) ? publishedActivePeer_->id : std::string();
}

bool PeerLink::isFromInactivePeer(const UdpDatagram& datagram) const {
    return peers_.activePeerID() && !peers_.isActiveSender(datagram.host, datagram.port);
}

std::string PeerLink::senderIDOf(const UdpDatagram& datagram) const {
    if (peers_.isActiveSender(datagram.host, datagram.port))
        return *peers_.activePeerID();
    return makePeerID(datagram.host, datagram.port);
}

std::uint16_t PeerLink::replyPortFor(const UdpDatagram& datagram) const {
    if (peers_.isActiveSender(datagram.host, datagram.port))
        return peers_.activePeer()->port;
    return datagram.port;
}

// ---- Pings ----

void PeerLink::startPeerPingTimer() {
    peerPingTimer_.start(context_.queue, kPingFirstDelay, kPingInterval,
                         context_.guard.wrap([this] { sendPing(); }));
}

void PeerLink::sendPing() {
    std::optional<std::string> host = peerHost_ ? peerHost_ : storedPeerHost_;
    std::optional<std::uint16_t> port = peerHost_ ? peerPort_ : storedPeerPort_;
    if (!host || !port)
        return;
    context_.services.sender.send(*host, *port, "/ping", {OSCArgument::int32(listenPort_)});
}

void PeerLink::startFastPingBurst() {
    const double now = context_.now();
    const auto attempts =
        fastPingBurstPolicy_.attemptsForBurst(lastFastPingBurstDate_, now, peerHost_.has_value());
    if (!attempts)
        return;
    lastFastPingBurstDate_ = now;
    fastPingAttemptsRemaining_ = *attempts;
    armTentativeLinkLocalExpiry();
    fastPingStepWorkItem_.cancel();
    fastPingBurstStep();
}

void PeerLink::fastPingBurstStep() {
    if (fastPingAttemptsRemaining_ < 1)
        return;
    --fastPingAttemptsRemaining_;
    sendPing();
    fastPingStepWorkItem_ =
        context_.onQueueAfter(fastPingBurstPolicy_.stepInterval, [this] { fastPingBurstStep(); });
}

void PeerLink::armTentativeLinkLocalExpiry() {
    if (peers_.activePeerID() || !storedPeerHost_ ||
        !StoredPeerEndpoint::isLinkLocalHost(*storedPeerHost_)) {
        return;
    }
    tentativeStoredPeerExpiryWorkItem_.cancel();
    tentativeStoredPeerExpiryWorkItem_ =
        context_.onQueueAfter(tentativeLinkLocalPeerLifetime_, [this] {
            if (peers_.activePeerID() || !storedPeerHost_)
                return;
            const std::string endpoint =
                endpointText(*storedPeerHost_, storedPeerPort_.value_or(0));
            storedPeerHost_.reset();
            storedPeerPort_.reset();
            context_.log.event("Expired tentative iPad endpoint",
                               "Discarded stale cached link-local endpoint " + endpoint +
                                   "; waiting for fresh iPad contact.");
        });
}

// ---- Handshake ----

void PeerLink::handlePing(const UdpDatagram& datagram) {
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
    context_.services.sender.sendPong(host, replyPort, context_.localDeviceName());
    if (context_.options.logHeartbeatTraffic) {
        context_.log.console().line(
            "[OSCDiscoveryManager] received /ping from active peer and sent /pong");
    } else {
        context_.log.floodConsole(
            "pong " + peerID,
            "[OSCDiscoveryManager] received /ping from active peer and sent /pong");
    }
    armHandshakeTimeout();
    updateHandshakeState(true, host, replyPort, "confirmed active peer heartbeat");
    UserInfo info;
    info.set("peer", peerID);
    if (deviceName)
        info.set("deviceName", *deviceName);
    context_.services.notifications.post(std::string(OSCDiscoveryManager::kPingReceived),
                                         std::move(info));
    // The workspace feeds the bank pickers and auto assign: ask as soon as the iPad is linked.
    if (forceWorkspaceSnapshotOnNextPing_) {
        forceWorkspaceSnapshotOnNextPing_ = false;
        requestWorkspaceSnapshotIfNeeded(host, replyPort, "forced request on /ping", true);
    } else if (!wasConnected) {
        requestWorkspaceSnapshotIfNeeded(host, replyPort, "active peer connected via /ping", false);
    }
}

void PeerLink::handlePong(const UdpDatagram& datagram) {
    const std::string senderID = makePeerID(datagram.host, datagram.port);
    if (isFromInactivePeer(datagram)) {
        context_.log.flood("OSC pong ignored " + senderID, "OSC pong ignored",
                           "Ignoring /pong from inactive iPad peer " + senderID);
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

void PeerLink::updateHandshakeState(bool connected, const std::optional<std::string>& host,
                                    std::optional<std::uint16_t> port, const std::string& reason) {
    const HandshakeState::Transition transition = handshake_.update(connected);
    if (transition.becameConnected()) {
        context_.services.sound.playConnectedSound(kConnectedSoundDelay);
        if (host && port) {
            const std::string endpoint = endpointText(*host, *port);
            const std::string name = context_.localDeviceName();
            context_.services.sender.send(*host, *port, "/tessiva/focus/device/name",
                                          {OSCArgument::string(name)});
            context_.services.sender.send(*host, *port, "/tessiva/focus/connectedSound",
                                          {OSCArgument::int32(kConnectedSoundDelayMs)});
            context_.log.event("Focus device name sent",
                               "Sent /tessiva/focus/device/name \"" + name + "\" to " + endpoint);
            context_.log.event("Connection sound sync requested",
                               "Sent /tessiva/focus/connectedSound delayMs=" +
                                   std::to_string(kConnectedSoundDelayMs) + " to " + endpoint);
            sendDirectNavigationMode(*host, *port);
        } else {
            context_.log.event(
                "Connection sound sync skipped",
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
    info.set("localDeviceName", context_.localDeviceName());
    context_.services.notifications.post(std::string(OSCDiscoveryManager::kHandshakeStatusChanged),
                                         std::move(info));
}

void PeerLink::armHandshakeTimeout() {
    const auto& active = peers_.activePeerID();
    if (!active)
        return;
    // Every accepted datagram counts as contact, but only one timer is ever pending: a cancelled
    // timer still holds its memory until its deadline, and a flood would pile them up.
    lastContactTime_ = context_.now();
    if (handshakeTimeoutWorkItem_.isPending() && timeoutArmedFor_ == *active)
        return;
    scheduleHandshakeTimeout(*active, handshakeTimeoutInterval_);
}

void PeerLink::scheduleHandshakeTimeout(const std::string& peerID, double delay) {
    handshakeTimeoutWorkItem_.cancel();
    timeoutArmedFor_ = peerID;
    handshakeTimeoutWorkItem_ =
        context_.onQueueAfter(delay, [this, peerID] { handshakeTimedOut(peerID); });
}

void PeerLink::handshakeTimedOut(const std::string& armedPeerID) {
    if (!peers_.isActive(armedPeerID))
        return;
    // Mirrored MIDI does not pass through this queue; it leaves a timestamp instead.
    const double lastContact = std::max(lastContactTime_, lastMirroredTrafficTime_.load());
    const double remaining = lastContact + handshakeTimeoutInterval_ - context_.now();
    if (remaining > 0) {
        scheduleHandshakeTimeout(armedPeerID, remaining);
        return;
    }
    const std::optional<std::string> host = peerHost_;
    const std::optional<std::uint16_t> port = peerPort_;
    const std::string endpoint = host && port ? endpointText(*host, *port) : "unknown";
    dropActivePeer();
    snapshotThrottle_.clear();
    context_.log.event(
        "OSC handshake timed out",
        fmt::format("No /ping, /pong, or bridge traffic received for {}s from {}",
                    static_cast<long long>(std::lround(handshakeTimeoutInterval_)), endpoint));
    updateHandshakeState(false, host, port, "timeout");
}

// ---- Direct navigation mode ----

void PeerLink::setDirectNavigationMode(DirectNavigationMode mode) {
    if (mode == directNavigationMode_)
        return;
    directNavigationMode_ = std::move(mode);
    if (handshake_.isConnected() && peerHost_ && peerPort_)
        sendDirectNavigationMode(*peerHost_, *peerPort_);
}

void PeerLink::sendDirectNavigationMode(const std::string& host, std::uint16_t port) {
    const auto& mode = directNavigationMode_;
    context_.services.sender.send(
        host, port, "/tessiva/navigation/direct/mode",
        {OSCArgument::int32(mode.available ? 1 : 0), OSCArgument::string(mode.reason)});
    context_.log.event("Direct navigation mode sent",
                       std::string("Sent /tessiva/navigation/direct/mode available=") +
                           (mode.available ? "1" : "0") + " to " + endpointText(host, port));
}

// ---- Requests to the iPad ----

void PeerLink::requestWorkspaceSnapshot(const std::string& reason) {
    if (!peerHost_ || !peerPort_) {
        context_.log.event("OSC workspace snapshot request skipped",
                           "No discovered Tessiva peer is currently available. reason=" + reason);
        return;
    }
    context_.services.sender.send(*peerHost_, *peerPort_, "/tessiva/workspace/snapshot/request",
                                  {});
    context_.log.event("OSC workspace snapshot requested",
                       "Requesting workspace snapshot from " +
                           endpointText(*peerHost_, *peerPort_) + ". reason=" + reason);
}

void PeerLink::requestWorkspaceSnapshotIfNeeded(const std::string& host, std::uint16_t port,
                                                const std::string& reason, bool force) {
    const std::string key = OSCManager::endpointKey(host, port);
    const double now = context_.now();
    if (!snapshotThrottle_.shouldRequest(key, now, force))
        return;
    snapshotThrottle_.recordRequest(key, now);
    context_.services.sender.send(host, port, "/tessiva/workspace/snapshot/request", {});
    context_.log.event("OSC workspace snapshot requested",
                       "Requested snapshot after " + reason + " from " + endpointText(host, port));
}

bool PeerLink::requestNavigationExport(const std::string& requestID) {
    if (!peerHost_ || !peerPort_) {
        context_.log.event(
            "Navigation export request skipped",
            "No discovered Tessiva peer is currently available. requestID=" + requestID);
        return false;
    }
    context_.services.sender.send(*peerHost_, *peerPort_, "/tessiva/navigation/export/request",
                                  {OSCArgument::string(requestID)});
    context_.log.event("Navigation export requested",
                       "Requesting navigation export from Tessiva on " +
                           endpointText(*peerHost_, *peerPort_) + ". requestID=" + requestID);
    return true;
}

}  // namespace tessiva
