#pragma once

#include <cstdint>
#include <string>

namespace tessiva {

// A MIDI destination as the platform lists it. `id` is the backend's handle and stays the same
// while the destination exists; `name` is empty when the platform could not name it.
struct MIDIDestination {
    std::uint64_t id = 0;
    std::string name;

    bool operator==(const MIDIDestination&) const = default;
};

}  // namespace tessiva
