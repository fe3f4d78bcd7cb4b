#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessiva {

// Where the active iPad listens.
struct PeerEndpoint {
    std::string host;
    std::uint16_t port = 0;
    bool operator==(const PeerEndpoint&) const = default;
};

// Answers "where is the active iPad?" for senders such as the selection routing. The iPad link
// (OSCDiscoveryManager) is the production provider; tests use a fixed endpoint.
class PeerEndpointProvider {
  public:
    virtual ~PeerEndpointProvider() = default;
    virtual std::optional<PeerEndpoint> activePeerEndpoint() const = 0;
};

}  // namespace tessiva
