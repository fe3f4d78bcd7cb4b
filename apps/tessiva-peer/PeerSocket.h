#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessiva::peer {

// One received datagram and where it came from.
struct Received {
    std::vector<std::uint8_t> bytes;
    std::string host;
    std::uint16_t port = 0;
};

// The command-line iPad's single UDP socket: it sends from the port it listens on, as the iPad
// app does, so the Mac's replies come back to it. IPv4 only; the tests use 127.0.0.1.
class PeerSocket {
  public:
    PeerSocket() = default;
    ~PeerSocket();
    PeerSocket(const PeerSocket&) = delete;
    PeerSocket& operator=(const PeerSocket&) = delete;

    // Binds host:port (0: ephemeral). On failure returns the error text.
    std::optional<std::string> bind(const std::string& host, std::uint16_t port);
    std::uint16_t boundPort() const { return boundPort_; }

    // On failure returns the error text.
    std::optional<std::string> sendTo(const std::string& host, std::uint16_t port,
                                      const std::vector<std::uint8_t>& bytes);
    // Waits up to `seconds` for one datagram.
    std::optional<Received> receive(double seconds);

  private:
    int fd_ = -1;
    std::uint16_t boundPort_ = 0;
};

}  // namespace tessiva::peer
