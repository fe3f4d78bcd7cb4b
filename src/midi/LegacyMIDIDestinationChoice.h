#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/midi/MIDIDestination.h"

namespace tessiva {

// How a destination without a readable name is shown.
inline constexpr std::string_view kUnknownMIDIDestinationName = "<Unknown>";

// The destination the legacy relay sends to, with the name it is shown under.
struct LegacyMIDIDestinationChoice {
    MIDIDestination destination;
    std::string displayName;
};

// Picks the legacy destination from the platform's list, in enumeration order: the first whose
// name contains "Session 1" (ignoring case), else the first containing "Network", else the
// first. Network MIDI sessions are what users connect a Mac to an iPad with, so they win.
// Destinations with an empty name read "<Unknown>". Pure.
std::optional<LegacyMIDIDestinationChoice> chooseLegacyMIDIDestination(
    std::span<const MIDIDestination> destinations);

}  // namespace tessiva
