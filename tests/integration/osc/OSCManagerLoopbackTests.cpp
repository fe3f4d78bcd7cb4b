#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "platform/net/UdpTransport.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "support/RecordedEvents.h"

namespace tessiva {
namespace {

using namespace std::chrono_literals;

// Things that happen on other threads, with a bounded wait for each.
using Events = testing::RecordedEvents;

// The console lines, each also an event.
class SignallingConsole final : public Console {
  public:
    explicit SignallingConsole(Events& events) : events_(events) {}
    void line(std::string_view text) override { events_.add("console:" + std::string(text)); }

  private:
    Events& events_;
};

// The real Asio transport, watched: counts sockets opened and reports their states.
class WatchedTransport final : public UdpTransport {
  public:
    explicit WatchedTransport(Events& events) : real_(makeUdpTransport()), events_(events) {}

    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& callbackQueue,
                                                  UdpConnection::StateHandler handler) override {
        ++opened;
        return real_->makeConnection(
            host, port, callbackQueue,
            [this, handler](UdpConnectionState state, const std::string& error) {
                handler(state, error);
                events_.add("state:" + std::string(stateName(state)));
            });
    }
    UdpListenResult listen(const UdpListenOptions& options, Queue& queue,
                           UdpListener::DatagramHandler handler) override {
        return real_->listen(options, queue, std::move(handler));
    }

    std::atomic<int> opened{0};

  private:
    std::unique_ptr<UdpTransport> real_;
    Events& events_;
};

struct LoopbackRig {
    LoopbackRig()
        : transport(events),
          console(events),
          notifications(dispatcher.mainQueue()),
          manager(dispatcher, transport, console, notifications),
          listenerQueue(dispatcher.makeSerialQueue("tessiva.test.ipad")) {}

    Events events;
    AsioDispatcher dispatcher;
    WatchedTransport transport;
    SignallingConsole console;
    NotificationCenter notifications;
    OSCManager manager;
    std::shared_ptr<Queue> listenerQueue;
};

TEST(OSCManagerLoopback, TwoSendsToOneEndpointShareOneSocket) {
    LoopbackRig rig;
    std::vector<UdpDatagram> received;
    auto ipad =
        rig.transport.listen({0, "127.0.0.1", true}, *rig.listenerQueue, [&](UdpDatagram datagram) {
            received.push_back(std::move(datagram));
            rig.events.add("ipad");
        });
    ASSERT_TRUE(ipad.ok()) << ipad.error;
    const std::uint16_t port = ipad.listener->port();

    const std::vector<OSCArgument> focus = {
        OSCArgument::string("bank"),    OSCArgument::string("5B8E0C8A-0000-4000-8000-000000000001"),
        OSCArgument::string("Violins"), OSCArgument::string("Strings"),
        OSCArgument::int32(7),          OSCArgument::string("<none>")};
    rig.manager.send("127.0.0.1", port, "/tessiva/bank/focus", focus);
    rig.manager.send("127.0.0.1", port, "/tessiva/logic/tempo", {OSCArgument::float32(96)});
    ASSERT_TRUE(rig.events.waitFor("ipad", 2));
    rig.listenerQueue->post([&] { rig.events.add("read"); });
    ASSERT_TRUE(rig.events.waitFor("read"));

    EXPECT_EQ(rig.transport.opened.load(), 1);
    EXPECT_EQ(rig.manager.connectionCount(), 1u);
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].bytes, encodeMessage("/tessiva/bank/focus", focus));
    EXPECT_EQ(received[1].bytes, encodeMessage("/tessiva/logic/tempo", {OSCArgument::float32(96)}));
    EXPECT_EQ(received[0].host, "127.0.0.1");
    EXPECT_EQ(received[0].port, received[1].port) << "one socket, one source port";
    ipad.listener->stop();
}

TEST(OSCManagerLoopback, RefusedSendIsLoggedAndTheNextSendOpensAFreshSocket) {
    LoopbackRig rig;
    // A port that was just free: bind it, then let it go.
    std::uint16_t deadPort = 0;
    {
        auto probe =
            rig.transport.listen({0, "127.0.0.1", false}, *rig.listenerQueue, [](UdpDatagram) {});
        ASSERT_TRUE(probe.ok());
        deadPort = probe.listener->port();
    }
    std::vector<std::string> logged;
    auto token = rig.notifications.addObserver(kDebugEventNotification, [&](const Notification& n) {
        logged.push_back(n.userInfo.string(kDebugEventTitleKey).value_or("") + " | " +
                         n.userInfo.string(kDebugEventDetailKey).value_or(""));
        rig.dispatcher.stopMainLoop();
    });

    // The refusal comes back as ICMP after the first datagram; the socket learns of it and the
    // next send on it reports the error.
    rig.manager.send("127.0.0.1", deadPort, "/tessiva/workspace/snapshot/request", {});
    ASSERT_TRUE(rig.events.waitFor("state:waiting"));
    rig.manager.send("127.0.0.1", deadPort, "/tessiva/workspace/snapshot/request", {});
    ASSERT_TRUE(rig.events.waitFor("console:OSC send failed: Connection refused"));
    // Everything the sender's queue was given before this marker has run.
    rig.manager.queue().post([&] { rig.events.add("drained"); });
    ASSERT_TRUE(rig.events.waitFor("drained"));
    EXPECT_EQ(rig.manager.connectionCount(), 0u);

    rig.dispatcher.runMainLoopFor(10.0);  // until the event-log entry arrives
    EXPECT_EQ(logged, std::vector<std::string>{"OSC send failed | Connection refused"});

    rig.manager.send("127.0.0.1", deadPort, "/tessiva/workspace/snapshot/request", {});
    EXPECT_EQ(rig.transport.opened.load(), 2);
    EXPECT_EQ(rig.manager.connectionCount(), 1u);
}

}  // namespace
}  // namespace tessiva
