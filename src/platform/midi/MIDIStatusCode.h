#pragma once

#include <cstdint>

namespace tessiva {

// The status of a MIDI platform call: 0 is success, anything else a failure code. CoreMIDI's
// own codes pass through unchanged; other backends report the CoreMIDI code that means the same
// thing, so a failure line reads alike on every platform.
using MIDIStatusCode = std::int32_t;

namespace midistatus {
inline constexpr MIDIStatusCode kNoError = 0;
inline constexpr MIDIStatusCode kInvalidClient = -10830;
inline constexpr MIDIStatusCode kInvalidPort = -10831;
inline constexpr MIDIStatusCode kMessageSendError = -10838;
inline constexpr MIDIStatusCode kServerStartError = -10839;
inline constexpr MIDIStatusCode kObjectNotFound = -10842;
inline constexpr MIDIStatusCode kUnknownError = -10845;
}  // namespace midistatus

}  // namespace tessiva
