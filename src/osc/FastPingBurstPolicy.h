#pragma once

#include <optional>

namespace tessiva {

// When a fast ping burst may start and how long it is: at most one burst per cooldown (4 s), four
// pings when the active iPad's endpoint is known, two when only a stored one might answer, 0.75 s
// apart. A pure value type owned by OSCDiscoveryManager on its discovery queue.
struct FastPingBurstPolicy {
    double cooldown = 4.0;
    double stepInterval = 0.75;
    int attemptsWithActivePeer = 4;
    int attemptsWithoutActivePeer = 2;

    // The number of pings for a burst starting now, or nullopt inside the cooldown.
    std::optional<int> attemptsForBurst(std::optional<double> lastBurstDate, double now,
                                        bool activePeerEndpointKnown) const {
        if (lastBurstDate && now - *lastBurstDate < cooldown)
            return std::nullopt;
        return activePeerEndpointKnown ? attemptsWithActivePeer : attemptsWithoutActivePeer;
    }
};

}  // namespace tessiva
