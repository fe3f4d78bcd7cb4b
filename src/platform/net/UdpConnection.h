#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// Where a connected UDP sender stands. `waiting` means the peer refused the last datagram
// (nothing listens there); the next send reports that error and the connection stays usable.
enum class UdpConnectionState { setup, ready, waiting, failed, cancelled };

inline constexpr std::array<std::string_view, 5> kUdpConnectionStateNames = {
    "setup", "ready", "waiting", "failed", "cancelled"};
static_assert(static_cast<std::size_t>(UdpConnectionState::cancelled) + 1 ==
              kUdpConnectionStateNames.size());

inline std::string_view stateName(UdpConnectionState state) {
    return kUdpConnectionStateNames[static_cast<std::size_t>(state)];
}

// A UDP socket connected to one remote endpoint: the outbound half of the UDP port. Made by
// UdpTransport::makeConnection; every callback is posted to the queue given there, never run on
// the network thread. Datagrams sent before the connection is ready are held and sent in order
// once it is. In tests the Asio adapter stands in on 127.0.0.1, or SimulatedUdpTransport.
class UdpConnection {
  public:
    // nullopt on success, else the error's description ("Connection refused").
    using SendCompletion = std::function<void(std::optional<std::string> error)>;
    // The new state and, for waiting and failed, the error's description.
    using StateHandler = std::function<void(UdpConnectionState state, const std::string& error)>;

    virtual ~UdpConnection() = default;

    // Resolves the host and connects; the state handler then reports ready or failed.
    virtual void start() = 0;
    // Sends one complete datagram. The completion runs once on the callback queue, unless the
    // connection is cancelled first.
    virtual void send(std::vector<std::uint8_t> datagram, SendCompletion completion) = 0;
    // Closes the socket; reports `cancelled`, then nothing more is posted.
    virtual void cancel() = 0;
    virtual UdpConnectionState state() const = 0;
    // The remote host and port as given to makeConnection.
    virtual const std::string& host() const = 0;
    virtual std::uint16_t port() const = 0;
};

}  // namespace tessiva
