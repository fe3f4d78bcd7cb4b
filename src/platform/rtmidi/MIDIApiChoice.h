#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// The platform MIDI services RtMidi can speak to.
enum class MIDIApi { coreMIDI, jack, alsa };
// The spellings accepted in TESSIVA_MIDI_API, indexed by MIDIApi.
inline constexpr std::string_view kMIDIApiNames[] = {"coremidi", "jack", "alsa"};
static_assert(std::size(kMIDIApiNames) == static_cast<std::size_t>(MIDIApi::alsa) + 1,
              "one name per MIDIApi");

// The environment variable that forces one MIDI API.
inline constexpr const char* kMIDIApiEnvironmentVariable = "TESSIVA_MIDI_API";

// Which API to use, or why none can be used.
struct MIDIApiChoice {
    std::optional<MIDIApi> api;
    std::string problem;
};

// Picks the MIDI API: a forced value (trimmed, any case) wins when it names a compiled API;
// otherwise CoreMIDI where it exists, then JACK while a JACK server runs, then ALSA, then JACK
// anyway (it will report that no server runs). `jackServerRunning` is asked only when the
// answer matters. Pure apart from that probe.
MIDIApiChoice chooseMIDIApi(std::optional<std::string_view> forced,
                            const std::vector<MIDIApi>& compiled,
                            const std::function<bool()>& jackServerRunning);

}  // namespace tessiva
