#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/net/UdpTransport.h"
#include "runtime/Queue.h"

namespace tessiva {

// A UdpTransport that keeps every datagram its connections send, with the endpoint, instead of
// putting it on the network. Connections report ready when started and complete every send at
// once (on their callback queue). Unit tests of the app layer; the integration test uses the Asio
// transport on 127.0.0.1.
class RecordingUdpTransport final : public UdpTransport {
  public:
    struct Sent {
        std::string host;
        std::uint16_t port = 0;
        std::vector<std::uint8_t> bytes;
    };

    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& callbackQueue,
                                                  UdpConnection::StateHandler handler) override {
        return std::make_shared<Connection>(*this, host, port, callbackQueue, std::move(handler));
    }
    UdpListenResult listen(const UdpListenOptions&, Queue&, UdpListener::DatagramHandler) override {
        return UdpListenResult{nullptr, "listening is not recorded"};
    }

    std::vector<Sent> sent() const {
        std::lock_guard lock(mutex_);
        return sent_;
    }
    void clear() {
        std::lock_guard lock(mutex_);
        sent_.clear();
    }

  private:
    class Connection final : public UdpConnection {
      public:
        Connection(RecordingUdpTransport& owner, std::string host, std::uint16_t port, Queue& queue,
                   StateHandler handler)
            : owner_(owner),
              host_(std::move(host)),
              port_(port),
              queue_(queue),
              handler_(std::move(handler)) {}
        void start() override {
            state_ = UdpConnectionState::ready;
            auto handler = handler_;
            queue_.post([handler] {
                if (handler)
                    handler(UdpConnectionState::ready, {});
            });
        }
        void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override {
            {
                std::lock_guard lock(owner_.mutex_);
                owner_.sent_.push_back(Sent{host_, port_, std::move(datagram)});
            }
            queue_.post([completion] {
                if (completion)
                    completion(std::nullopt);
            });
        }
        void cancel() override { state_ = UdpConnectionState::cancelled; }
        UdpConnectionState state() const override { return state_; }
        const std::string& host() const override { return host_; }
        std::uint16_t port() const override { return port_; }

      private:
        RecordingUdpTransport& owner_;
        std::string host_;
        std::uint16_t port_;
        Queue& queue_;
        StateHandler handler_;
        UdpConnectionState state_ = UdpConnectionState::setup;
    };

    mutable std::mutex mutex_;
    std::vector<Sent> sent_;
};

}  // namespace tessiva
