#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

#include "platform/asio/AsioUdpTransport.h"
#include "runtime/AsioDispatcher.h"
#include "support/RecordedEvents.h"

namespace tessiva {
namespace {

using namespace std::chrono_literals;

// Collects what the transport posts to a real serial queue and lets the test wait for it.
using Recorder = testing::RecordedEvents;

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

TEST(AsioUdpTransport, ListenerDeliversDatagramsWithTheSenderOnTheChosenQueue) {
    Recorder recorder;  // outlives the queue threads that report to it
    AsioDispatcher dispatcher;
    auto queue = dispatcher.makeSerialQueue("tessiva.test.delivery");
    auto transport = makeUdpTransport();
    std::vector<UdpDatagram> received;
    auto result = transport->listen(loopback(), *queue, [&](UdpDatagram datagram) {
        EXPECT_TRUE(queue->isCurrent());
        received.push_back(datagram);
        recorder.add("datagram");
    });
    ASSERT_TRUE(result.ok()) << result.error;
    const std::uint16_t port = result.listener->port();
    EXPECT_NE(port, 0);

    asio::io_context context;
    asio::ip::udp::socket sender(context,
                                 asio::ip::udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    const std::vector<std::uint8_t> first = {'/', 'a', 0, 0, ',', 0, 0, 0};
    const std::vector<std::uint8_t> empty;
    sender.send_to(asio::buffer(first), {asio::ip::make_address("127.0.0.1"), port});
    sender.send_to(asio::buffer(empty), {asio::ip::make_address("127.0.0.1"), port});
    ASSERT_TRUE(recorder.waitFor("datagram", 2));
    queue->post([&] { recorder.add("drained"); });
    ASSERT_TRUE(recorder.waitFor("drained"));
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].bytes, first);
    EXPECT_TRUE(received[1].bytes.empty());
    EXPECT_EQ(received[0].host, "127.0.0.1");
    EXPECT_EQ(received[0].port, sender.local_endpoint().port());

    SCOPED_TRACE("reuse lets a second listener share the port; without it binding fails");
    auto shared = transport->listen(loopback(port), *queue, [](UdpDatagram) {});
    EXPECT_TRUE(shared.ok()) << shared.error;
    shared.listener.reset();
    auto exclusive = transport->listen({port, "127.0.0.1", false}, *queue, [](UdpDatagram) {});
    EXPECT_FALSE(exclusive.ok());
    EXPECT_FALSE(exclusive.error.empty());
    auto invalid = transport->listen({0, "not an address", true}, *queue, [](UdpDatagram) {});
    EXPECT_FALSE(invalid.ok());

    SCOPED_TRACE("nothing reaches the handler once stopped on its queue");
    queue->post([&] {
        result.listener->stop();
        recorder.add("stopped");
    });
    ASSERT_TRUE(recorder.waitFor("stopped"));
    sender.send_to(asio::buffer(first), {asio::ip::make_address("127.0.0.1"), port});
    // A listener bound to another port proves the network thread is alive and datagrams flow.
    auto probe = transport->listen(loopback(), *queue, [&](UdpDatagram) { recorder.add("probe"); });
    ASSERT_TRUE(probe.ok());
    sender.send_to(asio::buffer(first),
                   {asio::ip::make_address("127.0.0.1"), probe.listener->port()});
    ASSERT_TRUE(recorder.waitFor("probe"));
    queue->post([&] { recorder.add("drained"); });
    ASSERT_TRUE(recorder.waitFor("drained", 2));
    EXPECT_EQ(received.size(), 2u);
}

TEST(AsioUdpTransport, ANetworkThreadFilterTakesDatagramsBeforeTheQueue) {
    Recorder recorder;
    AsioDispatcher dispatcher;
    auto queue = dispatcher.makeSerialQueue("tessiva.test.delivery");
    auto transport = makeUdpTransport();
    UdpListenOptions options = loopback();
    // Takes the datagrams that begin with 'm', off the delivery queue's thread.
    options.networkThreadFilter = [&](const UdpDatagram& datagram) {
        if (datagram.bytes.empty() || datagram.bytes[0] != 'm')
            return false;
        EXPECT_FALSE(queue->isCurrent());
        recorder.add("filtered");
        return true;
    };
    auto result = transport->listen(options, *queue, [&](UdpDatagram datagram) {
        recorder.add(std::string(datagram.bytes.begin(), datagram.bytes.end()));
    });
    ASSERT_TRUE(result.ok()) << result.error;
    asio::io_context context;
    asio::ip::udp::socket sender(context,
                                 asio::ip::udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    const asio::ip::udp::endpoint to{asio::ip::make_address("127.0.0.1"), result.listener->port()};
    sender.send_to(asio::buffer(std::string("midi")), to);
    sender.send_to(asio::buffer(std::string("ping")), to);
    ASSERT_TRUE(recorder.waitFor("ping"));
    EXPECT_TRUE(recorder.waitFor("filtered"));
    // Sent first, so it would have been posted before "ping" had the filter let it through.
    const auto events = recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "midi"), 0);
}

TEST(AsioUdpTransport, ConnectionSendsReportsRefusalAndCancels) {
    Recorder recorder;
    AsioDispatcher dispatcher;
    auto queue = dispatcher.makeSerialQueue("tessiva.focus.osc");
    auto transport = makeUdpTransport();
    std::vector<std::vector<std::uint8_t>> received;
    auto listener = transport->listen(loopback(), *queue, [&](UdpDatagram datagram) {
        received.push_back(datagram.bytes);
        recorder.add("received");
    });
    ASSERT_TRUE(listener.ok());

    auto stateRecorder = [&](UdpConnectionState state, const std::string& error) {
        EXPECT_TRUE(queue->isCurrent());
        recorder.add(std::string(stateName(state)) + (error.empty() ? "" : ":" + error));
    };
    auto connection =
        transport->makeConnection("127.0.0.1", listener.listener->port(), *queue, stateRecorder);
    EXPECT_EQ(connection->state(), UdpConnectionState::setup);
    // Sent before start: held until the socket is ready.
    connection->send({1, 2, 3, 4}, [&](std::optional<std::string> error) {
        recorder.add(error ? "send-error:" + *error : "sent");
    });
    connection->start();
    ASSERT_TRUE(recorder.waitFor("ready"));
    ASSERT_TRUE(recorder.waitFor("sent"));
    ASSERT_TRUE(recorder.waitFor("received"));
    queue->post([&] { EXPECT_EQ(received.at(0), (std::vector<std::uint8_t>{1, 2, 3, 4})); });

    SCOPED_TRACE("a refused datagram: waiting, then the next send fails and the one after works");
    listener.listener->stop();
    listener.listener.reset();
    connection->send({5}, [&](std::optional<std::string> error) {
        recorder.add(error ? "send-error:" + *error : "sent");
    });
    ASSERT_TRUE(recorder.waitFor("waiting:Connection refused"));
    connection->send({6}, [&](std::optional<std::string> error) {
        recorder.add(error ? "send-error:" + *error : "sent");
    });
    ASSERT_TRUE(recorder.waitFor("send-error:Connection refused"));
    EXPECT_EQ(connection->state(), UdpConnectionState::ready);

    connection->cancel();
    ASSERT_TRUE(recorder.waitFor("cancelled"));
    EXPECT_EQ(connection->state(), UdpConnectionState::cancelled);
    connection->cancel();  // once only

    queue->post([&] { recorder.add("drained"); });
    ASSERT_TRUE(recorder.waitFor("drained"));
    const auto events = recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "cancelled"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "ready"),
              2);  // connected, then after the refusal
}

// A loopback port that was free a moment ago: its socket is closed again on return.
std::uint16_t unusedPort(asio::io_context& context) {
    asio::ip::udp::socket socket(context,
                                 asio::ip::udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    return socket.local_endpoint().port();
}

TEST(AsioUdpTransport, ListenerReportsReceiveErrorsAndKeepsReceiving) {
    Recorder recorder;
    AsioDispatcher dispatcher;
    auto queue = dispatcher.makeSerialQueue("tessiva.test.delivery");
    auto transport = makeUdpTransport();
    asio::io_context context;
    // An explicit port, as the program uses: an ephemeral one is given up when the test
    // disconnects the socket again.
    UdpListenOptions options = loopback(unusedPort(context));
    options.receiveErrorHandler = [&](std::string description) {
        EXPECT_TRUE(queue->isCurrent());
        recorder.add("error:" + description);
    };
    auto result = transport->listen(options, *queue, [&](UdpDatagram datagram) {
        recorder.add("datagram:" + std::string(datagram.bytes.begin(), datagram.bytes.end()));
    });
    ASSERT_TRUE(result.ok()) << result.error;
    const std::uint16_t port = result.listener->port();
    const int fd = udpSocketBoundTo(port);
    ASSERT_GE(fd, 0);

    // A port nobody listens on: its ICMP refusal is the error Linux reports on the next receive.
    const std::uint16_t closedPort = unusedPort(context);
    sockaddr_in refuser{};
    refuser.sin_family = AF_INET;
    refuser.sin_port = htons(closedPort);
    refuser.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&refuser), sizeof(refuser)), 0);
    const char probe = 'x';
    ASSERT_EQ(::send(fd, &probe, 1, 0), 1);
    ASSERT_TRUE(recorder.waitFor("error:Connection refused"));
    SCOPED_TRACE("a second refusal straight after is reported too, after a short pause");
    ASSERT_EQ(::send(fd, &probe, 1, 0), 1);
    ASSERT_TRUE(recorder.waitFor("error:Connection refused", 2));

    SCOPED_TRACE("the listener still receives");
    sockaddr unspecified{};
    unspecified.sa_family = AF_UNSPEC;
    ASSERT_EQ(::connect(fd, &unspecified, sizeof(unspecified)), 0);
    asio::ip::udp::socket sender(context,
                                 asio::ip::udp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
    const std::string hello = "hello";
    sender.send_to(asio::buffer(hello), {asio::ip::make_address("127.0.0.1"), port});
    ASSERT_TRUE(recorder.waitFor("datagram:hello"));
    queue->post([&] { recorder.add("drained"); });
    ASSERT_TRUE(recorder.waitFor("drained"));
    const auto events = recorder.events();
    EXPECT_EQ(std::count(events.begin(), events.end(), "error:Connection refused"), 2);
    EXPECT_EQ(events.size(), 4u);

    SCOPED_TRACE("stopping is not an error");
    queue->post([&] {
        result.listener->stop();
        recorder.add("stopped");
    });
    ASSERT_TRUE(recorder.waitFor("stopped"));
    result.listener.reset();
    transport.reset();  // drains the network thread: any report would be posted by now
    queue->post([&] { recorder.add("drained"); });
    ASSERT_TRUE(recorder.waitFor("drained", 2));
    EXPECT_EQ(recorder.events().size(), 6u);
}

}  // namespace
}  // namespace tessiva
