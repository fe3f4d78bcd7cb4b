#include "midi/MIDIRunPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

namespace tessiva {

namespace {

using Json = nlohmann::json;

// A whole number in [low, high], from an integer or an integral floating-point JSON number
// (encoders differ); absent otherwise.
std::optional<std::int64_t> wholeNumber(const Json& value, std::int64_t low, std::int64_t high) {
    std::int64_t number = 0;
    if (value.is_number_integer()) {
        if (value.is_number_unsigned() &&
            value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
            return std::nullopt;
        }
        number = value.get<std::int64_t>();
    } else if (value.is_number_float()) {
        const double real = value.get<double>();
        if (!std::isfinite(real) || std::floor(real) != real || std::fabs(real) > 9.0e18)
            return std::nullopt;
        number = static_cast<std::int64_t>(real);
    } else {
        return std::nullopt;
    }
    if (number < low || number > high)
        return std::nullopt;
    return number;
}

// Reads `key` as a whole number in [low, high], or records why not.
struct FieldReader {
    const Json& root;
    std::string refusal;

    std::int64_t number(const char* key, std::int64_t low, std::int64_t high) {
        if (!refusal.empty())
            return 0;
        if (!root.contains(key)) {
            refusal = fmt::format("it has no \"{}\"", key);
            return 0;
        }
        auto value = wholeNumber(root[key], low, high);
        if (!value) {
            refusal = fmt::format("\"{}\" is {}, not a whole number from {} to {}", key,
                                  root[key].dump().substr(0, 40), low, high);
            return 0;
        }
        return *value;
    }

    std::vector<std::uint8_t> notes(std::size_t maxCount) {
        std::vector<std::uint8_t> result;
        if (!refusal.empty())
            return result;
        if (!root.contains("notes") || !root["notes"].is_array()) {
            refusal = "\"notes\" is not an array of MIDI note numbers";
            return result;
        }
        const Json& notes = root["notes"];
        if (notes.empty() || notes.size() > maxCount) {
            refusal = fmt::format("\"notes\" holds {} notes; a run plays 1 to {}", notes.size(),
                                  maxCount);
            return result;
        }
        for (std::size_t i = 0; i < notes.size(); ++i) {
            auto note = wholeNumber(notes[i], 0, 127);
            if (!note) {
                refusal = fmt::format("note {} is {}, not a MIDI note number from 0 to 127", i + 1,
                                      notes[i].dump().substr(0, 40));
                return {};
            }
            result.push_back(static_cast<std::uint8_t>(*note));
        }
        return result;
    }

    std::string runID() {
        if (!refusal.empty())
            return {};
        if (!root.contains("runID") || !root["runID"].is_string() ||
            root["runID"].get<std::string>().empty()) {
            refusal = "\"runID\" is missing or not a text";
            return {};
        }
        return root["runID"].get<std::string>();
    }
};

std::optional<Json> objectOf(std::string_view json) {
    Json root = Json::parse(json, nullptr, false);
    if (root.is_discarded() || !root.is_object())
        return std::nullopt;
    return root;
}

}  // namespace

std::vector<MIDIRunEvent> layOutMIDIRun(const std::vector<std::uint8_t>& notes,
                                        std::int64_t intervalNanoseconds,
                                        std::int64_t gateNanoseconds,
                                        std::int64_t overlapNanoseconds, bool legato) {
    struct Span {
        std::int64_t on = 0;
        std::int64_t off = 0;
        std::uint8_t note = 0;
    };
    std::vector<Span> spans;
    spans.reserve(notes.size());
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const std::int64_t on = static_cast<std::int64_t>(i) * intervalNanoseconds;
        const bool last = i + 1 == notes.size();
        // Legato holds each note into the next one by the overlap; the last note keeps its gate,
        // as does every note of a run struck all at once.
        std::int64_t off = on + gateNanoseconds;
        if (legato && !last && intervalNanoseconds > 0)
            off = on + intervalNanoseconds + overlapNanoseconds;
        spans.push_back(Span{on, off, notes[i]});
    }
    // A note still held when its pitch is struck again is released at that strike.
    std::map<std::uint8_t, std::size_t> lastSpanOfNote;
    for (std::size_t i = 0; i < spans.size(); ++i) {
        auto previous = lastSpanOfNote.find(spans[i].note);
        if (previous != lastSpanOfNote.end()) {
            Span& earlier = spans[previous->second];
            earlier.off = std::min(earlier.off, spans[i].on);
        }
        lastSpanOfNote[spans[i].note] = i;
    }
    std::vector<MIDIRunEvent> events;
    events.reserve(spans.size() * 2);
    for (const Span& span : spans) {
        events.push_back(MIDIRunEvent{span.on, true, span.note});
        events.push_back(MIDIRunEvent{span.off, false, span.note});
    }
    std::stable_sort(events.begin(), events.end(), [](const auto& a, const auto& b) {
        if (a.offsetNanoseconds != b.offsetNanoseconds)
            return a.offsetNanoseconds < b.offsetNanoseconds;
        return !a.isNoteOn && b.isNoteOn;
    });
    return events;
}

std::variant<MIDIRunPlan, std::string> parseMIDIRunPlan(std::string_view json) {
    auto root = objectOf(json);
    if (!root)
        return std::string("it is not a JSON object");
    FieldReader read{*root, {}};
    MIDIRunPlan plan;
    const std::int64_t version = read.number("version", 1, 1);
    (void)version;
    plan.runID = read.runID();
    plan.startDelayNanoseconds =
        read.number("startDelayNanoseconds", 0, MIDIRunPlan::kMaxStartDelayNanoseconds);
    plan.intervalNanoseconds =
        read.number("intervalNanoseconds", 0, MIDIRunPlan::kMaxStepNanoseconds);
    plan.gateNanoseconds = read.number("gateNanoseconds", 1, MIDIRunPlan::kMaxStepNanoseconds);
    plan.overlapNanoseconds =
        read.number("overlapNanoseconds", 0, MIDIRunPlan::kMaxStepNanoseconds);
    if (read.refusal.empty() && !(root->contains("legato") && (*root)["legato"].is_boolean()))
        read.refusal = "\"legato\" is missing or not true or false";
    plan.legato = read.refusal.empty() && (*root)["legato"].get<bool>();
    plan.channelOneBased = static_cast<int>(read.number("channelOneBased", 1, 16));
    plan.velocity = static_cast<int>(read.number("velocity", 1, 127));
    plan.notes = read.notes(MIDIRunPlan::kMaxNotes);
    if (!read.refusal.empty())
        return read.refusal;
    plan.events = layOutMIDIRun(plan.notes, plan.intervalNanoseconds, plan.gateNanoseconds,
                                plan.overlapNanoseconds, plan.legato);
    if (plan.lengthNanoseconds() > MIDIRunPlan::kMaxLengthNanoseconds) {
        return fmt::format("it would sound for {:.0f} s; a run lasts at most {} s",
                           plan.lengthNanoseconds() / 1e9,
                           MIDIRunPlan::kMaxLengthNanoseconds / 1'000'000'000);
    }
    return plan;
}

std::variant<MIDIRunCancel, std::string> parseMIDIRunCancel(std::string_view json) {
    auto root = objectOf(json);
    if (!root)
        return std::string("it is not a JSON object");
    FieldReader read{*root, {}};
    MIDIRunCancel cancel;
    cancel.runID = read.runID();
    cancel.channelOneBased = static_cast<int>(read.number("channelOneBased", 1, 16));
    // A cancel may name no notes (nothing sounding on the iPad's side).
    if (read.refusal.empty() && root->contains("notes") && (*root)["notes"].is_array() &&
        (*root)["notes"].empty()) {
        return cancel;
    }
    cancel.notes = read.notes(MIDIRunPlan::kMaxNotes);
    if (!read.refusal.empty())
        return read.refusal;
    return cancel;
}

}  // namespace tessiva
