#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "logic/TrackHeader.h"

namespace tessiva {

// One capture of Logic's visible track list: track number to name. Tracks hidden in a collapsed
// Track Stack are absent, so numbers can have gaps. A pure value; the observer builds it on the
// selection queue and publishes it on the main queue.
struct TrackListSnapshot {
    std::map<int, std::string> namesByIndex;

    bool operator==(const TrackListSnapshot&) const = default;
    bool empty() const { return namesByIndex.empty(); }
    std::size_t size() const { return namesByIndex.size(); }

    // Adds a header with a number and a non-empty name unless the number is already present
    // (the first header found wins). Returns whether it was added.
    bool add(const ParsedTrackHeader& header);

    // Entries in ascending number order as "number:name", joined by "|".
    std::string signature() const;
    // Every name with all the numbers that carry it, ascending.
    std::map<std::string, std::vector<int>> indicesByTrackName() const;
    std::optional<int> highestIndex() const;
    // True when the numbers are exactly 1...highest: nothing is hidden.
    bool isContiguousFromOne() const;
    // True when every number from 1 to `maximum` has a row.
    bool coversUpTo(int maximum) const;

    // The highest track number known to exist after this capture: a complete list sets it, a
    // list with gaps (collapsed stacks) can only raise it.
    std::optional<int> nextTrustedMaximum(std::optional<int> current) const;
};

}  // namespace tessiva
