#include <gtest/gtest.h>

#include "logic/TrackListSnapshot.h"

namespace tessiva {
namespace {

TrackListSnapshot make(std::initializer_list<std::pair<const int, std::string>> entries) {
    TrackListSnapshot snapshot;
    snapshot.namesByIndex = entries;
    return snapshot;
}

TEST(TrackListSnapshot, AddsOnlyNamedHeadersAndKeepsTheFirstOfANumber) {
    TrackListSnapshot snapshot;
    EXPECT_TRUE(snapshot.add({2, "Bass"}));
    EXPECT_FALSE(snapshot.add({2, "Other"}));
    EXPECT_FALSE(snapshot.add({3, std::nullopt}));
    EXPECT_FALSE(snapshot.add({4, ""}));
    EXPECT_FALSE(snapshot.add({0, "Zero"}));
    EXPECT_EQ(snapshot.namesByIndex, (std::map<int, std::string>{{2, "Bass"}}));
}

// The name index is checked through the observer's snapshots.
TEST(TrackListSnapshot, Signature) {
    const auto snapshot = make({{10, "Horn"}, {2, "Violins"}, {5, "Violins"}, {1, "Horn"}});
    EXPECT_EQ(snapshot.signature(), "1:Horn|2:Violins|5:Violins|10:Horn");
    EXPECT_EQ(TrackListSnapshot{}.signature(), "");
}

TEST(TrackListSnapshot, TrustedMaximumComesFromCompleteLists) {
    const auto complete = make({{1, "A"}, {2, "B"}, {3, "C"}});
    const auto gapped = make({{1, "A"}, {2, "Stack"}, {6, "F"}});
    // A complete list sets the maximum, also downwards.
    EXPECT_TRUE(complete.isContiguousFromOne());
    EXPECT_EQ(complete.nextTrustedMaximum(std::nullopt), 3);
    EXPECT_EQ(complete.nextTrustedMaximum(9), 3);
    EXPECT_TRUE(complete.coversUpTo(3));
    EXPECT_FALSE(complete.coversUpTo(4));
    // A list with gaps can only raise it.
    EXPECT_FALSE(gapped.isContiguousFromOne());
    EXPECT_EQ(gapped.nextTrustedMaximum(std::nullopt), 6);
    EXPECT_EQ(gapped.nextTrustedMaximum(9), 9);
    EXPECT_FALSE(gapped.coversUpTo(6));
    EXPECT_EQ(TrackListSnapshot{}.nextTrustedMaximum(4), 4);
    EXPECT_FALSE(make({{2, "B"}, {3, "C"}}).isContiguousFromOne());
}

}  // namespace
}  // namespace tessiva
