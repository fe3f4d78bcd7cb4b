#include <gtest/gtest.h>

#include "autoassign/AutoAssignRun.h"
#include "autoassign/AutoAssignTestSupport.h"

namespace tessiva {
namespace {

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
    ASSERT_EQ(result.links.size(), 2u);
    EXPECT_EQ(result.links[0].trackIndex, 1);
    EXPECT_EQ(result.links[0].target.name, "Cello");
    EXPECT_EQ(result.links[1].trackIndex, 7);
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
