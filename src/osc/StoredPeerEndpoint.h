#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessiva {

class UserDefaults;

// The last good iPad endpoint, remembered across launches so the Mac can ping it before the iPad
// speaks. Kept under "OSCDiscoveryManager.lastPeerHost" and "OSCDiscoveryManager.lastPeerPort".
struct StoredPeerEndpoint {
    static constexpr const char* kHostKey = "OSCDiscoveryManager.lastPeerHost";
    static constexpr const char* kPortKey = "OSCDiscoveryManager.lastPeerPort";

    std::string host;
    std::uint16_t port = 0;

    // Absent unless a host is stored and the port lies in 1 to 65535.
    static std::optional<StoredPeerEndpoint> load(const UserDefaults& defaults);
    void save(UserDefaults& defaults) const;

    // An IPv6 link-local host ("fe80:…" or "[fe80:…"), whose interface scope may be stale after a
    // wake or a network change, so it is only trusted for a short while.
    static bool isLinkLocalHost(const std::string& host);

    bool operator==(const StoredPeerEndpoint&) const = default;
};

}  // namespace tessiva
