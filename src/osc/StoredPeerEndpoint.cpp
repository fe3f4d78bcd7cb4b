#include "osc/StoredPeerEndpoint.h"

#include "runtime/Text.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

std::optional<StoredPeerEndpoint> StoredPeerEndpoint::load(const UserDefaults& defaults) {
    auto host = defaults.string(kHostKey);
    auto port = defaults.integer(kPortKey);
    if (!host || !port || *port < 1 || *port > 65535)
        return std::nullopt;
    return StoredPeerEndpoint{*host, static_cast<std::uint16_t>(*port)};
}

void StoredPeerEndpoint::save(UserDefaults& defaults) const {
    defaults.setString(kHostKey, host);
    defaults.setInteger(kPortKey, port);
}

bool StoredPeerEndpoint::isLinkLocalHost(const std::string& host) {
    const std::string lowered = text::lowercased(text::trimmed(host));
    return lowered.rfind("fe80:", 0) == 0 || lowered.rfind("[fe80:", 0) == 0;
}

}  // namespace tessiva
