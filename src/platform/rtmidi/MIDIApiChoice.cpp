#include "platform/rtmidi/MIDIApiChoice.h"

#include <algorithm>

#include "runtime/Text.h"

namespace tessiva {

namespace {
bool has(const std::vector<MIDIApi>& compiled, MIDIApi api) {
    return std::find(compiled.begin(), compiled.end(), api) != compiled.end();
}
std::string_view nameOf(MIDIApi api) {
    return kMIDIApiNames[static_cast<std::size_t>(api)];
}
}  // namespace

MIDIApiChoice chooseMIDIApi(std::optional<std::string_view> forced,
                            const std::vector<MIDIApi>& compiled,
                            const std::function<bool()>& jackServerRunning) {
    const std::string wanted = forced ? text::lowercased(text::trimmed(*forced)) : std::string();
    if (!wanted.empty()) {
        for (std::size_t i = 0; i < std::size(kMIDIApiNames); ++i) {
            if (wanted != kMIDIApiNames[i])
                continue;
            const auto api = static_cast<MIDIApi>(i);
            if (has(compiled, api))
                return {api, {}};
            return {std::nullopt, std::string(kMIDIApiEnvironmentVariable) + "=" + wanted +
                                      " asks for an API this RtMidi was built without"};
        }
        return {std::nullopt, std::string(kMIDIApiEnvironmentVariable) + "=" + wanted +
                                  " is not one of coremidi, jack, alsa"};
    }
    if (has(compiled, MIDIApi::coreMIDI))
        return {MIDIApi::coreMIDI, {}};
    if (has(compiled, MIDIApi::jack) && jackServerRunning && jackServerRunning()) {
        return {MIDIApi::jack, {}};
    }
    if (has(compiled, MIDIApi::alsa))
        return {MIDIApi::alsa, {}};
    if (has(compiled, MIDIApi::jack))
        return {MIDIApi::jack, {}};
    std::string problem = "RtMidi was built without a usable MIDI API (";
    for (std::size_t i = 0; i < compiled.size(); ++i) {
        problem += (i ? ", " : "") + std::string(nameOf(compiled[i]));
    }
    return {std::nullopt, problem + ")"};
}

}  // namespace tessiva
