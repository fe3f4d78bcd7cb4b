#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "midi/MIDIEventKind.h"
#include "osc/OSCArgument.h"

namespace tessiva {

// The OSC address of one MIDI event mirrored from the iPad.
inline constexpr const char* kMirroredMIDIEventAddress = "/tessiva/midi/event";
// Event-log title of every mirrored event that is dropped.
inline constexpr const char* kMirroredMIDISkippedTitle = "Mirrored MIDI skipped";

// One mirrored event, normalised and ready for the virtual source: `channel` is 0-15, data
// bytes 0...127.
struct MirroredMIDIEvent {
    MIDIEventKind kind = MIDIEventKind::noteOn;
    std::uint8_t channel = 0;
    std::uint8_t data1 = 0;
    std::uint8_t data2 = 0;

    bool operator==(const MirroredMIDIEvent&) const = default;
};

// Either the event, or the detail to log under kMirroredMIDISkippedTitle.
struct MirroredMIDIDecodeResult {
    std::optional<MirroredMIDIEvent> event;
    std::string skippedDetail;
};

// Decodes the arguments of "/tessiva/midi/event" as the OSC codec read them: exactly a string
// (the event type name) and three int32 (channel 1-16, data 1, data 2). The type name is
// trimmed and lower-cased, then matched against "noteon", "note_on", "note-on" and the other
// spellings; the channel is clamped into 1-16 and made 0-based; data values are clamped into
// 0...127. `sender` ("host:port") only names the peer in the skip detail. Pure; it does not
// allocate for an accepted event whose type name is ASCII, so the mirrored-MIDI queue can call
// it for every datagram.
MirroredMIDIDecodeResult decodeMirroredMIDIEvent(std::span<const OSCArgument> arguments,
                                                 std::string_view sender);

// The same from the four values as they came off the wire, for a link that reads them without
// building OSCArguments. Only an unsupported type name can be refused here.
MirroredMIDIDecodeResult decodeMirroredMIDIEvent(std::string_view typeName, std::int32_t channel,
                                                 std::int32_t data1, std::int32_t data2);

// The skip detail for a datagram whose arguments the codec could not read at all.
std::string undecodableMirroredMIDIDetail(std::string_view sender);

}  // namespace tessiva
