#include <gtest/gtest.h>

#include <string>

#include "mapping/ProfileCodec.h"
#include "runtime/DateFormat.h"

namespace tessiva {
namespace {

// 1 January 2023 00:00 UTC: 694224000 s after the 2001 reference date.
constexpr double kNewYear2023Unix = 1672531200.0;

MappingProfileSnapshot knownProfile() {
    MappingProfileSnapshot s;
    s.version = 1;
    s.trackIndexToPC = {{0, 3}, {5, 12}, {40, 127}};
    s.trackIndexToName = {{0, "Strings\tsolo\n\\ \x01"}, {5, "Horn \"A\""}, {40, "Flöte"}};
    s.trackIndexToChannel = {{0, 1}, {5, 2}, {40, 16}};
    s.trackIndexToEventType = {{0, MappingEventType::programChange},
                               {5, MappingEventType::note},
                               {40, MappingEventType::programChange}};
    s.trackIndexToNote = {{5, 60}};
    s.oscTrackIdentityByIndex = {{5, "logic-row-5"}, {40, "inserted-2"}};
    s.oscInsertedTrackSerial = 2;
    OSCBankFocusMapping m;
    m.id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    m.trackIndex = 5;
    m.trackName = "Horn \"A\"";
    m.trackIdentity = "logic-row-5";
    m.bankUUID = "B1";
    m.bankName = "Brass";
    m.groupUUID = "G1";
    m.groupName = "Longs";
    m.workspaceName = "Main";
    m.updatedAt = dateFromUnixSeconds(kNewYear2023Unix) + 0.5;
    s.oscBankFocusMappingsByTrackIndex = {{5, m}};
    return s;
}

TEST(ProfileCodec, EncodesAKnownProfileToExactBytesAndWritesBackWhatItRead) {
    const std::string expected =
        R"({"version":1,"trackIndexToPC":{"0":3,"5":12,"40":127},)"
        R"("trackIndexToName":{"0":"Strings\tsolo\n\\ \u0001","5":"Horn \"A\"","40":"Flöte"},)"
        R"("trackIndexToChannel":{"0":1,"5":2,"40":16},)"
        R"("trackIndexToEventType":{"0":"programChange","5":"note","40":"programChange"},)"
        R"("trackIndexToNote":{"5":60},)"
        R"("oscTrackIdentityByIndex":{"5":"logic-row-5","40":"inserted-2"},)"
        R"("oscInsertedTrackSerial":2,)"
        R"("oscBankFocusMappingsByTrackIndex":{"5":{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)"
        R"("trackIndex":5,"trackName":"Horn \"A\"","trackIdentity":"logic-row-5","bankUUID":"B1",)"
        R"("bankName":"Brass","groupUUID":"G1","groupName":"Longs","workspaceName":"Main",)"
        R"("updatedAt":694224000.5}}})";
    EXPECT_EQ(ProfileCodec::encode(knownProfile()), expected);

    const auto decoded = ProfileCodec::decode(expected);
    ASSERT_TRUE(decoded.ok()) << decoded.error.describe();
    EXPECT_EQ(*decoded.snapshot, knownProfile());

    // Invalid bytes are replaced, and what was read writes back byte for byte.
    MappingProfileSnapshot s = knownProfile();
    s.trackIndexToName[2] = std::string("bad\x80\xff\xfe") + "end";
    s.oscBankFocusMappingsByTrackIndex.at(5).updatedAt = -0.0;  // "-0" would read back as 0
    const std::string json = ProfileCodec::encode(s);
    const auto reread = ProfileCodec::decode(json);
    ASSERT_TRUE(reread.ok()) << reread.error.describe();
    EXPECT_EQ(reread.snapshot->trackIndexToName.at(2),
              "bad\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
              "end");
    EXPECT_EQ(ProfileCodec::encode(*reread.snapshot), json);
}

TEST(ProfileCodec, DecodesAHandWrittenFile) {
    // Pretty-printed, keys in another order, an unknown key, a float channel written by hand,
    // optional keys null (MappingStore's six-key test has them absent).
    const std::string json = R"({
      "trackIndexToNote": { "40": 64 },
      "trackIndexToEventType": { "40": "note", "0": "programChange" },
      "comment": "ignored", "oscTrackIdentityByIndex": null, "oscInsertedTrackSerial": null,
      "trackIndexToChannel": { "0": 10.0 },
      "trackIndexToName": { "0": "Piano", "5": "Bass", "40": "Choir" },
      "trackIndexToPC": { "5": 0, "0": 9 },
      "version": 3,
      "oscBankFocusMappingsByTrackIndex": {
        "40": { "updatedAt": 694224000, "bankName": "Voices", "bankUUID": "BANK-1",
                "trackName": "Choir", "trackIndex": 40,
                "id": "0b7f3b7e-1c2d-4e5f-8a9b-0c1d2e3f4a5b", "workspaceName": "Main" }
      }
    })";
    const auto decoded = ProfileCodec::decode(json);
    ASSERT_TRUE(decoded.ok()) << decoded.error.describe();
    const MappingProfileSnapshot& s = *decoded.snapshot;
    EXPECT_EQ(s.version, 3);
    EXPECT_EQ(s.trackIndexToPC, (RowKeyed<int>{{0, 9}, {5, 0}}));
    EXPECT_EQ(s.trackIndexToName, (RowMap{{0, "Piano"}, {5, "Bass"}, {40, "Choir"}}));
    EXPECT_EQ(s.trackIndexToChannel, (RowKeyed<int>{{0, 10}}));
    EXPECT_EQ(s.trackIndexToEventType.at(40), MappingEventType::note);
    EXPECT_EQ(s.trackIndexToNote, (RowKeyed<int>{{40, 64}}));
    const OSCBankFocusMapping& m = s.oscBankFocusMappingsByTrackIndex.at(40);
    EXPECT_EQ(m.bankUUID, "BANK-1");
    EXPECT_EQ(m.workspaceName, std::optional<std::string>("Main"));
    EXPECT_FALSE(m.groupUUID.has_value());
    EXPECT_FALSE(m.trackIdentity.has_value());
    // The stored number counts from 2001, not from 1970.
    EXPECT_DOUBLE_EQ(unixSecondsFromDate(m.updatedAt), kNewYear2023Unix);
    EXPECT_TRUE(s.oscTrackIdentityByIndex.empty());
    EXPECT_EQ(s.oscInsertedTrackSerial, 0);
}

TEST(ProfileCodec, NamesTheKeyOrByteAtFault) {
    const std::string head = R"({"version":1,"trackIndexToName":{},"trackIndexToChannel":{},)"
                             R"("trackIndexToNote":{},)";
    // `rows` as the program changes, then the rest of the file.
    const auto pc = [&](const std::string& rows) {
        return head + R"("trackIndexToEventType":{},"trackIndexToPC":)" + rows + "}";
    };
    const auto bank = [&](const std::string& id, const std::string& rest) {
        return pc(R"({},"oscBankFocusMappingsByTrackIndex":{"5":{"id":")" + id +
                  R"(","trackIndex":5,"trackName":"T","bankUUID":"B","bankName":"N")" + rest +
                  "}}");
    };
    const std::string uuid = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    const std::string name = R"({"version":1,"trackIndexToName":{"0":")";
    struct Case {
        const char* name;
        std::string json;
        std::string key;  // empty: the fault is in the text, at `offset`
        std::string reasonPart;
        std::optional<std::size_t> offset = std::nullopt;
    };
    const Case cases[] = {
        {"pc value a string", pc(R"({"3":"x"})"), "trackIndexToPC.3", "expected an integer"},
        {"pc not an object", pc("[1]"), "trackIndexToPC", "object"},
        {"leading zero row", pc(R"({"01":1})"), "trackIndexToPC.01", "row key"},
        {"negative row", pc(R"({"-1":1})"), "trackIndexToPC.-1", "row key"},
        {"fractional value", pc(R"({"1":1.5})"), "trackIndexToPC.1", "integer"},
        {"huge value", pc(R"({"1":4294967296})"), "trackIndexToPC.1", "out of range"},
        {"missing required map", R"({"version":1,"trackIndexToPC":{}})", "trackIndexToName",
         "missing"},
        {"missing version", R"({"trackIndexToPC":{}})", "version", "missing"},
        {"unknown event type",
         head + R"("trackIndexToEventType":{"4":"sysex"},"trackIndexToPC":{}})",
         "trackIndexToEventType.4", "sysex"},
        {"serial a string", pc(R"({},"oscInsertedTrackSerial":"7")"), "oscInsertedTrackSerial",
         "integer"},
        {"mapping without date", bank(uuid, ""), "oscBankFocusMappingsByTrackIndex.5.updatedAt",
         "missing"},
        {"date as text", bank(uuid, R"(,"updatedAt":"2023-01-01")"),
         "oscBankFocusMappingsByTrackIndex.5.updatedAt", "date"},
        {"group not a string", bank(uuid, R"(,"groupUUID":3,"updatedAt":1)"),
         "oscBankFocusMappingsByTrackIndex.5.groupUUID", "string"},
        {"id not a UUID", bank("nope", R"(,"updatedAt":1)"),
         "oscBankFocusMappingsByTrackIndex.5.id", "UUID"},
        {"top level array", "[]", "", "not a JSON object"},
        // Malformed text: the 0-based offset of the byte where parsing stopped.
        {"truncated", R"({"version":1,"trackIndexToPC":{"1":5,})", "", "byte offset 37", 37},
        {"empty", "", "", "invalid JSON", 0},
        {"invalid byte in a name", name + "ab\xff\"}}", "", "UTF-8", name.size() + 2},
        {"overlong encoding", name + "\xc0\xaf\"}}", "", "UTF-8", name.size()},
        {"encoded surrogate", name + "\xed\xa0\x80\"}}", "", "UTF-8", name.size()},
        // Just after the string that holds it.
        {"lone escaped surrogate", name + "\\ud800x\"}}", "", "string", name.size() + 8},
        {"too deep", "{\"x\":" + std::string(100, '[') + std::string(100, ']') + "}", "",
         "deeper than 64", 5 + 63},
        {"number past a double", R"({"version":1e400})", "", "number", 11},
        {"too large", std::string(64u * 1024 * 1024 + 1, ' '), "", "larger than",
         64u * 1024 * 1024},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto decoded = ProfileCodec::decode(c.json);
        ASSERT_FALSE(decoded.ok());
        EXPECT_EQ(decoded.error.key, c.key);
        EXPECT_EQ(decoded.error.byteOffset, c.offset);
        EXPECT_NE(decoded.error.describe().find(c.reasonPart), std::string::npos)
            << decoded.error.describe();
        if (!c.key.empty()) {
            EXPECT_NE(decoded.error.describe().find("\"" + c.key + "\""), std::string::npos);
        }
    }
    // Brackets inside names do not count as nesting.
    const std::string brackets = R"({"version":1,"trackIndexToPC":{},"trackIndexToName":{"0":")" +
                                 std::string(100, '[') +
                                 R"("},"trackIndexToChannel":{},"trackIndexToEventType":{},)"
                                 R"("trackIndexToNote":{}})";
    EXPECT_TRUE(ProfileCodec::decode(brackets).ok());
    // A byte-order mark from a text editor is skipped; offsets still count it.
    EXPECT_TRUE(ProfileCodec::decode("\xEF\xBB\xBF" + brackets).ok());
    EXPECT_EQ(ProfileCodec::decode("\xEF\xBB\xBF{\"version\":1e400}").error.byteOffset,
              std::optional<std::size_t>(14));
}

}  // namespace
}  // namespace tessiva
