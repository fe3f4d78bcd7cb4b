#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "midi/MirroredMIDIEvent.h"

namespace tessiva {
namespace {

std::vector<OSCArgument> event(std::string type, std::int32_t channel, std::int32_t d1,
                               std::int32_t d2) {
    return {OSCArgument::string(std::move(type)), OSCArgument::int32(channel),
            OSCArgument::int32(d1), OSCArgument::int32(d2)};
}

MirroredMIDIDecodeResult decode(const std::vector<OSCArgument>& args) {
    return decodeMirroredMIDIEvent(args, "127.0.0.1:53001");
}

TEST(MirroredMIDIEvent, EverySpellingDecodesAndValuesAreClampedNotRefused) {
    std::vector<std::pair<std::string, MIDIEventKind>> table{
        {"pressure", MIDIEventKind::channelPressure},
        {"aftertouch", MIDIEventKind::channelPressure}};
    // Each two-word name is read run together, with an underscore and with a hyphen.
    const std::tuple<std::string, std::string, MIDIEventKind> words[] = {
        {"note", "on", MIDIEventKind::noteOn},
        {"note", "off", MIDIEventKind::noteOff},
        {"control", "change", MIDIEventKind::controlChange},
        {"program", "change", MIDIEventKind::programChange},
        {"channel", "pressure", MIDIEventKind::channelPressure},
        {"pitch", "bend", MIDIEventKind::pitchBend},
    };
    for (const auto& [first, second, kind] : words) {
        for (const char* joint : {"", "_", "-"})
            table.emplace_back(first + joint + second, kind);
    }
    for (const auto& [name, kind] : table) {
        EXPECT_EQ(decode(event(name, 3, 60, 100)).event, (MirroredMIDIEvent{kind, 2, 60, 100}))
            << name;
    }

    SCOPED_TRACE("names are trimmed and compared without case");
    for (const std::string name :
         {"Note_On", "NOTEON", "  note-on\n", "\tNoteOn\u00A0", "\u2003NOTE_ON\r\n"}) {
        EXPECT_EQ(decode(event(name, 1, 1, 1)).event,
                  (MirroredMIDIEvent{MIDIEventKind::noteOn, 0, 1, 1}))
            << name;
    }

    SCOPED_TRACE("channel and data are clamped, not refused");
    // Status 0x90 for channel 1 and below, 0x9F for 16 and above.
    for (const auto& [given, channel] : {std::pair{0, 0}, {-7, 0}, {1, 0}, {16, 15}, {20, 15}})
        EXPECT_EQ(decode(event("noteon", given, 60, 1)).event->channel, channel) << given;
    EXPECT_EQ(decode(event("controlchange", 2, 200, -5)).event,
              (MirroredMIDIEvent{MIDIEventKind::controlChange, 1, 127, 0}));
    EXPECT_EQ(decode(event("pitchbend", INT32_MIN, INT32_MAX, INT32_MIN)).event,
              (MirroredMIDIEvent{MIDIEventKind::pitchBend, 0, 127, 0}));
}

TEST(MirroredMIDIEvent, EverySkippedEventSaysWhy) {
    const std::string undecodable = "Could not decode /tessiva/midi/event from 127.0.0.1:53001";
    SCOPED_TRACE("the argument list must be exactly s i i i");
    for (const std::string tags : {"", "sii", "siiii", "isii", "sfii", "siis"}) {
        std::vector<OSCArgument> args;
        for (char tag : tags) {
            args.push_back(tag == 's'   ? OSCArgument::string("noteon")
                           : tag == 'f' ? OSCArgument::float32(1.0f)
                                        : OSCArgument::int32(1));
        }
        const auto result = decode(args);
        EXPECT_FALSE(result.event) << tags;
        EXPECT_EQ(result.skippedDetail, undecodable);
    }

    SCOPED_TRACE("unknown types name the normalised type and the raw values");
    auto poly = decode(event(" Poly_Pressure ", 0, 200, -5));
    EXPECT_FALSE(poly.event);
    EXPECT_EQ(poly.skippedDetail,
              "Unsupported mirrored MIDI type poly_pressure. channel=0 data1=200 data2=-5");
    EXPECT_EQ(decode(event("", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type . channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("SystemExclusiveMessage", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type systemexclusivemessage. channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("NOTEÖN", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type noteön. channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("note on", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type note on. channel=1 data1=2 data2=3");
}

}  // namespace
}  // namespace tessiva
