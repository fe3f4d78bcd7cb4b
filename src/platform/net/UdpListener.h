#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tessiva {

// One datagram received by a UdpListener, with the sender's address in text form ("127.0.0.1",
// "fe80::1%en0") and port.
struct UdpDatagram {
    std::vector<std::uint8_t> bytes;
    std::string host;
    std::uint16_t port = 0;
    // The owner's monotonic clock reading when it took the datagram off the socket's queue
    // (0 until stamped): what precisely timed work counts from.
    double receivedAt = 0;
};

// The inbound half of the UDP port: a socket bound to a local port that hands every datagram to
// its handler by posting to the queue its owner chose, and reports receive errors the same way.
// Made by UdpTransport::listen. In tests the Asio adapter runs on 127.0.0.1 with port 0
// (ephemeral).
class UdpListener {
  public:
    using DatagramHandler = std::function<void(UdpDatagram datagram)>;
    // One call per failed receive, with the system's description ("Connection refused"). A
    // transient error (a refusal reported by ICMP, a full buffer) leaves the listener receiving;
    // only an error that leaves the socket unusable ends it. Stopping is never reported.
    using ReceiveErrorHandler = std::function<void(std::string description)>;

    virtual ~UdpListener() = default;
    // The bound port (the ephemeral one when 0 was asked for).
    virtual std::uint16_t port() const = 0;
    // Closes the socket. Idempotent; the destructor stops too. Called on the delivery queue, it
    // also guarantees that no datagram already posted reaches the handler afterwards.
    virtual void stop() = 0;
};

}  // namespace tessiva
