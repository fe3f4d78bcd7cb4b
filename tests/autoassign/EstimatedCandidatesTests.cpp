#include <gtest/gtest.h>

#include "autoassign/AutoAssignGroupContextResolver.h"
#include "autoassign/AutoAssignTestSupport.h"
#include "autoassign/EstimatedCandidates.h"

namespace tessiva {
namespace {

struct Expected {
    std::string target;
    double confidence;
    std::string reason;
};

// The rules as data: a track, the workspace's target names, and the candidates offered, best
// first. One target per rule row unless the row is about merging or order.
TEST(EstimatedCandidates, RulesTableAndTheStackHeaderAbove) {
    struct Case {
        const char* track;
        std::vector<std::string> targets;
        std::vector<Expected> expected;
    };
    const std::string suffixOnTrack = "track name only adds a trailing desk/voice suffix";
    const std::string suffixOnTarget = "bank/group name only adds a trailing desk/voice suffix";
    const std::string trackStarts = "track name starts with the bank/group name";
    const std::string targetStarts = "bank/group name starts with the track name";
    const std::string containsFull = "track name contains the full bank/group name";
    const std::string containsToken = "track name contains this bank/group token";
    const std::string principal = "same principal instrument";
    const Case cases[] = {
        // Suffix on the track, then prefix, token and instrument: one candidate, capped.
        {"Violins 1",
         {"Violins"},
         {{"Violins", 0.99,
           suffixOnTrack + "; " + trackStarts + "; " + containsToken + "; " + principal}}},
        // Suffix on the track and prefix only (no instrument word): 0.94 + 0.05.
        {"Choir 2",
         {"Choir"},
         {{"Choir", 0.99, suffixOnTrack + "; " + trackStarts + "; " + containsToken}}},
        {"Choir", {"Choir 2"}, {{"Choir 2", 0.97, suffixOnTarget + "; " + targetStarts}}},
        {"Synth Pad Warm", {"Synth Pad"}, {{"Synth Pad", 0.91, trackStarts + "; " + containsFull}}},
        {"Pad", {"Pad Warm Evolving"}, {{"Pad Warm Evolving", 0.84, targetStarts}}},
        {"Warm Synth Pad", {"Synth Pad"}, {{"Synth Pad", 0.88, containsFull}}},
        {"Ambient Pad", {"Pad"}, {{"Pad", 0.78, containsToken}}},
        {"Trumpet Solo", {"Trumpets Section Long"}, {{"Trumpets Section Long", 0.86, principal}}},
        // Best first; ties keep the order found.
        {"Flute Solo",
         {"Oboe", "Flutes a2", "Flute"},
         {{"Flute", 0.96, trackStarts + "; " + containsToken + "; " + principal},
          {"Flutes a2", 0.86, principal}}},
        // Exact names and unrelated names give nothing; so does a track without a name.
        {"Oboes", {"Oboe"}, {}},
        {"Clarinet 1", {"Bassoon", "Piano"}, {}},
        {"Viola Solo", {"Violin"}, {}},
        {"***", {"Pad"}, {}},
        // A non-Latin name matches by tokens, never by instrument.
        {"Скрипки 1",
         {"Скрипки", "Violins"},
         {{"Скрипки", 0.99, suffixOnTrack + "; " + trackStarts + "; " + containsToken}}},
    };
    for (const auto& c : cases) {
        std::vector<AutoAssignTarget> targets;
        for (const auto& name : c.targets)
            targets.push_back(bankTarget(name));
        const auto candidates = estimatedAutoAssignCandidates(c.track, targets);
        ASSERT_EQ(candidates.size(), c.expected.size()) << c.track;
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            EXPECT_EQ(candidates[i].target.name, c.expected[i].target) << c.track;
            EXPECT_DOUBLE_EQ(candidates[i].confidence, c.expected[i].confidence) << c.track;
            EXPECT_EQ(candidates[i].reason, c.expected[i].reason) << c.track;
            EXPECT_FALSE(candidates[i].id.empty());
        }
    }

    SCOPED_TRACE("a stack header above raises the instrument match of its group");
    const std::vector<AutoAssignTarget> targetList{
        bankTarget("Violins Long", "b1", "g-hi", "Violins"),
        bankTarget("Violins Long", "b2", "g-lo", "Second Violins"),
    };
    const AutoAssignTargetIndex index(targetList);
    const RowMap rows{{1, "Violins"}, {2, "Vln 1 Legato Soft"}, {3, "Second Violins"}};
    const auto visible = AutoAssignGroupContextResolver::tokenizedRows(rows);

    const auto three = estimatedAutoAssignCandidates(AutoAssignTrack::make(2, "Violin Legato Soft"),
                                                     index, visible);
    ASSERT_EQ(three.size(), 2u);
    EXPECT_EQ(three[0].target.bankUUID, "b1");
    EXPECT_DOUBLE_EQ(three[0].confidence, 0.96);
    EXPECT_EQ(three[0].reason,
              "same principal instrument; nearby stack header Violins identified group Violins "
              "matches the bank context");
    EXPECT_DOUBLE_EQ(three[1].confidence, 0.86);

    // Two tokens: never a group context, whatever stands above.
    const auto two =
        estimatedAutoAssignCandidates(AutoAssignTrack::make(2, "Violin Legato"), index, visible);
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(two[0].reason, "same principal instrument");
    EXPECT_EQ(two[1].reason, "same principal instrument");
}

TEST(GroupContextResolver, NearestIdentifyingRowAboveWins) {
    using namespace AutoAssignGroupContextResolver;
    const std::vector<Candidate> groups{{"g-str", "Strings", {}},
                                        {"g-vln", "Violins", {}},
                                        {"g-vln2", "Violins 2", {}},
                                        {"g-brass", "Brass Low", {}}};
    struct Case {
        RowMap rows;
        int track;
        const char* trackName;
        std::optional<std::string> group;
        int anchor;
    };
    const Case cases[] = {
        {{{1, "Strings"}, {2, "Violins"}, {3, "x"}}, 4, "Vln A Legato", "g-vln", 2},
        // Rows below the track do not count.
        {{{1, "Strings"}, {5, "Violins"}}, 4, "Vln A Legato", "g-str", 1},
        // "Violins" names two groups; the exact one wins.
        {{{1, "Violins"}}, 2, "Vln A Legato", "g-vln", 1},
        // A header may name only part of a group.
        {{{1, "Low"}}, 2, "Tuba Long Soft", "g-brass", 1},
        // A bare number identifies nothing; nothing else above.
        {{{1, "2"}}, 2, "Vln A Legato", std::nullopt, 0},
        // Too short a track name.
        {{{1, "Strings"}}, 2, "Vln Legato", std::nullopt, 0},
    };
    for (const auto& c : cases) {
        const auto found = resolve(c.track, c.trackName, groups, c.rows);
        ASSERT_EQ(found.has_value(), c.group.has_value()) << c.trackName;
        if (found) {
            EXPECT_EQ(found->groupID, *c.group);
            EXPECT_EQ(found->anchorTrackIndex, c.anchor);
        }
    }

    // The look stops after a bounded number of visible rows.
    RowMap far{{1, "Strings"}};
    for (int row = 2; row <= static_cast<int>(kRowsLookedAbove) + 1; ++row)
        far[row] = "Unrelated";
    const int track = static_cast<int>(kRowsLookedAbove) + 2;
    EXPECT_FALSE(resolve(track, "Vln A Legato", groups, far));
    far.erase(2);
    EXPECT_TRUE(resolve(track, "Vln A Legato", groups, far));
}

}  // namespace
}  // namespace tessiva
