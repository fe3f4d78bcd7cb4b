#include "midi/MIDIMessage.h"

#include <algorithm>

namespace tessiva {

namespace {
constexpr std::uint8_t kProgramChange = 0xC0;
constexpr std::uint8_t kNoteOn = 0x90;
constexpr std::uint8_t kNoteOff = 0x80;
constexpr std::uint8_t kControlChange = 0xB0;
constexpr std::uint8_t kChannelPressure = 0xD0;
constexpr std::uint8_t kPitchBend = 0xE0;

bool isDataByte(int value) {
    return value >= 0 && value <= 127;
}

std::uint8_t status(std::uint8_t kind, int channel) {
    return static_cast<std::uint8_t>(kind | (clampedMIDIChannel(channel) - 1));
}

std::optional<MIDIMessage> note(std::uint8_t kind, int number, int channel, int velocity) {
    if (!isDataByte(number))
        return std::nullopt;
    return MIDIMessage{
        {status(kind, channel), static_cast<std::uint8_t>(number), clampedMIDIData(velocity)}, 3};
}
}  // namespace

int clampedMIDIChannel(int channel) {
    return std::clamp(channel, 1, 16);
}

std::uint8_t clampedMIDIData(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 127));
}

std::optional<MIDIMessage> MIDIMessage::programChange(int program, int channel) {
    if (!isDataByte(program))
        return std::nullopt;
    return MIDIMessage{{status(kProgramChange, channel), static_cast<std::uint8_t>(program), 0}, 2};
}

std::optional<MIDIMessage> MIDIMessage::noteOn(int note, int channel, int velocity) {
    return tessiva::note(kNoteOn, note, channel, velocity);
}

std::optional<MIDIMessage> MIDIMessage::noteOff(int note, int channel, int velocity) {
    return tessiva::note(kNoteOff, note, channel, velocity);
}

MIDIMessage MIDIMessage::channelMessage(MIDIEventKind kind, std::uint8_t channelIndex,
                                        std::uint8_t data1, std::uint8_t data2) {
    const auto channel = static_cast<std::uint8_t>(std::min<int>(channelIndex, 15));
    const std::uint8_t first = clampedMIDIData(data1);
    const std::uint8_t second = clampedMIDIData(data2);
    switch (kind) {
        case MIDIEventKind::noteOn:
            return {{static_cast<std::uint8_t>(kNoteOn | channel), first, second}, 3};
        case MIDIEventKind::noteOff:
            return {{static_cast<std::uint8_t>(kNoteOff | channel), first, second}, 3};
        case MIDIEventKind::controlChange:
            return {{static_cast<std::uint8_t>(kControlChange | channel), first, second}, 3};
        case MIDIEventKind::programChange:
            return {{static_cast<std::uint8_t>(kProgramChange | channel), first, 0}, 2};
        case MIDIEventKind::channelPressure:
            return {{static_cast<std::uint8_t>(kChannelPressure | channel), first, 0}, 2};
        case MIDIEventKind::pitchBend:
            return {{static_cast<std::uint8_t>(kPitchBend | channel), first, second}, 3};
    }
    return {};
}

}  // namespace tessiva
