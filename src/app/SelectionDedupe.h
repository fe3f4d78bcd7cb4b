#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "logic/TrackSelection.h"

namespace tessiva {

// The router's window absorbs the observer's bursts; the handler's keeps a re-reported selection
// from re-sending output. They differ on purpose.
inline constexpr double kRouterDedupeWindowSeconds = 0.5;
inline constexpr double kHandlerDedupeWindowSeconds = 4.0;

// An interval in whole milliseconds, truncated toward zero. A hair of tolerance keeps binary
// fractions such as 0.49999999997 s from reading one millisecond short.
std::int64_t wholeMilliseconds(double seconds);

struct DedupeVerdict {
    bool duplicate = false;
    std::int64_t ageMs = 0;     // age of the remembered selection; meaningful when duplicate
    std::int64_t windowMs = 0;  // the window, for the stage detail
    // "windowMs=500 ageMs=120"
    std::string detail() const;
};

// Is `incoming` a repeat of `last` (same row, same name, both absent counting as equal) seen less
// than `windowSeconds` ago? Pure; the router and the handler each keep their own `last`.
DedupeVerdict checkRepeat(const std::optional<TrackSelection>& last, double lastTime,
                          const TrackSelection& incoming, double now, double windowSeconds);

}  // namespace tessiva
