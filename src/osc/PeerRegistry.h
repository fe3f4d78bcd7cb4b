#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "osc/KnownPeer.h"

namespace tessiva {

// The iPads known to this Mac and which one is active: the admission and no-take-over rules,
// without I/O. OSCDiscoveryManager owns one on its discovery queue and logs what it decides.
// A pure value type: tests use it directly.
class PeerRegistry {
  public:
    enum class Verdict { refusedEmptyHost, rejectedOtherActive, accepted };
    static constexpr std::array<std::string_view, 3> kVerdictNames = {
        "refusedEmptyHost", "rejectedOtherActive", "accepted"};
    static_assert(kVerdictNames.size() == static_cast<std::size_t>(Verdict::accepted) + 1,
                  "one name per Verdict");

    struct Registration {
        Verdict verdict = Verdict::refusedEmptyHost;
        std::string peerID;
        // Set for rejectedOtherActive: the peer that stays active.
        std::string activePeerID;
        bool isNewPeer = false;
        // True when this registration made the peer active ("first peer connected").
        bool becameActive = false;
    };

    // Admits the sender of a datagram that asks to be answered at host:port. While a peer is
    // active any other ID is rejected: there is no take-over until the active one is dropped.
    // `sourcePort`, when given, is the port the datagram came from; it is remembered as one of
    // the peer's own (see KnownPeer).
    Registration registerPeer(const std::string& host, std::uint16_t port,
                              const std::optional<std::string>& deviceName, double now,
                              std::optional<std::uint16_t> sourcePort = std::nullopt);

    // Makes a known peer active; false when the ID is unknown.
    bool setActivePeer(const std::string& id);
    // Forgets a peer; clears the active ID when it was the active one.
    void remove(const std::string& id);
    // Stores the active peer's announced name.
    void setDeviceName(const std::string& id, std::string name);

    const std::optional<std::string>& activePeerID() const { return activePeerID_; }
    const KnownPeer* activePeer() const;
    const KnownPeer* peer(const std::string& id) const;
    bool isActive(const std::string& id) const { return activePeerID_ && *activePeerID_ == id; }
    // True when a datagram from host:port comes from the active peer: its reply port or one of
    // the source ports its "/ping"s came from, on its host.
    bool isActiveSender(std::string_view host, std::uint16_t port) const;

  private:
    std::map<std::string, KnownPeer> knownPeersByID_;
    std::optional<std::string> activePeerID_;
};

}  // namespace tessiva
