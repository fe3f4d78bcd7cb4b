#include <gtest/gtest.h>

#include "repair/MappingSequenceReconciler.h"

namespace tessiva {
namespace {

using Reconciler = MappingSequenceReconciler;

TEST(MappingSequenceReconciler, DensityAndCompleteness) {
    RowMap forty;
    for (int row = 1; row <= 40; ++row)
        forty.emplace(row,
                      row <= 10 || row > 20 ? "Track " + std::to_string(row) : std::string(" "));
    auto plan = Reconciler::plan({}, forty);
    EXPECT_EQ(plan.liveTrackCount, 30);
    EXPECT_DOUBLE_EQ(plan.snapshotDensity, 0.75);
    EXPECT_FALSE(plan.snapshotLooksComplete);

    EXPECT_FALSE(Reconciler::plan({}, {{1, "A"}, {2, "B"}}).snapshotLooksComplete);
    EXPECT_TRUE(Reconciler::plan({}, {{1, "A"}, {2, "B"}, {3, "C"}}).snapshotLooksComplete);
    EXPECT_DOUBLE_EQ(Reconciler::plan({}, {}).snapshotDensity, 0);
}

TEST(MappingSequenceReconciler, OnlyRunsOfThreeUniqueNamesMove) {
    // A, B, C moved down by 2 as a run; X, Y moved as a pair only; "Dup" is used twice.
    const RowMap mapped{{1, "A"},    {2, "B"},    {3, "C"},     {10, "X"},   {11, "Y"},
                        {20, "Dup"}, {21, "Dup"}, {30, "Gone"}, {40, "Same"}};
    const RowMap live{{3, "A"},    {4, "B"},    {5, "C\u00A0"}, {13, "X"},  {14, "Y"},
                      {22, "Dup"}, {23, "Dup"}, {40, "Same"},   {41, "New"}};
    const auto plan = Reconciler::plan(mapped, live);
    EXPECT_EQ(plan.proposedRemap, (std::map<int, int>{{1, 3}, {2, 4}, {3, 5}}));
    ASSERT_EQ(plan.moveGroups.size(), 1u);
    EXPECT_EQ(plan.moveGroups[0].sourceIndices, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(plan.moveGroups[0].destinationIndices, (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(plan.moveGroups[0].names, (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(plan.mappedTrackCount, 9);
    EXPECT_EQ(plan.alreadyCorrectCount, 1);
    EXPECT_EQ(plan.missingMappedTrackCount, 1);
    EXPECT_EQ(plan.addedLiveTrackCount, 1);
    EXPECT_EQ(plan.ambiguousMappedTrackCount, 2);
    EXPECT_EQ(plan.contextResolvedCount, 0);

    // The same pair of three moved together is trusted; with a minimum of 2 the pair is too.
    EXPECT_EQ(Reconciler::plan(mapped, live, 2).proposedRemap.size(), 5u);
    EXPECT_EQ(Reconciler::plan(mapped, live, 1).proposedRemap.size(), 5u);
}

TEST(MappingSequenceReconciler, NeighboursSettleButNeverMoveARepeatedName) {
    const RowMap mapped{{1, "A"}, {2, "B"}, {3, "Pad"}, {4, "C"}, {5, "D"}, {8, "Pad"}};
    const RowMap live{{2, "A"}, {3, "B"}, {4, "Pad"}, {5, "C"}, {6, "D"}, {20, "Pad"}};
    const auto plan = Reconciler::plan(mapped, live);
    EXPECT_EQ(plan.contextResolvedCount, 1);       // row 3 sits inside the +1 run
    EXPECT_EQ(plan.ambiguousMappedTrackCount, 1);  // row 8 has no run around it
    EXPECT_FALSE(plan.proposedRemap.contains(3));
    EXPECT_FALSE(plan.proposedRemap.contains(8));
    EXPECT_EQ(plan.proposedRemap.size(), 4u);
}

}  // namespace
}  // namespace tessiva
