#include "mapping/ProfileCodec.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

#include "runtime/Json.h"
#include "runtime/Text.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

// ---- encoding -------------------------------------------------------------------------------

void appendInt(std::string& out, long long value) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void appendKey(std::string& out, std::string_view key) {
    appendJsonString(out, key);
    out.push_back(':');
}

void appendNumber(std::string& out, double value) {
    // JSON has no NaN or infinity; a non-finite date is written as the reference date. Minus zero
    // is written as 0: "-0" would read back as the integer 0 and the next save would differ.
    fmt::format_to(std::back_inserter(out), "{}", std::isfinite(value) && value != 0 ? value : 0.0);
}

template <typename Value, typename Write>
void appendRowObject(std::string& out, std::string_view key, const RowKeyed<Value>& rows,
                     Write&& write) {
    appendKey(out, key);
    out.push_back('{');
    bool first = true;
    for (const auto& [row, value] : rows) {
        if (!first)
            out.push_back(',');
        first = false;
        out.push_back('"');
        appendInt(out, row);
        out += "\":";
        write(out, value);
    }
    out.push_back('}');
}

void appendOptionalField(std::string& out, std::string_view key,
                         const std::optional<std::string>& value) {
    if (!value)
        return;
    out.push_back(',');
    appendKey(out, key);
    appendJsonString(out, *value);
}

void appendMapping(std::string& out, const OSCBankFocusMapping& m) {
    out.push_back('{');
    appendKey(out, "id");
    appendJsonString(out, m.id);
    out.push_back(',');
    appendKey(out, "trackIndex");
    appendInt(out, m.trackIndex);
    out.push_back(',');
    appendKey(out, "trackName");
    appendJsonString(out, m.trackName);
    appendOptionalField(out, "trackIdentity", m.trackIdentity);
    out.push_back(',');
    appendKey(out, "bankUUID");
    appendJsonString(out, m.bankUUID);
    out.push_back(',');
    appendKey(out, "bankName");
    appendJsonString(out, m.bankName);
    appendOptionalField(out, "groupUUID", m.groupUUID);
    appendOptionalField(out, "groupName", m.groupName);
    appendOptionalField(out, "sectionName", m.sectionName);
    appendOptionalField(out, "workspaceUUID", m.workspaceUUID);
    appendOptionalField(out, "workspaceName", m.workspaceName);
    out.push_back(',');
    appendKey(out, "updatedAt");
    appendNumber(out, m.updatedAt);
    out.push_back('}');
}

// ---- decoding -------------------------------------------------------------------------------

// Where a value sits, joined into "a.b.c" only when something is wrong with it.
struct KeyPath {
    std::string_view a, b = {}, c = {};
    std::string str() const {
        std::string out(a);
        for (std::string_view part : {b, c}) {
            if (part.empty())
                continue;
            if (!out.empty())
                out.push_back('.');
            out.append(part);
        }
        return out;
    }
};

using Element = simdjson::dom::element;
using Type = simdjson::dom::element_type;

// A profile nests three levels; the margin keeps hand-written extras readable.
constexpr JsonLimits kProfileLimits{.maxBytes = ProfileCodec::kMaxBytes, .maxDepth = 64};

const char* kindName(Element value) {
    switch (value.type()) {
        case Type::OBJECT:
            return "object";
        case Type::ARRAY:
            return "array";
        case Type::STRING:
            return "string";
        case Type::INT64:
        case Type::UINT64:
        case Type::DOUBLE:
            return "number";
        case Type::BOOL:
            return "boolean";
        case Type::NULL_VALUE:
            return "null";
    }
    return "unknown";
}

std::optional<int> parseRow(std::string_view key) {
    if (key.empty() || key.size() > 10 || (key.size() > 1 && key.front() == '0'))
        return std::nullopt;
    long long row = 0;
    for (const char c : key) {
        if (c < '0' || c > '9')
            return std::nullopt;
        row = row * 10 + (c - '0');
    }
    if (row > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(row);
}

// Decodes a parsed document into the snapshot; a value of the wrong shape stops decoding with its
// key path.
class Decoder {
  public:
    std::optional<MappingProfileSnapshot> run(Element root) {
        MappingProfileSnapshot snapshot;
        if (!readSnapshot(root, snapshot))
            return std::nullopt;
        return snapshot;
    }

    ProfileDecodeError error;

  private:
    bool fault(const KeyPath& path, std::string reason) {
        error.key = path.str();
        error.reason = std::move(reason);
        return false;
    }

    bool wrongKind(const KeyPath& path, const char* expected, Element found) {
        return fault(path, fmt::format("expected {}, found {}", expected, kindName(found)));
    }

    bool readInt(const KeyPath& path, Element value, int& out) {
        constexpr auto lo = std::numeric_limits<int>::min();
        constexpr auto hi = std::numeric_limits<int>::max();
        switch (value.type()) {
            case Type::INT64: {
                const std::int64_t integer = value.get_int64().value_unsafe();
                if (integer < lo || integer > hi)
                    return fault(path, fmt::format("integer out of range: {}", integer));
                out = static_cast<int>(integer);
                return true;
            }
            case Type::UINT64:  // only values past the int64 range are typed so
                return fault(path, fmt::format("integer out of range: {}",
                                               value.get_uint64().value_unsafe()));
            case Type::DOUBLE: {
                // Hand-written files may say 10.0 for 10.
                const double number = value.get_double().value_unsafe();
                if (std::trunc(number) == number && number >= lo && number <= hi) {
                    out = static_cast<int>(number);
                    return true;
                }
                return fault(path, fmt::format("expected an integer, found {}", number));
            }
            default:
                return wrongKind(path, "an integer", value);
        }
    }

    bool readDate(const KeyPath& path, Element value, Date& out) {
        // The reader refuses numbers past a double, so every number is a finite date.
        if (!value.is_number())
            return wrongKind(path, "a date (seconds since 2001)", value);
        out = value.get_double().value_unsafe();
        return true;
    }

    bool readString(const KeyPath& path, Element value, std::string& out) {
        if (!value.is_string())
            return wrongKind(path, "a string", value);
        out = value.get_string().value_unsafe();
        return true;
    }

    bool readOptionalString(const KeyPath& path, Element value, std::optional<std::string>& out) {
        if (value.is_null()) {
            out.reset();
            return true;
        }
        std::string text;
        if (!readString(path, value, text))
            return false;
        out = std::move(text);
        return true;
    }

    bool readEventType(const KeyPath& path, Element value, MappingEventType& out) {
        if (!value.is_string())
            return wrongKind(path, "\"programChange\" or \"note\"", value);
        const std::string raw(value.get_string().value_unsafe());
        const auto type = mappingEventTypeFromRaw(raw);
        if (!type)
            return fault(path, fmt::format("unknown event type \"{}\"", raw));
        out = *type;
        return true;
    }

    template <typename Value, typename ReadValue>
    bool readRows(std::string_view key, Element object, RowKeyed<Value>& out,
                  ReadValue&& readValue) {
        if (!object.is_object())
            return wrongKind({key}, "an object keyed by row", object);
        const simdjson::dom::object rows = object.get_object().value_unsafe();
        for (const auto [rowKey, json] : rows) {
            const auto row = parseRow(rowKey);
            const KeyPath path{key, rowKey};
            if (!row)
                return fault(path, "row key is not a non-negative decimal integer");
            Value value{};
            if (!(this->*readValue)(path, json, value))
                return false;
            out.insert_or_assign(*row, std::move(value));
        }
        return true;
    }

    bool readMapping(const KeyPath& path, Element object, OSCBankFocusMapping& m) {
        if (!object.is_object())
            return wrongKind(path, "an object", object);
        enum Seen { id, trackIndex, trackName, bankUUID, bankName, updatedAt, count };
        bool seen[count] = {};
        const simdjson::dom::object fields = object.get_object().value_unsafe();
        for (const auto [key, value] : fields) {
            const KeyPath at{path.a, path.b, key};
            bool ok = true;
            if (key == "id") {
                ok = readString(at, value, m.id);
                if (ok && !isUUIDString(m.id))
                    ok = fault(at, "not a UUID: " + m.id);
                seen[id] = true;
            } else if (key == "trackIndex") {
                ok = readInt(at, value, m.trackIndex);
                seen[trackIndex] = true;
            } else if (key == "trackName") {
                ok = readString(at, value, m.trackName);
                seen[trackName] = true;
            } else if (key == "trackIdentity") {
                ok = readOptionalString(at, value, m.trackIdentity);
            } else if (key == "bankUUID") {
                ok = readString(at, value, m.bankUUID);
                seen[bankUUID] = true;
            } else if (key == "bankName") {
                ok = readString(at, value, m.bankName);
                seen[bankName] = true;
            } else if (key == "groupUUID") {
                ok = readOptionalString(at, value, m.groupUUID);
            } else if (key == "groupName") {
                ok = readOptionalString(at, value, m.groupName);
            } else if (key == "sectionName") {
                ok = readOptionalString(at, value, m.sectionName);
            } else if (key == "workspaceUUID") {
                ok = readOptionalString(at, value, m.workspaceUUID);
            } else if (key == "workspaceName") {
                ok = readOptionalString(at, value, m.workspaceName);
            } else if (key == "updatedAt") {
                ok = readDate(at, value, m.updatedAt);
                seen[updatedAt] = true;
            }
            if (!ok)
                return false;
        }
        static constexpr const char* names[count] = {"id",       "trackIndex", "trackName",
                                                     "bankUUID", "bankName",   "updatedAt"};
        for (int i = 0; i < count; ++i) {
            if (!seen[i])
                return fault({path.a, path.b, names[i]}, "required key is missing");
        }
        return true;
    }

    bool readSnapshot(Element root, MappingProfileSnapshot& s) {
        if (!root.is_object()) {
            return fault({},
                         fmt::format("the profile is not a JSON object but {}", kindName(root)));
        }
        enum Seen { version, pc, name, channel, eventType, note, count };
        bool seen[count] = {};
        const simdjson::dom::object fields = root.get_object().value_unsafe();
        for (const auto [key, value] : fields) {
            bool ok = true;
            if (key == "version") {
                ok = readInt({"version"}, value, s.version);
                seen[version] = true;
            } else if (key == "trackIndexToPC") {
                ok = readRows("trackIndexToPC", value, s.trackIndexToPC, &Decoder::readInt);
                seen[pc] = true;
            } else if (key == "trackIndexToName") {
                ok = readRows("trackIndexToName", value, s.trackIndexToName, &Decoder::readString);
                seen[name] = true;
            } else if (key == "trackIndexToChannel") {
                ok = readRows("trackIndexToChannel", value, s.trackIndexToChannel,
                              &Decoder::readInt);
                seen[channel] = true;
            } else if (key == "trackIndexToEventType") {
                ok = readRows("trackIndexToEventType", value, s.trackIndexToEventType,
                              &Decoder::readEventType);
                seen[eventType] = true;
            } else if (key == "trackIndexToNote") {
                ok = readRows("trackIndexToNote", value, s.trackIndexToNote, &Decoder::readInt);
                seen[note] = true;
            } else if (value.is_null() &&
                       (key == "oscTrackIdentityByIndex" || key == "oscInsertedTrackSerial" ||
                        key == "oscBankFocusMappingsByTrackIndex")) {
                // An explicit null reads like an absent key.
            } else if (key == "oscTrackIdentityByIndex") {
                ok = readRows("oscTrackIdentityByIndex", value, s.oscTrackIdentityByIndex,
                              &Decoder::readString);
            } else if (key == "oscInsertedTrackSerial") {
                ok = readInt({"oscInsertedTrackSerial"}, value, s.oscInsertedTrackSerial);
            } else if (key == "oscBankFocusMappingsByTrackIndex") {
                ok = readRows("oscBankFocusMappingsByTrackIndex", value,
                              s.oscBankFocusMappingsByTrackIndex, &Decoder::readMapping);
            }
            if (!ok)
                return false;
        }
        static constexpr const char* names[count] = {"version",
                                                     "trackIndexToPC",
                                                     "trackIndexToName",
                                                     "trackIndexToChannel",
                                                     "trackIndexToEventType",
                                                     "trackIndexToNote"};
        for (int i = 0; i < count; ++i) {
            if (!seen[i])
                return fault({names[i]}, "required key is missing");
        }
        return true;
    }
};

}  // namespace

std::string ProfileDecodeError::describe() const {
    if (byteOffset)
        return fmt::format("invalid JSON at byte offset {}: {}", *byteOffset, reason);
    if (key.empty())
        return reason;
    return fmt::format("key \"{}\": {}", key, reason);
}

std::string ProfileCodec::encode(const MappingProfileSnapshot& s) {
    std::string out;
    out.reserve(256 + 64 * (s.trackIndexToPC.size() + s.trackIndexToName.size()) +
                320 * s.oscBankFocusMappingsByTrackIndex.size());
    const auto writeInt = [](std::string& o, int v) {
        fmt::format_to(std::back_inserter(o), "{}", v);
    };
    const auto writeString = [](std::string& o, const std::string& v) { appendJsonString(o, v); };
    out.push_back('{');
    appendKey(out, "version");
    writeInt(out, s.version);
    out.push_back(',');
    appendRowObject(out, "trackIndexToPC", s.trackIndexToPC, writeInt);
    out.push_back(',');
    appendRowObject(out, "trackIndexToName", s.trackIndexToName, writeString);
    out.push_back(',');
    appendRowObject(out, "trackIndexToChannel", s.trackIndexToChannel, writeInt);
    out.push_back(',');
    appendRowObject(out, "trackIndexToEventType", s.trackIndexToEventType,
                    [](std::string& o, MappingEventType v) { appendJsonString(o, rawValue(v)); });
    out.push_back(',');
    appendRowObject(out, "trackIndexToNote", s.trackIndexToNote, writeInt);
    out.push_back(',');
    appendRowObject(out, "oscTrackIdentityByIndex", s.oscTrackIdentityByIndex, writeString);
    out.push_back(',');
    appendKey(out, "oscInsertedTrackSerial");
    writeInt(out, s.oscInsertedTrackSerial);
    out.push_back(',');
    appendRowObject(out, "oscBankFocusMappingsByTrackIndex", s.oscBankFocusMappingsByTrackIndex,
                    appendMapping);
    out.push_back('}');
    return out;
}

ProfileDecodeResult ProfileCodec::decode(std::string_view json) {
    ProfileDecodeResult result;
    StrictJsonReader reader(kProfileLimits);
    Element root;
    if (auto failure = reader.parse(json, root)) {
        result.error.byteOffset = failure->byteOffset;
        result.error.reason = std::move(failure->reason);
        return result;
    }
    Decoder decoder;
    result.snapshot = decoder.run(root);
    if (!result.snapshot)
        result.error = std::move(decoder.error);
    return result;
}

}  // namespace tessiva
