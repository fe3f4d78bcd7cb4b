#include "midi/MirroredMIDIEvent.h"

#include <algorithm>
#include <array>

#include "midi/MIDIMessage.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

struct TypeName {
    std::string_view name;
    MIDIEventKind kind;
};

constexpr std::array<TypeName, 20> kTypeNames{{
    {"noteon", MIDIEventKind::noteOn},
    {"note_on", MIDIEventKind::noteOn},
    {"note-on", MIDIEventKind::noteOn},
    {"noteoff", MIDIEventKind::noteOff},
    {"note_off", MIDIEventKind::noteOff},
    {"note-off", MIDIEventKind::noteOff},
    {"controlchange", MIDIEventKind::controlChange},
    {"control_change", MIDIEventKind::controlChange},
    {"control-change", MIDIEventKind::controlChange},
    {"programchange", MIDIEventKind::programChange},
    {"program_change", MIDIEventKind::programChange},
    {"program-change", MIDIEventKind::programChange},
    {"pressure", MIDIEventKind::channelPressure},
    {"channelpressure", MIDIEventKind::channelPressure},
    {"channel_pressure", MIDIEventKind::channelPressure},
    {"channel-pressure", MIDIEventKind::channelPressure},
    {"aftertouch", MIDIEventKind::channelPressure},
    {"pitchbend", MIDIEventKind::pitchBend},
    {"pitch_bend", MIDIEventKind::pitchBend},
    {"pitch-bend", MIDIEventKind::pitchBend},
}};

// No accepted name is longer than this, so a longer ASCII name needs no lower-casing to reject.
constexpr std::size_t kLongestTypeName = 16;

std::optional<MIDIEventKind> kindNamed(std::string_view lowered) {
    for (const auto& entry : kTypeNames) {
        if (entry.name == lowered)
            return entry.kind;
    }
    return std::nullopt;
}

// Trims white space and newlines without copying.
std::string_view trimmedView(std::string_view input) {
    std::size_t begin = input.size();
    std::size_t end = 0;
    std::size_t offset = 0;
    while (offset < input.size()) {
        std::int32_t codePoint = 0;
        const std::size_t length = text::decodeCodePoint(input, offset, codePoint);
        if (codePoint < 0 || !text::isWhitespaceOrNewline(codePoint)) {
            begin = std::min(begin, offset);
            end = offset + length;
        }
        offset += length;
    }
    return begin < end ? input.substr(begin, end - begin) : std::string_view();
}

bool isASCII(std::string_view input) {
    return std::all_of(input.begin(), input.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::string undecodableMirroredMIDIDetail(std::string_view sender) {
    return "Could not decode " + std::string(kMirroredMIDIEventAddress) + " from " +
           std::string(sender);
}

MirroredMIDIDecodeResult decodeMirroredMIDIEvent(std::span<const OSCArgument> arguments,
                                                 std::string_view sender) {
    if (arguments.size() != 4 || !arguments[0].asString() || !arguments[1].asInt32() ||
        !arguments[2].asInt32() || !arguments[3].asInt32()) {
        return MirroredMIDIDecodeResult{std::nullopt, undecodableMirroredMIDIDetail(sender)};
    }
    return decodeMirroredMIDIEvent(*arguments[0].asString(), *arguments[1].asInt32(),
                                   *arguments[2].asInt32(), *arguments[3].asInt32());
}

MirroredMIDIDecodeResult decodeMirroredMIDIEvent(std::string_view typeName, std::int32_t channel,
                                                 std::int32_t data1, std::int32_t data2) {
    MirroredMIDIDecodeResult result;
    const std::string_view name = trimmedView(typeName);
    std::optional<MIDIEventKind> kind;
    std::string lowered;
    if (isASCII(name)) {
        if (name.size() <= kLongestTypeName) {
            std::array<char, kLongestTypeName> buffer{};
            std::transform(name.begin(), name.end(), buffer.begin(), [](char c) {
                return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
            });
            kind = kindNamed(std::string_view(buffer.data(), name.size()));
        }
        if (!kind)
            lowered = text::lowercased(name);
    } else {
        lowered = text::lowercased(name);
        kind = kindNamed(lowered);
    }
    if (!kind) {
        result.skippedDetail =
            "Unsupported mirrored MIDI type " + lowered + ". channel=" + std::to_string(channel) +
            " data1=" + std::to_string(data1) + " data2=" + std::to_string(data2);
        return result;
    }
    result.event =
        MirroredMIDIEvent{*kind, static_cast<std::uint8_t>(clampedMIDIChannel(channel) - 1),
                          clampedMIDIData(data1), clampedMIDIData(data2)};
    return result;
}

}  // namespace tessiva
