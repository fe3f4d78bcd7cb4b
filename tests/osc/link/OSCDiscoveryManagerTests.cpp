#include <gtest/gtest.h>

#include "LinkRig.h"
#include "osc/StoredPeerEndpoint.h"

namespace tessiva {
namespace {

using namespace testing;

TEST(OSCDiscoveryManager, FirstPingMakesTheActivePeerAndConnectsTheHandshake) {
    LinkRig rig;
    auto& handshakes = rig.observe("tessiva.oscHandshakeStatusChanged");
    auto& pings = rig.observe("OSCDiscoveryManager.PingReceived");
    auto& discovered = rig.observe("OSCDiscoveryManager.PeerDiscovered");
    auto& manager = rig.started();
    EXPECT_EQ(rig.transport.lastListenOptions()->bindHost, "127.0.0.1");
    EXPECT_TRUE(rig.transport.lastListenOptions()->reuseAddress);

    rig.ping(kIPad);
    EXPECT_EQ(manager.activePeerID(), kSender);
    EXPECT_EQ(manager.activePeerEndpoint(), (PeerEndpoint{kHost, kIPad}));
    // The Mac answers with its name, announces itself once and asks for the workspace.
    EXPECT_EQ(rig.sentLines(),
              (std::vector<std::string>{
                  "/pong 53000 [s:Studio Mac]", "/tessiva/focus/device/name 53000 [s:Studio Mac]",
                  "/tessiva/focus/connectedSound 53000 [i:120]",
                  "/tessiva/navigation/direct/mode 53000 [i:0, s:Selecting a Logic track on "
                  "request is not available in this build.]",
                  "/tessiva/workspace/snapshot/request 53000 []"}));
    EXPECT_EQ(rig.eventsText(),
              "OSC iPad peer accepted | Peer 127.0.0.1:53000 registered as the active Tessiva "
              "iPad.\n"
              "Active iPad selected | Active peer is now 127.0.0.1:53000. reason=first peer "
              "connected\n"
              "Focus device name sent | Sent /tessiva/focus/device/name \"Studio Mac\" to "
              "127.0.0.1:53000\n"
              "Connection sound sync requested | Sent /tessiva/focus/connectedSound delayMs=120 "
              "to 127.0.0.1:53000\n"
              "Direct navigation mode sent | Sent /tessiva/navigation/direct/mode available=0 to "
              "127.0.0.1:53000\n"
              "OSC workspace snapshot requested | Requested snapshot after active peer connected "
              "via /ping from 127.0.0.1:53000\n");
    EXPECT_EQ(rig.sound.delays, std::vector<double>{0.12});
    ASSERT_EQ(handshakes.size(), 1u);
    EXPECT_EQ(handshakes[0].values(),
              (UserInfo{{"connected", true},
                        {"peer", kSender},
                        {"endpoint", kSender},
                        {"remoteDeviceName", std::string("Stage iPad")},
                        {"reason", std::string("confirmed active peer heartbeat")},
                        {"localDeviceName", std::string("Studio Mac")}}
                   .values()));
    EXPECT_EQ(pings.size(), 1u);
    EXPECT_EQ(discovered.size(), 1u);

    SCOPED_TRACE("the endpoint is remembered for the next launch");
    EXPECT_EQ(rig.defaults.string(StoredPeerEndpoint::kHostKey), kHost);
    EXPECT_EQ(rig.defaults.integer(StoredPeerEndpoint::kPortKey), kIPad);

    SCOPED_TRACE("a second ping is answered again; no second sound, name, mode or request");
    rig.ping(kIPad);
    EXPECT_EQ(rig.sent("/pong").size(), 2u);
    EXPECT_EQ(rig.sent("/tessiva/focus/device/name").size(), 1u);
    EXPECT_EQ(rig.sound.delays.size(), 1u);
    EXPECT_EQ(discovered.size(), 1u);

    SCOPED_TRACE("the direct navigation mode goes out again when it changes, and only then");
    manager.setDirectNavigationMode({true, ""});
    manager.setDirectNavigationMode({true, ""});
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.sent("/tessiva/navigation/direct/mode").size(), 2u);
    EXPECT_EQ(rig.sentLines().back(), "/tessiva/navigation/direct/mode 53000 [i:1, s:]");
}

TEST(OSCDiscoveryManager, SecondIPadIsRejectedUntilTheFirstTimesOut) {
    LinkRig rig;
    auto& handshakes = rig.observe("tessiva.oscHandshakeStatusChanged");
    auto& lost = rig.observe("OSCDiscoveryManager.PeerLost");
    auto& manager = rig.connected();

    SCOPED_TRACE("no take-over");
    rig.ping(kOther, "Other iPad");
    EXPECT_TRUE(rig.logged("OSC iPad peer rejected",
                           "Rejected 127.0.0.1:53001 because active peer 127.0.0.1:53000 is "
                           "already connected."));
    EXPECT_TRUE(rig.sent("/pong").empty());

    SCOPED_TRACE("traffic from the active iPad keeps it; the inactive one's does not");
    rig.scheduler.advance(15.0);
    // However many datagrams arrive, one handshake timer stays pending.
    const std::size_t pending = rig.scheduler.pendingCount();
    for (int n = 0; n < 500; ++n)
        rig.deliver(kIPad, "/tessiva/device/name", {s(" Renamed ")});
    rig.scheduler.runUntilIdle();
    EXPECT_LE(rig.scheduler.pendingCount(), pending + 1);
    EXPECT_EQ(manager.peerDeviceName(), "Renamed");
    EXPECT_EQ(manager.peers().activePeer()->deviceName, "Renamed");
    EXPECT_TRUE(rig.logged("Tessiva device name received",
                           "Received iPad device name \"Renamed\" from 127.0.0.1:53000"));
    rig.scheduler.advance(19.9);
    rig.ping(kOther);  // rejected; re-arms nothing
    EXPECT_EQ(manager.activePeerID(), "127.0.0.1:53000");

    SCOPED_TRACE("20 s of silence drop it");
    rig.scheduler.advance(0.1);
    EXPECT_FALSE(manager.activePeerID().has_value());
    EXPECT_FALSE(manager.isHandshakeConnected());
    EXPECT_TRUE(rig.logged("OSC handshake timed out",
                           "No /ping, /pong, or bridge traffic received for 20s from "
                           "127.0.0.1:53000"));
    ASSERT_FALSE(handshakes.empty());
    EXPECT_EQ(handshakes.back().boolean("connected"), false);
    EXPECT_EQ(handshakes.back().string("reason"), "timeout");
    ASSERT_EQ(lost.size(), 1u);
    EXPECT_EQ(lost[0].string("peer"), "127.0.0.1:53000");

    SCOPED_TRACE("the next iPad to speak becomes active");
    rig.ping(kOther);
    EXPECT_EQ(manager.activePeerID(), "127.0.0.1:53001");
    EXPECT_EQ(rig.sound.delays.size(), 2u);

    SCOPED_TRACE("stop drops the active peer too");
    manager.stop();
    rig.scheduler.runUntilIdle();
    EXPECT_FALSE(manager.activePeerID().has_value());
    EXPECT_EQ(handshakes.back().string("reason"), "advertising stopped");
    EXPECT_TRUE(rig.logged("OSC Bonjour stopped", "Stopped advertising _tessiva-osc._udp."));
    EXPECT_FALSE(rig.transport.listening());
    EXPECT_FALSE(rig.advertiser.current().has_value());
}

TEST(OSCDiscoveryManager, PingTimerAndFastBurstsFollowTheirCadence) {
    SCOPED_TRACE("listener ready: a 2-ping burst to the stored endpoint, then the timer");
    LinkRig rig;
    StoredPeerEndpoint{kHost, 50000}.save(rig.defaults);
    auto& manager = rig.start();
    auto countPings = [&] { return rig.sent("/ping").size(); };
    EXPECT_EQ(countPings(), 1u);
    // The burst's second ping after 0.75 s; the timer first 5 s after start, then every 10 s.
    const std::pair<double, std::size_t> cadence[] = {
        {0.74, 1u}, {0.01, 2u}, {2.0, 2u}, {5.0 - 2.75 - 0.01, 2u},
        {0.01, 3u}, {9.99, 3u}, {0.01, 4u}};
    for (const auto& [wait, pings] : cadence) {
        rig.scheduler.advance(wait);
        EXPECT_EQ(countPings(), pings) << "at " << rig.scheduler.now();
    }
    EXPECT_EQ(rig.sentLines()[0], "/ping 50000 [i:12111]");

    SCOPED_TRACE("two activations within 4 s start one burst; with an active peer it has 4 pings");
    rig.ping(kIPad);
    rig.scheduler.advance(4.0);
    rig.transport.clearSent();
    rig.activation.fire(ActivationEvent::applicationDidBecomeActive);
    rig.scheduler.runUntilIdle();
    rig.activation.fire(ActivationEvent::systemDidWake);
    rig.scheduler.advance(3.0);
    auto burst = rig.sent("/ping");
    ASSERT_EQ(burst.size(), 4u);
    for (const auto& message : burst)
        EXPECT_EQ(message.port, kIPad);
    rig.scheduler.advance(1.99);
    EXPECT_EQ(countPings(), 4u);  // the timer, restarted by the activation, fires after 5 s
    rig.scheduler.advance(0.01);
    EXPECT_EQ(countPings(), 5u);
    EXPECT_EQ(manager.fastPingAttemptsRemaining(), 0);

    SCOPED_TRACE("after the cooldown a new activation bursts again");
    rig.transport.clearSent();
    rig.activation.fire(ActivationEvent::systemDidWake);
    rig.scheduler.advance(3.0);
    EXPECT_EQ(countPings(), 4u);
}

TEST(OSCDiscoveryManager, StoredEndpointsAndTheTentativeLinkLocalOne) {
    SCOPED_TRACE("ports outside 1-65535 are ignored");
    for (std::int64_t port : {0, 70000}) {
        LinkRig rig;
        rig.defaults.setString(StoredPeerEndpoint::kHostKey, kHost);
        rig.defaults.setInteger(StoredPeerEndpoint::kPortKey, port);
        EXPECT_FALSE(rig.make().storedPeerHost().has_value()) << port;
    }

    SCOPED_TRACE("a link-local endpoint with no answer is forgotten 4 s after the burst began");
    const struct {
        const char* host;
        bool contact;
        std::optional<std::string> expiry;
    } cases[] = {
        {"fe80::1%en0", false,
         "Discarded stale cached link-local endpoint fe80::1%en0:50000; waiting for fresh iPad "
         "contact."},
        {" [FE80::2]", false,
         "Discarded stale cached link-local endpoint  [FE80::2]:50000; waiting for fresh iPad "
         "contact."},
        {" [FE80::2]", true, std::nullopt},  // contact before the expiry keeps it
        {kHost, false, std::nullopt},        // IPv4 is kept indefinitely
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.host) + (c.contact ? " with contact" : ""));
        LinkRig rig;
        StoredPeerEndpoint{c.host, 50000}.save(rig.defaults);
        auto& manager = rig.start();
        EXPECT_EQ(rig.sent("/ping").size(), 1u);
        rig.scheduler.advance(c.contact ? 1.0 : 3.99);
        if (c.contact)
            rig.ping(kIPad);
        EXPECT_TRUE(manager.storedPeerHost().has_value());
        rig.scheduler.advance(c.contact ? 60.0 : 0.01);
        if (c.expiry) {
            EXPECT_FALSE(manager.storedPeerHost().has_value());
            EXPECT_TRUE(rig.logged("Expired tentative iPad endpoint", *c.expiry));
            EXPECT_EQ(rig.countTitle("Expired tentative iPad endpoint"), 1u);
            rig.transport.clearSent();
            rig.scheduler.advance(30.0);
            EXPECT_TRUE(rig.sent("/ping").empty());  // nothing left to ping
        } else {
            rig.scheduler.advance(60.0);
            EXPECT_EQ(manager.storedPeerHost(), kHost);
            EXPECT_EQ(rig.countTitle("Expired tentative iPad endpoint"), 0u);
        }
    }
}

TEST(OSCDiscoveryManager, WorkspaceSnapshotRequestsAreThrottled) {
    LinkRig rig;
    auto& manager = rig.started();
    auto requests = [&] { return rig.sent("/tessiva/workspace/snapshot/request").size(); };

    SCOPED_TRACE("unconditional request without a peer is skipped");
    manager.requestWorkspaceSnapshot("menu");
    rig.scheduler.runUntilIdle();
    EXPECT_TRUE(rig.logged("OSC workspace snapshot request skipped",
                           "No discovered Tessiva peer is currently available. reason=menu"));

    SCOPED_TRACE("a /pong that brings the link up asks once; another within 300 s does not");
    rig.from(kIPad, "/pong", {s("Stage iPad")});
    EXPECT_EQ(requests(), 1u);
    EXPECT_TRUE(rig.logged("OSC workspace snapshot requested",
                           "Requested snapshot after active peer reconnected via /pong from "
                           "127.0.0.1:53000"));
    rig.from(kIPad, "/tessiva/workspace/snapshot/request", {});
    EXPECT_EQ(requests(), 2u);  // the iPad asked: forced

    SCOPED_TRACE("link drops and returns within 300 s of the last request: throttled");
    rig.scheduler.advance(19.0);
    rig.deliver(kIPad, "/pong", {});
    rig.scheduler.advance(21.0);  // timed out: the throttle is cleared
    rig.from(kIPad, "/pong", {});
    EXPECT_EQ(requests(), 3u);

    SCOPED_TRACE("a forced request on the next ping goes even inside the window");
    manager.forceWorkspaceSnapshotOnNextPing();
    rig.ping(kIPad);
    EXPECT_EQ(requests(), 4u);
    rig.ping(kIPad);
    EXPECT_EQ(requests(), 4u);  // only the next one

    SCOPED_TRACE("the unconditional request always goes");
    manager.requestWorkspaceSnapshot("menu");
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(requests(), 5u);
    EXPECT_TRUE(rig.logged("OSC workspace snapshot requested",
                           "Requesting workspace snapshot from 127.0.0.1:53000. reason=menu"));
}

TEST(OSCDiscoveryManager, StartLogsTheListenerAndTheAdvertisementAndSurvivesBonjourFailing) {
    const struct {
        std::optional<std::string> advertiserFailure, listenRefusal;
        std::int64_t port;
        std::string events;
        std::optional<std::string> consoleLine;  // for a listener that failed
    } cases[] = {
        {std::nullopt, std::nullopt, 65536, "OSC discovery failed | Invalid UDP port 65536\n",
         "OSC discovery failed: Invalid UDP port 65536"},
        {std::nullopt, "Address already in use", 12111,
         "OSC discovery setup failed | Address already in use\n",
         "OSC discovery setup failed: Address already in use"},
        // Without mDNS the iPad can still connect by address.
        {"no mDNS responder is running", std::nullopt, 12111,
         "OSC listener ready | Listening for inbound OSC UDP on port 12111\n"
         "OSC Bonjour failed | OSC Bonjour failed: no mDNS responder is running\n",
         std::nullopt},
        // Advertised under the service type and name on the port the listener got.
        {std::nullopt, std::nullopt, 0,
         "OSC listener ready | Listening for inbound OSC UDP on port 49999\n"
         "OSC Bonjour advertising | Advertising _tessiva-osc._udp on UDP port 49999 as Tessiva "
         "Focus\n",
         std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.events);
        LinkRig rig(c.advertiserFailure);
        if (c.listenRefusal)
            rig.transport.refuseListen(*c.listenRefusal);
        auto& manager = rig.start(c.port);
        EXPECT_EQ(rig.eventsText(), c.events);
        EXPECT_EQ(rig.transport.listenCount(), c.consoleLine ? 0 : 1);
        if (c.consoleLine) {
            EXPECT_TRUE(rig.console.contains(*c.consoleLine));
            continue;
        }
        EXPECT_EQ(manager.listenPort(), c.port == 0 ? 49999 : c.port);
        EXPECT_EQ(rig.advertiser.current().has_value(), !c.advertiserFailure);
        if (const auto& ad = rig.advertiser.current()) {
            EXPECT_EQ(std::tie(ad->type, ad->name, ad->port),
                      std::tuple("_tessiva-osc._udp", "Tessiva Focus", 49999));
        }
        rig.ping(kIPad);
        EXPECT_TRUE(manager.isHandshakeConnected());
    }
}

TEST(OSCDiscoveryManager, ReceiveErrorsAreLoggedOnceEachAndTheIPadStaysConnected) {
    LinkRig rig;
    auto& manager = rig.connected();
    rig.console.clear();
    rig.transport.failReceive("Connection refused");
    rig.scheduler.runUntilIdle();
    rig.transport.failReceive("No buffer space available");
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.eventsText(),
              "OSC discovery receive failed | Connection refused\n"
              "OSC discovery receive failed | No buffer space available\n");
    EXPECT_EQ(rig.console.lines(), (std::vector<std::string>{
                                       "OSC discovery receive failed: Connection refused",
                                       "OSC discovery receive failed: No buffer space available"}));
    EXPECT_TRUE(rig.transport.listening());
    EXPECT_TRUE(manager.isHandshakeConnected());
    rig.ping(kIPad);
    EXPECT_EQ(rig.sent("/pong").size(), 1u);

    SCOPED_TRACE("an error already on its way when the manager goes is dropped");
    rig.transport.failReceive("Connection refused");
    rig.manager.reset();
    rig.console.clear();
    rig.scheduler.runUntilIdle();
    EXPECT_TRUE(rig.console.lines().empty());
}

}  // namespace
}  // namespace tessiva
