#include <gtest/gtest.h>

#include <thread>

#include "OSCArgs.h"
#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/OSCTransmitEcho.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

using namespace testing;

struct Rig {
    explicit Rig(OSCManager::Options given = {}) : options(given) {}
    OSCManager::Options options;
    VirtualScheduler scheduler;
    // The test completes sends and moves connections between states itself.
    SimulatedUdpTransport transport{{.readyOnStart = false, .completeSendsAtOnce = false}};
    CapturingConsole console;
    NotificationCenter notifications{scheduler.mainQueue()};
    OSCManager manager{scheduler, transport, console, notifications, options};
    std::vector<std::string> events;
    ObserverToken debugEvents =
        notifications.addObserver(kDebugEventNotification, [this](const Notification& n) {
            events.push_back(n.userInfo.string(kDebugEventTitleKey).value_or("?") + " | " +
                             n.userInfo.string(kDebugEventDetailKey).value_or("?"));
        });
};

TEST(OSCManager, ReusesOneConnectionPerEndpointAndDropsInvalidPorts) {
    Rig rig;
    rig.manager.send("127.0.0.1", 9000, "/ping", {i(12111)});
    rig.manager.send("127.0.0.1", 9000, "/tessiva/logic/tempo", {f(120)});
    rig.manager.send("127.0.0.1", 9001, "/tessiva/logic/tempo", {f(120)});
    rig.manager.send("localhost", 9000, "/tessiva/logic/tempo", {f(120)});
    for (std::int64_t invalid : {0, -1, 65536, 1 << 20})
        rig.manager.send("127.0.0.1", invalid, "/tessiva/logic/tempo", {});
    const auto connections = rig.transport.connections();
    ASSERT_EQ(connections.size(), 3u);
    EXPECT_TRUE(connections[0]->started());
    EXPECT_EQ(connections[0]->queue().name(), "tessiva.focus.osc");
    EXPECT_EQ(connections[0]->sent().size(), 2u);
    EXPECT_EQ(connections[2]->host(), "localhost");
    // Heartbeats and dropped sends are not echoed; the /ping still went out.
    EXPECT_EQ(rig.console.lines().size(), 3u);
    EXPECT_EQ(OSCManager::endpointKey("127.0.0.1", 9000), "127.0.0.1:9000");
}

TEST(OSCManager, SendErrorsFailuresAndCancellationsEvictSoTheNextSendReconnects) {
    Rig rig;
    for (std::uint16_t port : {9000, 9000, 9001, 9002})
        rig.manager.send("127.0.0.1", port, "/x", {});
    auto connections = rig.transport.connections();
    SCOPED_TRACE("ready and waiting keep a connection; failed and cancelled drop it, silently");
    connections[0]->enter(UdpConnectionState::ready);
    connections[0]->enter(UdpConnectionState::waiting, "Connection refused");
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.manager.connectionCount(), 3u);
    connections[1]->enter(UdpConnectionState::failed, "No route to host");
    connections[2]->enter(UdpConnectionState::cancelled);
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.manager.connectionCount(), 1u);

    SCOPED_TRACE("a send error is logged to both logs and evicts; success is silent");
    auto first = connections[0];
    first->completeSend(0, std::nullopt);
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.manager.connectionCount(), 1u);
    first->completeSend(1, "Connection refused");
    rig.scheduler.runUntilIdle();
    EXPECT_TRUE(rig.console.contains("OSC send failed: Connection refused"));
    EXPECT_EQ(rig.events, std::vector<std::string>{"OSC send failed | Connection refused"});
    EXPECT_EQ(rig.manager.connectionCount(), 0u);
    rig.manager.send("127.0.0.1", 9000, "/x", {});
    ASSERT_EQ(rig.transport.connections().size(), 4u);
    EXPECT_EQ(rig.transport.connections()[3]->sent().size(), 1u);

    // A late report about the old connection must not evict the new one.
    first->enter(UdpConnectionState::failed, "Network is down");
    first->completeSend(1, "Connection refused");
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.manager.connectionCount(), 1u);
    EXPECT_EQ(rig.console.count("OSC send failed"), 2u);
}

TEST(OSCManager, ConcurrentSendersAndEvictionsKeepOneConnectionPerEndpoint) {
    Rig rig;
    constexpr int kThreads = 4;
    constexpr int kSends = 400;
    std::vector<std::thread> senders;
    for (int t = 0; t < kThreads; ++t) {
        senders.emplace_back([&rig, t] {
            for (int n = 0; n < kSends; ++n) {
                const int port = 9000 + (n + t) % 5;
                rig.manager.send("127.0.0.1", port, "/x", {i(port)});
            }
        });
    }
    // Meanwhile the queue keeps failing whatever connection it finds.
    for (int round = 0; round < 50; ++round) {
        for (const auto& connection : rig.transport.connections())
            connection->enter(UdpConnectionState::failed, "down");
        rig.scheduler.runUntilIdle();
    }
    for (auto& sender : senders)
        sender.join();
    rig.scheduler.runUntilIdle();

    // Every datagram went out, each on a connection to its own endpoint.
    std::size_t sent = 0;
    for (const auto& connection : rig.transport.connections()) {
        for (const auto& datagram : connection->sent()) {
            ++sent;
            EXPECT_EQ(firstInt32Argument(datagram), connection->port());
        }
    }
    EXPECT_EQ(sent, static_cast<std::size_t>(kThreads * kSends));
    EXPECT_LE(rig.manager.connectionCount(), 5u);
}

TEST(OSCManager, PongCarriesTheTrimmedNameAndTheDeviceNameFallsBackToMac) {
    Rig rig({.logHeartbeatTraffic = true});
    rig.manager.sendPong("127.0.0.1", 9000, std::string_view(" Studio Mac\n"));
    rig.manager.sendPong("127.0.0.1", 9000, std::string_view(" \t "));
    rig.manager.sendPong("127.0.0.1", 9000, std::nullopt);
    // The echo shows exactly the arguments that were sent.
    EXPECT_EQ(rig.console.lines(),
              (std::vector<std::string>{"OSC TX: /pong [s:Studio Mac]", "OSC TX: /pong []",
                                        "OSC TX: /pong []"}));

    EXPECT_EQ(OSCManager::localDeviceName({" Studio Mac\n", "studio.local"}), "Studio Mac");
    EXPECT_EQ(OSCManager::localDeviceName({std::nullopt, " studio "}), "studio");
    EXPECT_EQ(OSCManager::localDeviceName({"\xC2\xA0", "studio"}), "Mac");
    EXPECT_EQ(OSCManager::localDeviceName({std::nullopt, std::nullopt}), "Mac");
}

TEST(OSCManager, DestructionCancelsOpenConnections) {
    std::vector<std::shared_ptr<SimulatedUdpTransport::Connection>> connections;
    {
        Rig rig;
        rig.manager.send("127.0.0.1", 9000, "/x", {});
        rig.manager.send("127.0.0.1", 9001, "/x", {});
        connections = rig.transport.connections();
        for (auto& connection : connections)
            connection->completeSend(0, "late");
    }
    for (const auto& connection : connections)
        EXPECT_EQ(connection->state(), UdpConnectionState::cancelled);
}

TEST(OSCTransmitEcho, SummarisesImportsAndDescribesTheRest) {
    const std::string import = "/tessiva/articulationset/import";
    const std::string begin = import + "/begin", chunk = import + "/chunk";
    const struct {
        std::string address;
        std::vector<OSCArgument> arguments;
        std::string line;
    } cases[] = {
        // Articulation-set imports: payloads are never echoed.
        {import, args(s("a.plist"), s("T1"), s(std::string(5000, 'p'))),
         "[file=a.plist, transferID=T1, payloadBytes=5000]"},
        {begin, args(s("b"), s("T2"), i(9000), i(3)),
         "[file=b, transferID=T2, payloadBytes=9000, chunks=3]"},
        {chunk, args(s("T2"), i(0), i(3), s("Flöte")),
         "[transferID=T2, chunk=1, chunks=3, chunkBytes=6]"},
        {import + "/end", args(s("T2"), i(3)), "[transferID=T2, chunks=3]"},
        // Missing or wrong kinds.
        {chunk, args(i(5), s("0")),
         "[transferID=<missing>, chunk=<missing>, chunks=<unknown>, chunkBytes=<missing>]"},
        {import, args(), "[file=<missing>, transferID=<missing>, payloadBytes=<missing>]"},
        {begin, args(s("a"), s("b"), f(1), s("3")),
         "[file=a, transferID=b, payloadBytes=<missing>, chunks=<unknown>]"},
        // The index is shown from 1 even at the int32 limit.
        {chunk, args(s("T"), i(2147483647)),
         "[transferID=T, chunk=2147483648, chunks=<unknown>, chunkBytes=<missing>]"},
        // Only the exact import addresses are summarised; heartbeats are left to the sender.
        {import + "/ack", args(s("T")), "[s:T]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        EXPECT_EQ(transmitEchoLine(c.address, c.arguments, false),
                  "OSC TX: " + c.address + " " + c.line);
    }
}

}  // namespace
}  // namespace tessiva
