#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/net/UdpTransport.h"
#include "runtime/Queue.h"

namespace tessiva::testing {

// A UDP connection that records what it is asked to do; the test decides how sends complete and
// which states it enters. Callbacks go to the owner's queue, as with the real one.
class FakeUdpConnection final : public UdpConnection {
  public:
    FakeUdpConnection(std::string host, std::uint16_t port, Queue& queue, StateHandler handler)
        : host_(std::move(host)), port_(port), queue_(queue), handler_(std::move(handler)) {}

    void start() override { started_ = true; }
    void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override {
        std::lock_guard lock(mutex_);
        sent_.push_back(std::move(datagram));
        completions_.push_back(std::move(completion));
    }
    void cancel() override { enter(UdpConnectionState::cancelled); }
    UdpConnectionState state() const override { return state_; }
    const std::string& host() const override { return host_; }
    std::uint16_t port() const override { return port_; }

    void completeSend(std::size_t index, std::optional<std::string> error) {
        std::lock_guard lock(mutex_);
        queue_.post([completion = completions_.at(index), error] { completion(error); });
    }
    void enter(UdpConnectionState state, std::string error = {}) {
        state_ = state;
        queue_.post([handler = handler_, state, error] { handler(state, error); });
    }
    std::vector<std::vector<std::uint8_t>> sent() const {
        std::lock_guard lock(mutex_);
        return sent_;
    }
    bool started() const { return started_; }
    Queue& queue() const { return queue_; }

  private:
    mutable std::mutex mutex_;
    std::string host_;
    std::uint16_t port_;
    Queue& queue_;
    StateHandler handler_;
    std::atomic<UdpConnectionState> state_{UdpConnectionState::setup};
    std::atomic<bool> started_{false};
    std::vector<std::vector<std::uint8_t>> sent_;
    std::vector<SendCompletion> completions_;
};

class FakeUdpTransport final : public UdpTransport {
  public:
    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& queue,
                                                  UdpConnection::StateHandler handler) override {
        auto connection =
            std::make_shared<FakeUdpConnection>(host, port, queue, std::move(handler));
        std::lock_guard lock(mutex_);
        connections_.push_back(connection);
        return connection;
    }
    UdpListenResult listen(const UdpListenOptions&, Queue&, UdpListener::DatagramHandler) override {
        return {nullptr, "FakeUdpTransport does not listen"};
    }
    std::vector<std::shared_ptr<FakeUdpConnection>> connections() const {
        std::lock_guard lock(mutex_);
        return connections_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<FakeUdpConnection>> connections_;
};

}  // namespace tessiva::testing
