#include "midi/LegacyMIDIDestinationChoice.h"

#include <vector>

#include "runtime/Text.h"

namespace tessiva {

namespace {
std::string displayNameOf(const MIDIDestination& destination) {
    return destination.name.empty() ? std::string(kUnknownMIDIDestinationName) : destination.name;
}
}  // namespace

std::optional<LegacyMIDIDestinationChoice> chooseLegacyMIDIDestination(
    std::span<const MIDIDestination> destinations) {
    if (destinations.empty())
        return std::nullopt;
    std::vector<std::string> folded;
    folded.reserve(destinations.size());
    for (const auto& destination : destinations) {
        folded.push_back(text::lowercased(displayNameOf(destination)));
    }
    for (const std::string_view wanted :
         {std::string_view("session 1"), std::string_view("network")}) {
        for (std::size_t i = 0; i < destinations.size(); ++i) {
            if (folded[i].find(wanted) != std::string::npos) {
                return LegacyMIDIDestinationChoice{destinations[i], displayNameOf(destinations[i])};
            }
        }
    }
    return LegacyMIDIDestinationChoice{destinations.front(), displayNameOf(destinations.front())};
}

}  // namespace tessiva
