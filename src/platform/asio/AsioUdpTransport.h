#pragma once

#include <memory>

#include "platform/net/UdpTransport.h"

namespace tessiva {

// The UDP port over Asio: one network thread per transport runs every socket; results are posted
// to the owners' queues. Connected sockets keep a receive armed so that a refusal from the peer
// (ICMP port unreachable) is noticed at once: the connection reports `waiting` and its next send
// fails with "Connection refused". Listeners report each receive error and keep receiving unless
// the socket itself is gone. Tests use it directly on 127.0.0.1.
class AsioUdpTransport final : public UdpTransport {
  public:
    AsioUdpTransport();
    ~AsioUdpTransport() override;
    AsioUdpTransport(const AsioUdpTransport&) = delete;
    AsioUdpTransport& operator=(const AsioUdpTransport&) = delete;

    std::shared_ptr<UdpConnection> makeConnection(
        const std::string& host, std::uint16_t port, Queue& callbackQueue,
        UdpConnection::StateHandler stateHandler) override;
    UdpListenResult listen(const UdpListenOptions& options, Queue& deliveryQueue,
                           UdpListener::DatagramHandler handler) override;

    class NetworkThread;

  private:
    std::shared_ptr<NetworkThread> network_;
};

}  // namespace tessiva
