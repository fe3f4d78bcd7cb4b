#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/net/UdpTransport.h"

namespace tessiva {

// An in-memory UdpTransport: what the Mac sends is recorded with its endpoint instead of put on
// the network, and the test plays the other side — it feeds datagrams and receive errors to the
// open listener, completes sends and moves connections between states, or lets that happen at
// once. Every callback is posted to the queue its owner gave, as with the Asio adapter; the
// methods may be called from any thread. Stands in for the Asio adapter in unit tests; tests of
// the sockets themselves use the real one on 127.0.0.1.
class SimulatedUdpTransport final : public UdpTransport {
  public:
    struct Options {
        // Started connections report ready at once; otherwise they stay in setup until enter().
        bool readyOnStart = true;
        // Sends complete at once (with failSends' error, if set); otherwise completeSend does it.
        bool completeSendsAtOnce = true;
    };

    // One datagram sent by a connection.
    struct Sent {
        std::string host;
        std::uint16_t port = 0;
        std::vector<std::uint8_t> bytes;
    };

    // The port an ephemeral listen (port 0) is given.
    static constexpr std::uint16_t kEphemeralPort = 49999;

    class Connection;
    struct Shared;

    SimulatedUdpTransport();
    explicit SimulatedUdpTransport(Options options);
    ~SimulatedUdpTransport() override;

    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& callbackQueue,
                                                  UdpConnection::StateHandler handler) override;
    UdpListenResult listen(const UdpListenOptions& options, Queue& deliveryQueue,
                           UdpListener::DatagramHandler handler) override;

    // Every datagram sent so far on any connection, in order.
    std::vector<Sent> sent() const;
    void clearSent();
    // Every connection made so far, in order.
    std::vector<std::shared_ptr<Connection>> connections() const;

    // While set, listen fails with this description ("Address already in use").
    void refuseListen(std::optional<std::string> error);
    // While set, sends completed at once report this error ("Connection refused").
    void failSends(std::optional<std::string> error);

    // The peer at host:port sends `bytes` to the open listener; dropped when none listens.
    void deliver(const std::string& host, std::uint16_t port, std::vector<std::uint8_t> bytes);
    // The open listener fails one receive, as a refusal learnt from ICMP does.
    void failReceive(std::string description);
    bool listening() const;
    // The options of the last successful listen, and how many there were.
    std::optional<UdpListenOptions> lastListenOptions() const;
    int listenCount() const;

  private:
    std::shared_ptr<Shared> shared_;
    // Owned here, not in Shared: each connection holds Shared, and a cycle would leak both.
    std::vector<std::shared_ptr<Connection>> connections_;  // guarded by shared_->mutex
};

// A connection made by SimulatedUdpTransport. Once cancelled it posts nothing more.
class SimulatedUdpTransport::Connection final : public UdpConnection {
  public:
    Connection(std::shared_ptr<Shared> shared, std::string host, std::uint16_t port, Queue& queue,
               StateHandler handler);

    void start() override;
    void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override;
    void cancel() override;
    UdpConnectionState state() const override { return state_; }
    const std::string& host() const override { return host_; }
    std::uint16_t port() const override { return port_; }

    // Completes the send with this index (0 is the first) on the callback queue.
    void completeSend(std::size_t index, std::optional<std::string> error);
    // Enters `state` and reports it on the callback queue.
    void enter(UdpConnectionState state, std::string error = {});
    // The datagrams sent on this connection, in order.
    std::vector<std::vector<std::uint8_t>> sent() const;
    bool started() const { return started_; }
    Queue& queue() const { return queue_; }

  private:
    void post(std::function<void()> work);

    std::shared_ptr<Shared> shared_;
    std::string host_;
    std::uint16_t port_;
    Queue& queue_;
    StateHandler handler_;
    std::atomic<UdpConnectionState> state_{UdpConnectionState::setup};
    std::atomic<bool> started_{false};
    mutable std::mutex mutex_;
    std::vector<std::vector<std::uint8_t>> sent_;
    std::vector<SendCompletion> completions_;
};

}  // namespace tessiva
