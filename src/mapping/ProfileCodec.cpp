#include "mapping/ProfileCodec.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "mapping/JsonPullReader.h"
#include "runtime/Text.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

// ---- encoding -------------------------------------------------------------------------------

void appendString(std::string& out, std::string_view value) {
    out.push_back('"');
    std::size_t offset = 0;
    while (offset < value.size()) {
        // Plain ASCII runs go in one append; most names are nothing else.
        std::size_t run = offset;
        while (run < value.size()) {
            const auto byte = static_cast<unsigned char>(value[run]);
            if (byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\')
                break;
            ++run;
        }
        out.append(value.substr(offset, run - offset));
        offset = run;
        if (offset >= value.size())
            break;
        const auto byte = static_cast<unsigned char>(value[offset]);
        if (byte < 0x80) {
            switch (byte) {
                case '"':
                    out += "\\\"";
                    break;
                case '\\':
                    out += "\\\\";
                    break;
                case '\n':
                    out += "\\n";
                    break;
                case '\r':
                    out += "\\r";
                    break;
                case '\t':
                    out += "\\t";
                    break;
                case '\b':
                    out += "\\b";
                    break;
                case '\f':
                    out += "\\f";
                    break;
                default:
                    out += fmt::format("\\u{:04x}", byte);
            }
            ++offset;
            continue;
        }
        std::int32_t codePoint = 0;
        const std::size_t length = text::decodeCodePoint(value, offset, codePoint);
        if (codePoint < 0) {
            out += "\\ufffd";
        } else {
            out.append(value.substr(offset, length));
        }
        offset += length;
    }
    out.push_back('"');
}

void appendInt(std::string& out, long long value) {
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void appendKey(std::string& out, std::string_view key) {
    appendString(out, key);
    out.push_back(':');
}

void appendNumber(std::string& out, double value) {
    // JSON has no NaN or infinity; a non-finite date is written as the reference date.
    fmt::format_to(std::back_inserter(out), "{}", std::isfinite(value) ? value : 0.0);
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
    appendString(out, *value);
}

void appendMapping(std::string& out, const OSCBankFocusMapping& m) {
    out.push_back('{');
    appendKey(out, "id");
    appendString(out, m.id);
    out.push_back(',');
    appendKey(out, "trackIndex");
    appendInt(out, m.trackIndex);
    out.push_back(',');
    appendKey(out, "trackName");
    appendString(out, m.trackName);
    appendOptionalField(out, "trackIdentity", m.trackIdentity);
    out.push_back(',');
    appendKey(out, "bankUUID");
    appendString(out, m.bankUUID);
    out.push_back(',');
    appendKey(out, "bankName");
    appendString(out, m.bankName);
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

std::optional<int> parseRow(std::string_view key) {
    int row = 0;
    if (key.empty() || key.front() == '+' || (key.size() > 1 && key.front() == '0')) {
        return std::nullopt;
    }
    const auto [end, ec] = std::from_chars(key.data(), key.data() + key.size(), row);
    if (ec != std::errc() || end != key.data() + key.size() || row < 0)
        return std::nullopt;
    return row;
}

// Decodes straight from the reader into the snapshot. Syntax errors come from the reader with a
// byte offset; a value of the wrong shape stops decoding with its key path.
class Decoder {
  public:
    explicit Decoder(std::string_view json) : reader_(json) {}

    ProfileDecodeResult run() {
        ProfileDecodeResult result;
        MappingProfileSnapshot snapshot;
        if (readSnapshot(snapshot) && reader_.finish()) {
            result.snapshot = std::move(snapshot);
        } else if (reader_.failed()) {
            result.error.byteOffset = reader_.errorOffset();
            result.error.reason = reader_.errorReason();
        } else {
            result.error.key = std::move(faultKey_);
            result.error.reason = std::move(faultReason_);
        }
        return result;
    }

  private:
    using Kind = JsonPullReader::Kind;

    bool fault(const KeyPath& path, std::string reason) {
        if (!faulted_) {
            faulted_ = true;
            faultKey_ = path.str();
            faultReason_ = std::move(reason);
        }
        return false;
    }

    // Malformed input wins over a type complaint: let the reader report the byte.
    bool wrongKind(const KeyPath& path, const char* expected, Kind found) {
        if (found == Kind::invalid || found == Kind::end)
            return reader_.skipValue();
        return fault(
            path, fmt::format("expected {}, found {}", expected, JsonPullReader::kindName(found)));
    }

    bool readInt(const KeyPath& path, int& out) {
        const Kind kind = reader_.peek();
        if (kind != Kind::number)
            return wrongKind(path, "an integer", kind);
        JsonPullReader::Number n;
        if (!reader_.readNumber(n))
            return false;
        constexpr auto lo = std::numeric_limits<int>::min();
        constexpr auto hi = std::numeric_limits<int>::max();
        if (n.isInteger) {
            if (!n.fitsInt64 || n.integer < lo || n.integer > hi) {
                return fault(path, fmt::format("integer out of range: {}", n.text));
            }
            out = static_cast<int>(n.integer);
            return true;
        }
        // Hand-written files may say 10.0 for 10.
        if (n.finite && std::trunc(n.value) == n.value && n.value >= lo && n.value <= hi) {
            out = static_cast<int>(n.value);
            return true;
        }
        return fault(path, fmt::format("expected an integer, found {}", n.text));
    }

    bool readDate(const KeyPath& path, Date& out) {
        const Kind kind = reader_.peek();
        if (kind != Kind::number)
            return wrongKind(path, "a date (seconds since 2001)", kind);
        JsonPullReader::Number n;
        if (!reader_.readNumber(n))
            return false;
        if (!n.finite)
            return fault(path, fmt::format("date out of range: {}", n.text));
        out = n.value;
        return true;
    }

    bool readString(const KeyPath& path, std::string& out) {
        const Kind kind = reader_.peek();
        if (kind != Kind::string)
            return wrongKind(path, "a string", kind);
        return reader_.readString(out);
    }

    bool readOptionalString(const KeyPath& path, std::optional<std::string>& out) {
        if (reader_.peek() == Kind::null) {
            out.reset();
            return reader_.readNull();
        }
        std::string value;
        if (!readString(path, value))
            return false;
        out = std::move(value);
        return true;
    }

    bool readEventType(const KeyPath& path, MappingEventType& out) {
        const Kind kind = reader_.peek();
        if (kind != Kind::string)
            return wrongKind(path, "\"programChange\" or \"note\"", kind);
        if (!reader_.readString(scratch_))
            return false;
        const auto type = mappingEventTypeFromRaw(scratch_);
        if (!type)
            return fault(path, fmt::format("unknown event type \"{}\"", scratch_));
        out = *type;
        return true;
    }

    template <typename Value, typename ReadValue>
    bool readRows(std::string_view key, RowKeyed<Value>& out, ReadValue&& readValue) {
        const Kind kind = reader_.peek();
        if (kind != Kind::object)
            return wrongKind({key}, "an object keyed by row", kind);
        if (!reader_.beginObject())
            return false;
        std::string rowKey;
        while (reader_.nextMember(rowKey)) {
            const auto row = parseRow(rowKey);
            const KeyPath path{key, rowKey};
            if (!row)
                return fault(path, "row key is not a non-negative decimal integer");
            Value value{};
            if (!(this->*readValue)(path, value))
                return false;
            // Rows arrive in ascending order in files this program wrote.
            if (out.empty() || out.rbegin()->first < *row) {
                out.emplace_hint(out.end(), *row, std::move(value));
            } else {
                out.insert_or_assign(*row, std::move(value));
            }
        }
        return !reader_.failed();
    }

    bool readMapping(const KeyPath& path, OSCBankFocusMapping& m) {
        const Kind kind = reader_.peek();
        if (kind != Kind::object)
            return wrongKind(path, "an object", kind);
        if (!reader_.beginObject())
            return false;
        enum Seen { id, trackIndex, trackName, bankUUID, bankName, updatedAt, count };
        bool seen[count] = {};
        std::string key;
        while (reader_.nextMember(key)) {
            const KeyPath at{path.a, path.b, key};
            bool ok = true;
            if (key == "id") {
                ok = readString(at, m.id);
                if (ok && !isUUIDString(m.id))
                    ok = fault(at, "not a UUID: " + m.id);
                seen[id] = true;
            } else if (key == "trackIndex") {
                ok = readInt(at, m.trackIndex);
                seen[trackIndex] = true;
            } else if (key == "trackName") {
                ok = readString(at, m.trackName);
                seen[trackName] = true;
            } else if (key == "trackIdentity") {
                ok = readOptionalString(at, m.trackIdentity);
            } else if (key == "bankUUID") {
                ok = readString(at, m.bankUUID);
                seen[bankUUID] = true;
            } else if (key == "bankName") {
                ok = readString(at, m.bankName);
                seen[bankName] = true;
            } else if (key == "groupUUID") {
                ok = readOptionalString(at, m.groupUUID);
            } else if (key == "groupName") {
                ok = readOptionalString(at, m.groupName);
            } else if (key == "sectionName") {
                ok = readOptionalString(at, m.sectionName);
            } else if (key == "workspaceUUID") {
                ok = readOptionalString(at, m.workspaceUUID);
            } else if (key == "workspaceName") {
                ok = readOptionalString(at, m.workspaceName);
            } else if (key == "updatedAt") {
                ok = readDate(at, m.updatedAt);
                seen[updatedAt] = true;
            } else {
                ok = reader_.skipValue();
            }
            if (!ok)
                return false;
        }
        if (reader_.failed())
            return false;
        static constexpr const char* names[count] = {"id",       "trackIndex", "trackName",
                                                     "bankUUID", "bankName",   "updatedAt"};
        for (int i = 0; i < count; ++i) {
            if (!seen[i])
                return fault({path.a, path.b, names[i]}, "required key is missing");
        }
        return true;
    }

    bool readSnapshot(MappingProfileSnapshot& s) {
        const Kind kind = reader_.peek();
        if (kind == Kind::invalid || kind == Kind::end)
            return reader_.skipValue();
        if (kind != Kind::object) {
            return fault({}, fmt::format("the profile is not a JSON object but {}",
                                         JsonPullReader::kindName(kind)));
        }
        if (!reader_.beginObject())
            return false;
        enum Seen { version, pc, name, channel, eventType, note, count };
        bool seen[count] = {};
        std::string key;
        while (reader_.nextMember(key)) {
            bool ok = true;
            if (key == "version") {
                ok = readInt({"version"}, s.version);
                seen[version] = true;
            } else if (key == "trackIndexToPC") {
                ok = readRows("trackIndexToPC", s.trackIndexToPC, &Decoder::readInt);
                seen[pc] = true;
            } else if (key == "trackIndexToName") {
                ok = readRows("trackIndexToName", s.trackIndexToName, &Decoder::readString);
                seen[name] = true;
            } else if (key == "trackIndexToChannel") {
                ok = readRows("trackIndexToChannel", s.trackIndexToChannel, &Decoder::readInt);
                seen[channel] = true;
            } else if (key == "trackIndexToEventType") {
                ok = readRows("trackIndexToEventType", s.trackIndexToEventType,
                              &Decoder::readEventType);
                seen[eventType] = true;
            } else if (key == "trackIndexToNote") {
                ok = readRows("trackIndexToNote", s.trackIndexToNote, &Decoder::readInt);
                seen[note] = true;
            } else if (reader_.peek() == Kind::null &&
                       (key == "oscTrackIdentityByIndex" || key == "oscInsertedTrackSerial" ||
                        key == "oscBankFocusMappingsByTrackIndex")) {
                ok = reader_.readNull();  // an explicit null reads like an absent key
            } else if (key == "oscTrackIdentityByIndex") {
                ok = readRows("oscTrackIdentityByIndex", s.oscTrackIdentityByIndex,
                              &Decoder::readString);
            } else if (key == "oscInsertedTrackSerial") {
                ok = readInt({"oscInsertedTrackSerial"}, s.oscInsertedTrackSerial);
            } else if (key == "oscBankFocusMappingsByTrackIndex") {
                ok = readRows("oscBankFocusMappingsByTrackIndex",
                              s.oscBankFocusMappingsByTrackIndex, &Decoder::readMapping);
            } else {
                ok = reader_.skipValue();
            }
            if (!ok)
                return false;
        }
        if (reader_.failed())
            return false;
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

    JsonPullReader reader_;
    bool faulted_ = false;
    std::string faultKey_;
    std::string faultReason_;
    std::string scratch_;
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
    const auto writeString = [](std::string& o, const std::string& v) { appendString(o, v); };
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
                    [](std::string& o, MappingEventType v) { appendString(o, rawValue(v)); });
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
    return Decoder(json).run();
}

}  // namespace tessiva
