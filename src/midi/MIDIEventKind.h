#pragma once

#include <cstddef>
#include <string_view>

namespace tessiva {

// The channel messages the iPad mirrors to the virtual source.
enum class MIDIEventKind {
    noteOn,
    noteOff,
    controlChange,
    programChange,
    channelPressure,
    pitchBend
};
inline constexpr std::string_view kMIDIEventKindNames[] = {
    "noteOn", "noteOff", "controlChange", "programChange", "channelPressure", "pitchBend"};
static_assert(std::size(kMIDIEventKindNames) ==
                  static_cast<std::size_t>(MIDIEventKind::pitchBend) + 1,
              "one name per MIDIEventKind");

inline std::string_view nameOf(MIDIEventKind kind) {
    return kMIDIEventKindNames[static_cast<std::size_t>(kind)];
}

}  // namespace tessiva
