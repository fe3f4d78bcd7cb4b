#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// One iPad that has spoken to this Mac. Identified by its peer ID, "host:port" with the host
// trimmed and the reply port it announced ("192.168.1.20:53000"). An iPad may send from another
// port than the one it listens on: the source ports its "/ping"s came from are kept so that its
// requests from those ports count as its own.
struct KnownPeer {
    // The most source ports remembered per peer; the oldest is forgotten first.
    static constexpr std::size_t kMaxSourcePorts = 4;

    std::string id;
    std::string host;
    std::uint16_t port = 0;
    std::optional<std::string> deviceName;
    double lastSeen = 0;
    std::vector<std::uint16_t> sourcePorts;

    // True when a datagram from host:port comes from this iPad.
    bool isSender(std::string_view senderHost, std::uint16_t senderPort) const;

    bool operator==(const KnownPeer&) const = default;
};

std::string makePeerID(std::string_view host, std::uint16_t port);

}  // namespace tessiva
