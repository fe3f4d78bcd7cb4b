#include "app/SelectionDedupe.h"

#include <cmath>
#include <string>

namespace tessiva {

std::int64_t wholeMilliseconds(double seconds) {
    const double ms = seconds * 1000.0;
    return static_cast<std::int64_t>(ms < 0 ? std::ceil(ms - 1e-6) : std::floor(ms + 1e-6));
}

std::string DedupeVerdict::detail() const {
    return "windowMs=" + std::to_string(windowMs) + " ageMs=" + std::to_string(ageMs);
}

DedupeVerdict checkRepeat(const std::optional<TrackSelection>& last, double lastTime,
                          const TrackSelection& incoming, double now, double windowSeconds) {
    DedupeVerdict verdict;
    verdict.windowMs = wholeMilliseconds(windowSeconds);
    if (!last || last->index != incoming.index || last->name != incoming.name)
        return verdict;
    const double age = now - lastTime;
    verdict.ageMs = wholeMilliseconds(age);
    verdict.duplicate = age < windowSeconds;
    return verdict;
}

}  // namespace tessiva
