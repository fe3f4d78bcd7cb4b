#pragma once

#include <optional>
#include <string>

namespace tessiva {

// One Logic selection as read from the Arrange track header: Logic's 1-based track number and,
// when the header carried one, the track name.
struct TrackSelection {
    int index = 0;
    std::optional<std::string> name;

    bool operator==(const TrackSelection&) const = default;
};

}  // namespace tessiva
