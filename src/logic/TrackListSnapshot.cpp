#include "logic/TrackListSnapshot.h"

#include <algorithm>

namespace tessiva {

bool TrackListSnapshot::add(const ParsedTrackHeader& header) {
    if (!header.name || header.name->empty() || header.index < 1)
        return false;
    return namesByIndex.emplace(header.index, *header.name).second;
}

std::string TrackListSnapshot::signature() const {
    std::string text;
    for (const auto& [index, name] : namesByIndex) {
        if (!text.empty())
            text += '|';
        text += std::to_string(index);
        text += ':';
        text += name;
    }
    return text;
}

std::map<std::string, std::vector<int>> TrackListSnapshot::indicesByTrackName() const {
    std::map<std::string, std::vector<int>> indices;
    for (const auto& [index, name] : namesByIndex)
        indices[name].push_back(index);
    return indices;
}

std::optional<int> TrackListSnapshot::highestIndex() const {
    if (namesByIndex.empty())
        return std::nullopt;
    return namesByIndex.rbegin()->first;
}

bool TrackListSnapshot::isContiguousFromOne() const {
    return !namesByIndex.empty() && namesByIndex.begin()->first == 1 &&
           namesByIndex.rbegin()->first == static_cast<int>(namesByIndex.size());
}

bool TrackListSnapshot::coversUpTo(int maximum) const {
    if (maximum < 1)
        return false;
    for (int index = 1; index <= maximum; ++index) {
        if (namesByIndex.count(index) == 0)
            return false;
    }
    return true;
}

std::optional<int> TrackListSnapshot::nextTrustedMaximum(std::optional<int> current) const {
    const auto highest = highestIndex();
    if (!highest)
        return current;
    if (isContiguousFromOne())
        return highest;
    return std::max(current.value_or(0), *highest);
}

}  // namespace tessiva
