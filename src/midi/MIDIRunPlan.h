#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tessiva {

// One note-on or note-off of a scheduled run, at its offset from the run's start (the moment the
// Mac received the run plus its start delay).
struct MIDIRunEvent {
    std::int64_t offsetNanoseconds = 0;
    bool isNoteOn = false;
    std::uint8_t note = 0;
    bool operator==(const MIDIRunEvent&) const = default;
};

// A run the iPad composed, checked and laid out in time. The payload's fields are kept for the
// log; `events` is the whole timeline in playing order: at equal offsets note-offs come before
// note-ons, so a repeated pitch is released before it is struck again. A note held past the next
// strike of the same pitch is released at that strike (a later note-off would cut the new note).
struct MIDIRunPlan {
    // The largest values a run may ask for: enough for any phrase, small enough that a typo in a
    // payload cannot keep a note sounding for hours.
    static constexpr std::size_t kMaxNotes = 1024;
    static constexpr std::int64_t kMaxStartDelayNanoseconds = 60'000'000'000;
    static constexpr std::int64_t kMaxStepNanoseconds = 60'000'000'000;
    static constexpr std::int64_t kMaxLengthNanoseconds = 600'000'000'000;

    std::string runID;
    std::int64_t startDelayNanoseconds = 0;
    std::int64_t intervalNanoseconds = 0;
    std::int64_t gateNanoseconds = 0;
    std::int64_t overlapNanoseconds = 0;
    bool legato = false;
    int channelOneBased = 1;
    int velocity = 100;
    std::vector<std::uint8_t> notes;
    std::vector<MIDIRunEvent> events;

    // The offset of the last event: how long the run sounds after its start.
    std::int64_t lengthNanoseconds() const {
        return events.empty() ? 0 : events.back().offsetNanoseconds;
    }
};

// A cancel: which run to stop. `channelOneBased` and `notes` say what the iPad believes may sound.
struct MIDIRunCancel {
    std::string runID;
    int channelOneBased = 1;
    std::vector<std::uint8_t> notes;
};

// Reads the "/tessiva/midi/run/schedule" JSON payload (wire format in docs/transfers.md), or
// says in one sentence why it is refused. Pure.
std::variant<MIDIRunPlan, std::string> parseMIDIRunPlan(std::string_view json);
std::variant<MIDIRunCancel, std::string> parseMIDIRunCancel(std::string_view json);

// The timeline of a checked run (fills nothing else). Pure; exposed for the benchmarks.
std::vector<MIDIRunEvent> layOutMIDIRun(const std::vector<std::uint8_t>& notes,
                                        std::int64_t intervalNanoseconds,
                                        std::int64_t gateNanoseconds,
                                        std::int64_t overlapNanoseconds, bool legato);

}  // namespace tessiva
