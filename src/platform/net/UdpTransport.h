#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/net/UdpConnection.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

class Queue;

struct UdpListenOptions {
    // 0 asks for an ephemeral port.
    std::uint16_t port = 0;
    // "::" (every address, IPv4 too), "0.0.0.0", or "127.0.0.1" for tests.
    std::string bindHost = "::";
    // Lets a restarted program bind the port again at once (address and port reuse).
    bool reuseAddress = true;
    // Told of receive errors on the delivery queue; none means they are dropped.
    UdpListener::ReceiveErrorHandler receiveErrorHandler{};
    // Optional: sees each datagram first, on the adapter's own network thread, and returns true
    // when it has dealt with it (then it is not posted to the delivery queue). For work that
    // must not wait for a thread to wake, like mirrored MIDI. It must be quick and thread-safe.
    // Adapters without a network thread (test doubles) may ignore it.
    std::function<bool(const UdpDatagram&)> networkThreadFilter{};
};

// A listener, or why there is none ("Address already in use").
struct UdpListenResult {
    std::unique_ptr<UdpListener> listener;
    std::string error;
    bool ok() const { return listener != nullptr; }
};

// The UDP port: makes connected senders and listeners. The network work runs on the adapter's
// own thread; results are posted to the queues given here, which must outlive what is made.
// Production and real-socket tests use the Asio adapter (makeUdpTransport); unit tests use a
// SimulatedUdpTransport.
class UdpTransport {
  public:
    virtual ~UdpTransport() = default;

    // A connection to host:port, not yet started. `callbackQueue` receives every state change and
    // send completion.
    virtual std::shared_ptr<UdpConnection> makeConnection(
        const std::string& host, std::uint16_t port, Queue& callbackQueue,
        UdpConnection::StateHandler stateHandler) = 0;

    // Binds and starts receiving; each datagram is posted to `deliveryQueue` for `handler`, each
    // receive error for `options.receiveErrorHandler`.
    virtual UdpListenResult listen(const UdpListenOptions& options, Queue& deliveryQueue,
                                   UdpListener::DatagramHandler handler) = 0;
};

// The platform's UDP transport (the Asio adapter on every platform we build).
std::unique_ptr<UdpTransport> makeUdpTransport();

}  // namespace tessiva
