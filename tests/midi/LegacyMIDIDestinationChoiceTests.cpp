#include <gtest/gtest.h>

#include <vector>

#include "midi/LegacyMIDIDestinationChoice.h"

namespace tessiva {
namespace {

std::string chosen(std::vector<std::string> names) {
    std::vector<MIDIDestination> list;
    std::uint64_t id = 1;
    for (auto& name : names)
        list.push_back(MIDIDestination{id++, std::move(name)});
    auto choice = chooseLegacyMIDIDestination(list);
    return choice ? choice->displayName : "<nothing>";
}

TEST(LegacyMIDIDestinationChoice, PrefersSessionOneThenNetworkThenTheFirst) {
    EXPECT_EQ(chosen({}), "<nothing>");
    EXPECT_EQ(chosen({"IAC Bus 1", "Network Session 1"}), "Network Session 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "My Network Port"}), "My Network Port");
    EXPECT_EQ(chosen({"IAC Bus 1"}), "IAC Bus 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "IAC Bus 2"}), "IAC Bus 1");

    SCOPED_TRACE("containment, ignoring case");
    EXPECT_EQ(chosen({"IAC Bus 1", "session 10"}), "session 10");
    EXPECT_EQ(chosen({"IAC Bus 1", "NETWORK"}), "NETWORK");
    EXPECT_EQ(chosen({"reader:Network Session 1"}), "reader:Network Session 1");

    SCOPED_TRACE("the first pass beats an earlier Network match, and order decides ties");
    EXPECT_EQ(chosen({"Network Port", "Studio Session 1"}), "Studio Session 1");
    EXPECT_EQ(chosen({"A Session 1", "B Session 1"}), "A Session 1");
    EXPECT_EQ(chosen({"Network A", "Network B"}), "Network A");

    SCOPED_TRACE("Sessions 2 or 1x without the space do not count as session 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "Session 2", "Session1"}), "IAC Bus 1");

    SCOPED_TRACE("an unnamed destination reads unknown and keeps its identity");
    const std::vector<MIDIDestination> list{{7, ""}, {8, "IAC Bus 1"}};
    const auto unnamed = chooseLegacyMIDIDestination(list);
    ASSERT_TRUE(unnamed);
    EXPECT_EQ(std::tuple(unnamed->displayName, unnamed->destination.id, unnamed->destination.name),
              std::tuple("<Unknown>", 7u, ""));
}

}  // namespace
}  // namespace tessiva
