#include <gtest/gtest.h>

#include "autoassign/AutoAssignGroupContextResolver.h"
#include "autoassign/AutoAssignName.h"
#include "autoassign/AutoAssignRun.h"
#include "autoassign/AutoAssignTestSupport.h"
#include "autoassign/EstimatedCandidates.h"
#include "autoassign/PrincipalInstrument.h"

namespace tessiva {
namespace {

TEST(AutoAssignName, NormalisesNamesAsAUserReadsThem) {
    struct Case {
        const char* name;
        const char* normalized;
    };
    const Case cases[] = {
        {"  Violins 1\n", "violin 1"},
        {"\u00A0Cellos\u00A0", "cello"},
        {"Celli", "cello"},
        {"WOODWINDS", "woodwind"},
        {"Clarinets a2", "clarinet a2"},
        {"Flöte 1", "flöte 1"},
        {"Violas à 2", "viola à 2"},
        {"FLO\u0308TE", "flöte"},  // decomposed umlaut composes
        {"Groß", "gross"},
        {"S&W Strings", "soft and wild string"},
        {"s & w Horns", "soft and wild horn"},
        {"S and W flutes", "soft and wild flute"},
        {"Brass and Woodwinds", "brass and woodwind"},  // "s and w" inside words stays
        {"Abs & W 1", "abs w 1"},                       // ...also when only one side is a word
        {"Trés&W", "trés w"},  // a letter of two bytes before counts as a word too
        {"Horns (a4) – Legato", "horn a4 legato"},
        {"Скрипки 1", "скрипки 1"},
        {"バイオリン 独奏", "バイオリン 独奏"},
        {"--- ***", ""},
        {"\xff"
         "Bass",
         "bass"},  // a malformed byte separates words and is dropped
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(normalizedAutoAssignName(c.name), c.normalized) << c.name;
}

TEST(AutoAssignName, DeskVoiceSuffixIsAWholeSignedInteger) {
    for (const char* yes : {"1", "12", "-2", "+3", "\u0661"})
        EXPECT_TRUE(isDeskVoiceSuffix(yes)) << yes;
    for (const char* no : {"", "-", "1a", "a2", "½", "1.5"})
        EXPECT_FALSE(isDeskVoiceSuffix(no)) << no;
}

TEST(AutoAssignName, PrincipalInstrumentPrefersASingleInstrumentOverASection) {
    struct Case {
        const char* name;
        std::optional<InstrumentFamily> family;
    };
    const Case cases[] = {
        {"Violins 1 Legato", InstrumentFamily::violin},
        {"Strings Violas Long", InstrumentFamily::viola},
        {"Strings Ensemble", InstrumentFamily::string},
        {"Winds Tutti", InstrumentFamily::woodwind},
        {"Woodwinds Tutti", InstrumentFamily::woodwind},
        {"Flute Oboe Unison", InstrumentFamily::flute},
        {"Trombones", InstrumentFamily::trombone},
        {"Piano", std::nullopt},
        {"Скрипки", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(principalInstrument(autoAssignTokens(c.name)), c.family) << c.name;
}

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

std::vector<AutoAssignRow> rowsNamed(const std::vector<std::pair<int, std::string>>& names) {
    std::vector<AutoAssignRow> rows;
    for (const auto& [index, name] : names)
        rows.push_back({index, name, false});
    return rows;
}

TEST(AutoAssignRun, LinksOnlyTheOneExactMatchAndCountsEveryOtherRow) {
    auto rows = rowsNamed({{1, "Cellos"},
                           {2, "Violins 1"},
                           {3, "  "},
                           {4, "Harp"},
                           {5, "Brass"},
                           {6, "Piano"},
                           {7, "Celli"}});
    rows[3].alreadyLinked = true;  // Harp
    const std::vector<AutoAssignTarget> targets{bankTarget("Cello"), bankTarget("Violins"),
                                                bankTarget("brass", "b-1"),
                                                bankTarget("Brass", "b-2"), bankTarget("Harp")};
    const AutoAssignRunResult result = decideAutoAssign(rows, targets, {});

    EXPECT_EQ(result.summary, (AutoAssignSummary{2, 1, 1, 2, 1, 1}));
    // Which rows the links change is the coordinator tests' part.
    ASSERT_EQ(result.links.size(), 2u);
    EXPECT_EQ(result.linkedExamples, (std::vector<std::string>{"Track 1 Cellos", "Track 7 Celli"}));
    EXPECT_EQ(result.ambiguousExamples,
              std::vector<std::string>{"Track 5 Brass matched 2 exact targets"});

    // Violins 1 waits as an estimate; Brass as two exact candidates at 1.0.
    ASSERT_EQ(result.estimatedMatches.size(), 2u);
    const auto& violins = result.estimatedMatches[0];
    EXPECT_EQ(violins.trackIndex, 2);
    ASSERT_EQ(violins.candidates.size(), 1u);
    EXPECT_EQ(
        violins.candidates[0].reason.rfind("track name only adds a trailing desk/voice suffix", 0),
        0u);
    const auto& brass = result.estimatedMatches[1];
    EXPECT_EQ(brass.trackIndex, 5);
    EXPECT_EQ(brass.selectedCandidateIndex, 0);
    ASSERT_EQ(brass.candidates.size(), 2u);
    for (const auto& candidate : brass.candidates) {
        EXPECT_DOUBLE_EQ(candidate.confidence, 1.0);
        EXPECT_EQ(candidate.reason, "multiple exact normalised matches");
    }
    EXPECT_NE(brass.candidates[0].id, brass.candidates[1].id);

    SCOPED_TRACE("an ambiguous exact match puts the group of the header above first");
    const RowMap visible{{1, "Horns B"}, {2, "Horns Long Soft"}};
    const auto exact = decideAutoAssign(rowsNamed({{2, "Horns Long Soft"}}),
                                        {bankTarget("Horn Long Soft", "h1", "g-a", "Brass A"),
                                         bankTarget("Horns Long Soft", "h2", "g-b", "Horns B")},
                                        visible);
    ASSERT_EQ(exact.estimatedMatches.size(), 1u);
    const auto& candidates = exact.estimatedMatches[0].candidates;
    ASSERT_EQ(candidates.size(), 2u);
    EXPECT_EQ(candidates[0].target.bankUUID, "h2");
    EXPECT_EQ(candidates[0].reason,
              "multiple exact normalised matches; nearby stack header Horns B identified group "
              "Horns B");
    EXPECT_EQ(candidates[1].reason, "multiple exact normalised matches");
}

TEST(AutoAssignRun, SummaryShowsAtMostTwelveLinkedAndEightAmbiguousExamples) {
    std::vector<std::pair<int, std::string>> names;
    std::vector<AutoAssignTarget> targets;
    for (int i = 1; i <= 20; ++i) {
        names.emplace_back(i, "Track Name " + std::to_string(i * 100));
        targets.push_back(bankTarget("Track Name " + std::to_string(i * 100)));
    }
    for (int i = 21; i <= 30; ++i) {
        names.emplace_back(i, "Twin " + std::to_string(i));
        targets.push_back(bankTarget("Twin " + std::to_string(i), "a" + std::to_string(i)));
        targets.push_back(bankTarget("twin " + std::to_string(i), "b" + std::to_string(i)));
    }
    const auto result = decideAutoAssign(rowsNamed(names), targets, {});
    const std::string message = result.summaryMessage();
    EXPECT_EQ(message.rfind("Linked: 20\nSkipped already mapped: 0\nSkipped no track name: 0\n"
                            "Skipped no exact match: 0\nSkipped ambiguous: 10\n"
                            "Estimated matches awaiting confirmation: 0\nLinked examples:\n"
                            "Track 1 Track Name 100\n",
                            0),
              0u);
    EXPECT_NE(message.find("Track 12 Track Name 1200\nAmbiguous examples:\n"
                           "Track 21 Twin 21 matched 2 exact targets"),
              std::string::npos);
    EXPECT_EQ(message.find("Track 13 Track Name"), std::string::npos);
    EXPECT_NE(message.find("Track 28 Twin 28"), std::string::npos);
    EXPECT_EQ(message.find("Track 29 Twin 29"), std::string::npos);

    const auto bare = decideAutoAssign(rowsNamed({{1, "Piano"}}), {}, {});
    EXPECT_EQ(bare.summaryMessage(),
              "Linked: 0\nSkipped already mapped: 0\nSkipped no track name: 0\n"
              "Skipped no exact match: 1\nSkipped ambiguous: 0\n"
              "Estimated matches awaiting confirmation: 0");
}

TEST(AutoAssignTargets, BanksThenGroupsOncePerIdentity) {
    RemoteWorkspaceSnapshot workspace;
    workspace.workspaceUUID = "W";
    workspace.sections = {
        {"Strings",
         {workspaceBank("AAA", "Violins 1", "G1", "Violins"),
          workspaceBank("BBB", "Violins 2", "G1", "Violins"), workspaceBank("aaa", "Dup")}},
        {"Misc",
         {workspaceBank("", "Pad"), workspaceBank("", "pad!"),
          workspaceBank("CCC", "X", "", "Empty")}},
    };
    const auto targets = buildAutoAssignTargets(workspace);
    std::vector<std::string> keys;
    for (const auto& t : targets)
        keys.push_back(std::string(autoAssignTargetKindName(t.kind)) + " " +
                       autoAssignTargetIdentityKey(t));
    EXPECT_EQ(keys, (std::vector<std::string>{"bank uuid:aaa", "bank uuid:bbb", "bank name:pad",
                                              "bank uuid:ccc", "group uuid:g1"}));
    const AutoAssignTarget& group = targets.back();
    EXPECT_EQ(group.name, "Violins");
    EXPECT_EQ(group.bankUUID, "AAA");  // the group's first bank represents it
    EXPECT_EQ(group.sectionName, "Strings");
    EXPECT_EQ(group.workspaceUUID, "W");
    EXPECT_FALSE(targets[3].groupUUID);  // an empty group UUID is no group
}

}  // namespace
}  // namespace tessiva
