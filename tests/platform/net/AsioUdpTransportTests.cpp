#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <cstdlib>

#include "platform/asio/AsioUdpTransport.h"
#include "runtime/AsioDispatcher.h"
#include "support/RecordedEvents.h"

namespace tessiva {
namespace {

UdpListenOptions loopback(std::uint16_t port = 0) {
    return {port, "127.0.0.1", true};
}

// This process's UDP socket bound to 127.0.0.1:port, or -1. Lets a test drive the listener's own
// socket into the errors the kernel reports on it.
int udpSocketBoundTo(std::uint16_t port) {
    int found = -1;
    DIR* fds = ::opendir("/proc/self/fd");
    if (!fds)
        return found;
    while (dirent* entry = ::readdir(fds)) {
        const int fd = std::atoi(entry->d_name);
        if (fd <= 2 || fd == ::dirfd(fds))
            continue;
        int type = 0;
        socklen_t typeLength = sizeof(type);
        sockaddr_in local{};
        socklen_t localLength = sizeof(local);
        if (::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &typeLength) == 0 && type == SOCK_DGRAM &&
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLength) == 0 &&
            local.sin_family == AF_INET && ntohs(local.sin_port) == port) {
            found = fd;
        }
    }
    ::closedir(fds);
    return found;
}

// The real transport posting to a real serial queue, and a loopback socket playing the peer.
struct SocketRig {
    testing::RecordedEvents recorder;  // outlives the queue threads that report to it
    AsioDispatcher dispatcher;
    std::shared_ptr<Queue> queue = dispatcher.makeSerialQueue("tessiva.test.delivery");
    std::unique_ptr<UdpTransport> transport = makeUdpTransport();
    asio::io_context context;
    asio::ip::udp::socket peer{context, {asio::ip::make_address("127.0.0.1"), 0}};
    std::size_t drains = 0;

    void sendTo(std::uint16_t port, std::string_view bytes) {
        peer.send_to(asio::buffer(bytes.data(), bytes.size()),
                     {asio::ip::make_address("127.0.0.1"), port});
    }
    // Waits until everything posted to the queue so far has run.
    bool drain() {
        queue->post([this] { recorder.add("drained"); });
        return recorder.waitFor("drained", ++drains);
    }
    // A loopback port that was free a moment ago: its socket is closed again on return.
    std::uint16_t unusedPort() {
        asio::ip::udp::socket socket(context, {asio::ip::make_address("127.0.0.1"), 0});
        return socket.local_endpoint().port();
    }
};

std::string text(const UdpDatagram& datagram) {
    return std::string(datagram.bytes.begin(), datagram.bytes.end());
}

TEST(AsioUdpTransport, ListenerDeliversDatagramsWithTheSenderOnTheChosenQueue) {
    SocketRig rig;
    std::vector<UdpDatagram> received;
    auto result = rig.transport->listen(loopback(), *rig.queue, [&](UdpDatagram datagram) {
        EXPECT_TRUE(rig.queue->isCurrent());
        received.push_back(datagram);
        rig.recorder.add("datagram");
    });
    ASSERT_TRUE(result.ok()) << result.error;
    const std::uint16_t port = result.listener->port();
    EXPECT_NE(port, 0);

    rig.sendTo(port, std::string_view("/a\0\0,\0\0\0", 8));
    rig.sendTo(port, "");
    ASSERT_TRUE(rig.recorder.waitFor("datagram", 2));
    ASSERT_TRUE(rig.drain());
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].bytes, (std::vector<std::uint8_t>{'/', 'a', 0, 0, ',', 0, 0, 0}));
    EXPECT_TRUE(received[1].bytes.empty());
    EXPECT_EQ(received[0].host, "127.0.0.1");
    EXPECT_EQ(received[0].port, rig.peer.local_endpoint().port());

    SCOPED_TRACE("reuse lets a second listener share the port; without it binding fails");
    auto ignore = [](UdpDatagram) {};
    auto shared = rig.transport->listen(loopback(port), *rig.queue, ignore);
    EXPECT_TRUE(shared.ok()) << shared.error;
    shared.listener.reset();
    auto exclusive = rig.transport->listen({port, "127.0.0.1", false}, *rig.queue, ignore);
    EXPECT_FALSE(exclusive.ok());
    EXPECT_FALSE(exclusive.error.empty());
    EXPECT_FALSE(rig.transport->listen({0, "not an address", true}, *rig.queue, ignore).ok());

    SCOPED_TRACE("nothing reaches the handler once stopped on its queue");
    rig.queue->post([&] {
        result.listener->stop();
        rig.recorder.add("stopped");
    });
    ASSERT_TRUE(rig.recorder.waitFor("stopped"));
    rig.sendTo(port, "late");
    // A listener bound to another port proves the network thread is alive and datagrams flow.
    SCOPED_TRACE("a network-thread filter takes datagrams before the queue");
    UdpListenOptions options = loopback();
    // Takes the datagrams that begin with 'm', off the delivery queue's thread.
    options.networkThreadFilter = [&](const UdpDatagram& datagram) {
        if (datagram.bytes.empty() || datagram.bytes[0] != 'm')
            return false;
        EXPECT_FALSE(rig.queue->isCurrent());
        rig.recorder.add("filtered");
        return true;
    };
    auto probe = rig.transport->listen(
        options, *rig.queue, [&](UdpDatagram datagram) { rig.recorder.add(text(datagram)); });
    ASSERT_TRUE(probe.ok());
    rig.sendTo(probe.listener->port(), "midi");
    rig.sendTo(probe.listener->port(), "probe");
    ASSERT_TRUE(rig.recorder.waitFor("probe"));
    EXPECT_TRUE(rig.recorder.waitFor("filtered"));
    ASSERT_TRUE(rig.drain());
    EXPECT_EQ(received.size(), 2u);
    // Sent first, so it would have been posted before "probe" had the filter let it through.
    const auto events = rig.recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "midi"), 0);
}

TEST(AsioUdpTransport, ConnectionSendsReportsRefusalAndCancels) {
    SocketRig rig;
    std::vector<std::vector<std::uint8_t>> received;
    auto listener = rig.transport->listen(loopback(), *rig.queue, [&](UdpDatagram datagram) {
        received.push_back(datagram.bytes);
        rig.recorder.add("received");
    });
    ASSERT_TRUE(listener.ok());

    auto stateRecorder = [&](UdpConnectionState state, const std::string& error) {
        EXPECT_TRUE(rig.queue->isCurrent());
        rig.recorder.add(std::string(stateName(state)) + (error.empty() ? "" : ":" + error));
    };
    auto sendRecorder = [&](std::optional<std::string> error) {
        rig.recorder.add(error ? "send-error:" + *error : "sent");
    };
    auto connection = rig.transport->makeConnection("127.0.0.1", listener.listener->port(),
                                                    *rig.queue, stateRecorder);
    EXPECT_EQ(connection->state(), UdpConnectionState::setup);
    // Sent before start: held until the socket is ready.
    connection->send({1, 2, 3, 4}, sendRecorder);
    connection->start();
    ASSERT_TRUE(rig.recorder.waitFor("ready"));
    ASSERT_TRUE(rig.recorder.waitFor("sent"));
    ASSERT_TRUE(rig.recorder.waitFor("received"));
    rig.queue->post([&] { EXPECT_EQ(received.at(0), (std::vector<std::uint8_t>{1, 2, 3, 4})); });

    SCOPED_TRACE("a refused datagram: waiting, then the next send fails and the one after works");
    listener.listener.reset();
    connection->send({5}, sendRecorder);
    ASSERT_TRUE(rig.recorder.waitFor("waiting:Connection refused"));
    connection->send({6}, sendRecorder);
    ASSERT_TRUE(rig.recorder.waitFor("send-error:Connection refused"));
    EXPECT_EQ(connection->state(), UdpConnectionState::ready);

    connection->cancel();
    ASSERT_TRUE(rig.recorder.waitFor("cancelled"));
    EXPECT_EQ(connection->state(), UdpConnectionState::cancelled);
    connection->cancel();  // once only

    ASSERT_TRUE(rig.drain());
    const auto events = rig.recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "cancelled"), 1);
    // Connected, then again after the refusal.
    EXPECT_EQ(std::count(events.begin(), events.end(), "ready"), 2);
}

TEST(AsioUdpTransport, ListenerReportsReceiveErrorsAndKeepsReceiving) {
    SocketRig rig;
    // An explicit port, as the program uses: an ephemeral one is given up when the test
    // disconnects the socket again.
    UdpListenOptions options = loopback(rig.unusedPort());
    options.receiveErrorHandler = [&](std::string description) {
        EXPECT_TRUE(rig.queue->isCurrent());
        rig.recorder.add("error:" + description);
    };
    auto result = rig.transport->listen(options, *rig.queue, [&](UdpDatagram datagram) {
        rig.recorder.add("datagram:" + text(datagram));
    });
    ASSERT_TRUE(result.ok()) << result.error;
    const std::uint16_t port = result.listener->port();
    const int fd = udpSocketBoundTo(port);
    ASSERT_GE(fd, 0);

    // A port nobody listens on: its ICMP refusal is the error Linux reports on the next receive.
    sockaddr_in refuser{};
    refuser.sin_family = AF_INET;
    refuser.sin_port = htons(rig.unusedPort());
    refuser.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&refuser), sizeof(refuser)), 0);
    const char probe = 'x';
    ASSERT_EQ(::send(fd, &probe, 1, 0), 1);
    ASSERT_TRUE(rig.recorder.waitFor("error:Connection refused"));
    SCOPED_TRACE("a second refusal straight after is reported too, after a short pause");
    ASSERT_EQ(::send(fd, &probe, 1, 0), 1);
    ASSERT_TRUE(rig.recorder.waitFor("error:Connection refused", 2));

    SCOPED_TRACE("the listener still receives");
    sockaddr unspecified{};
    unspecified.sa_family = AF_UNSPEC;
    ASSERT_EQ(::connect(fd, &unspecified, sizeof(unspecified)), 0);
    rig.sendTo(port, "hello");
    ASSERT_TRUE(rig.recorder.waitFor("datagram:hello"));
    ASSERT_TRUE(rig.drain());
    const auto events = rig.recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "error:Connection refused"), 2);
    EXPECT_EQ(events.size(), 4u);

    SCOPED_TRACE("stopping is not an error");
    rig.queue->post([&] {
        result.listener->stop();
        rig.recorder.add("stopped");
    });
    ASSERT_TRUE(rig.recorder.waitFor("stopped"));
    result.listener.reset();
    rig.transport.reset();  // drains the network thread: any report would be posted by now
    ASSERT_TRUE(rig.drain());
    EXPECT_EQ(rig.recorder.events().size(), 6u);
}

}  // namespace
}  // namespace tessiva
