#include <gtest/gtest.h>

#include <string>

#include "osc/RemoteWorkspaceSnapshot.h"

namespace tessiva {
namespace {

const char* kTwoSections = R"({
  "workspaceUUID": "W-1", "workspaceName": "Strings", "extra": {"ignored": true},
  "sections": [
    {"name": "Violins", "banks": [
      {"uuid": "B-1", "name": "Legato", "groupUUID": "G-1", "groupName": "Long",
       "sectionName": "Violins", "articulationCount": 2,
       "articulationNames": ["Sustain", "Legato"], "isPinned": true},
      {"uuid": "B-2", "name": "Short", "sectionName": "Violins", "articulationCount": 0,
       "articulationNames": [], "groupUUID": null}
    ]},
    {"name": "Empty", "banks": []}
  ]
})";

RemoteWorkspaceSnapshot decoded(const std::string& json) {
    auto result = decodeRemoteWorkspaceSnapshot(json);
    if (auto* error = std::get_if<std::string>(&result)) {
        ADD_FAILURE() << *error;
        return {};
    }
    return std::get<RemoteWorkspaceSnapshot>(result);
}

std::string errorOf(const std::string& json) {
    auto result = decodeRemoteWorkspaceSnapshot(json);
    auto* error = std::get_if<std::string>(&result);
    return error ? *error : std::string("<decoded>");
}

TEST(RemoteWorkspaceSnapshot, DecodesRequiredAndOptionalKeysAndRoundTrips) {
    SCOPED_TRACE("full snapshot");
    RemoteWorkspaceSnapshot snapshot = decoded(kTwoSections);
    EXPECT_EQ(snapshot.workspaceName, "Strings");
    ASSERT_EQ(snapshot.sections.size(), 2u);
    EXPECT_EQ(snapshot.bankCount(), 2u);
    const RemoteWorkspaceBank& first = snapshot.sections[0].banks[0];
    EXPECT_EQ(first.groupName, "Long");
    EXPECT_EQ(first.isPinned, true);
    EXPECT_EQ(first.articulationNames, (std::vector<std::string>{"Sustain", "Legato"}));
    const RemoteWorkspaceBank& second = snapshot.sections[0].banks[1];
    EXPECT_FALSE(second.groupUUID.has_value());  // null reads as missing
    EXPECT_FALSE(second.isPinned.has_value());

    // Encoding writes the same keys, so a round trip compares equal by value.
    EXPECT_EQ(decoded(encodeRemoteWorkspaceSnapshot(snapshot)), snapshot);

    SCOPED_TRACE("optional workspace keys missing");
    RemoteWorkspaceSnapshot bare = decoded(R"({"sections": []})");
    EXPECT_FALSE(bare.workspaceUUID.has_value());
    EXPECT_EQ(bare.bankCount(), 0u);
}

TEST(RemoteWorkspaceSnapshot, RefusesMissingOrMistypedRequiredValuesWithTheirPath) {
    const std::string bankWithout = R"({"sections": [{"name": "S", "banks": [
        {"uuid": "B", "name": "N", "sectionName": "S", "articulationCount": 1}]}]})";
    EXPECT_EQ(errorOf(bankWithout), "sections[0].banks[0]: missing key \"articulationNames\"");
    EXPECT_EQ(errorOf(R"({"workspaceName": "x"})"), "snapshot: missing key \"sections\"");
    EXPECT_EQ(errorOf(R"({"sections": [{"name": 3, "banks": []}]})"),
              "sections[0].name: expected a string");
    EXPECT_EQ(errorOf(R"({"sections": [{"name": "S", "banks": [{"uuid": "B", "name": "N",
        "sectionName": "S", "articulationCount": 1.5, "articulationNames": []}]}]})"),
              "sections[0].banks[0].articulationCount: expected an integer");
    EXPECT_EQ(errorOf(R"({"sections": [{"name": "S", "banks": [{"uuid": "B", "name": "N",
        "sectionName": "S", "articulationCount": 1, "articulationNames": ["a", 2]}]}]})"),
              "sections[0].banks[0].articulationNames[1]: expected a string");
    EXPECT_EQ(errorOf(R"({"sections": [{"name": "S", "banks": [{"uuid": "B", "name": "N",
        "sectionName": "S", "articulationCount": 1, "articulationNames": [], "isPinned": "yes"}]}]})"),
              "sections[0].banks[0].isPinned: expected a Boolean");
    EXPECT_EQ(errorOf(R"({"sections": [{"name": "S", "banks": [{"uuid": "B", "name": "N",
        "sectionName": "S", "articulationCount": 9223372036854775808, "articulationNames": []}]}]})"),
              "sections[0].banks[0].articulationCount: expected an integer");
    EXPECT_EQ(errorOf(R"([1, 2])"), "snapshot: expected an object");
}

TEST(RemoteWorkspaceSnapshot, RefusesMalformedTextWithTheByteOffset) {
    const struct {
        std::string json;
        std::string message;
    } cases[] = {
        {"{\"sections\": [}",
         "The data is not valid JSON at byte offset 14: The JSON document has "
         "an improper structure"},
        {"", "The data is not valid JSON at byte offset 0: "},
        {"{\"workspaceName\": \"a\xC3\"}",
         "The data is not valid JSON at byte offset 20: malformed UTF-8"},
        {"{\"sections\": [], \"x\": 1e999}",
         "The data is not valid JSON at byte offset 22: Problem while parsing a number"},
        {std::string(65, '[') + std::string(65, ']'),
         "The data is not valid JSON at byte offset 64: nested deeper than 64 levels"},
        {std::string(64, '[') + std::string(64, ']'), "snapshot: expected an object"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        const std::string error = errorOf(c.json);
        EXPECT_EQ(error.substr(0, c.message.size()), c.message) << error;
    }
}

}  // namespace
}  // namespace tessiva
