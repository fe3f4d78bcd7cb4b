#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// One iPad that has spoken to this Mac. Identified by its peer ID, "host:port" with the host
// trimmed ("192.168.1.20:53000").
struct KnownPeer {
    std::string id;
    std::string host;
    std::uint16_t port = 0;
    std::optional<std::string> deviceName;
    double lastSeen = 0;

    bool operator==(const KnownPeer&) const = default;
};

std::string makePeerID(std::string_view host, std::uint16_t port);

}  // namespace tessiva
