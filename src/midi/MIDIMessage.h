#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "midi/MIDIEventKind.h"

namespace tessiva {

// One MIDI channel message of one to three bytes, built by value so that sending never
// allocates. The factories hold the byte rules: channels given as 1-16 are clamped into range,
// and the legacy messages refuse a program or note outside 0...127 rather than bend it.
struct MIDIMessage {
    std::array<std::uint8_t, 3> bytes{};
    std::uint8_t size = 0;

    std::span<const std::uint8_t> view() const { return {bytes.data(), size}; }
    bool operator==(const MIDIMessage&) const = default;

    // Legacy relay messages; nullopt when program or note lies outside 0...127.
    static std::optional<MIDIMessage> programChange(int program, int channel);
    static std::optional<MIDIMessage> noteOn(int note, int channel, int velocity);
    static std::optional<MIDIMessage> noteOff(int note, int channel, int velocity);

    // A mirrored channel message: `channelIndex` is 0-15 and data bytes 0...127 (larger values
    // are clamped); program change and channel pressure carry data 1 only.
    static MIDIMessage channelMessage(MIDIEventKind kind, std::uint8_t channelIndex,
                                      std::uint8_t data1, std::uint8_t data2);
};

// A channel given as 1-16: below 1 becomes 1, above 16 becomes 16.
int clampedMIDIChannel(int channel);
// A data value clamped into 0...127.
std::uint8_t clampedMIDIData(int value);

}  // namespace tessiva
