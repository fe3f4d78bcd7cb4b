// The pure parts of applying repairs: the proposed transaction and its check, the journal, the
// undo candidates, the capture rules and Logic's commands.
#include <gtest/gtest.h>

#include "repair/LogicStructuralCommand.h"
#include "repair/SettledCapturePolicy.h"
#include "repair/StructuralMappingTransaction.h"
#include "repair/StructuralMappingTransactionJournal.h"
#include "repair/StructuralUndoCandidates.h"

namespace tessiva {
namespace {

MappingProfileSnapshot profile(std::initializer_list<std::pair<int, const char*>> rows) {
    MappingProfileSnapshot snapshot;
    for (const auto& [row, name] : rows) {
        snapshot.trackIndexToPC[row] = row;
        snapshot.trackIndexToName[row] = name;
        snapshot.trackIndexToChannel[row] = 1;
        OSCBankFocusMapping bank;
        bank.trackIndex = row;
        bank.trackName = name;
        bank.bankUUID = std::string("BANK-") + name;
        snapshot.oscBankFocusMappingsByTrackIndex[row] = bank;
        snapshot.oscTrackIdentityByIndex[row] = "logic-row-" + std::to_string(row);
    }
    return snapshot;
}

TEST(StructuralMappingTransaction, ProposalMovesWholeRowsAndTheCheckCatchesAnyDeparture) {
    const MappingProfileSnapshot before = profile({{1, "A"}, {2, "B"}, {3, "C"}});
    const StructuralMappingTransaction insertion{{{2, 4}, {3, 5}}, {}, {2, 3}};
    const MappingProfileSnapshot after = insertion.propose(before);
    EXPECT_EQ(after.trackIndexToName, (RowMap{{1, "A"}, {4, "B"}, {5, "C"}}));
    EXPECT_EQ(after.oscBankFocusMappingsByTrackIndex.at(4).trackIndex, 4);
    EXPECT_EQ(after.oscTrackIdentityByIndex.at(4), "logic-row-2");
    EXPECT_EQ(after.oscTrackIdentityByIndex.at(2), "inserted-1");
    EXPECT_EQ(after.oscTrackIdentityByIndex.at(3), "inserted-2");
    EXPECT_EQ(after.oscInsertedTrackSerial, 2);
    EXPECT_TRUE(insertion.reproducedBy(before, after));

    const StructuralMappingTransaction deletion{{{3, 2}}, {2}, {}};
    const MappingProfileSnapshot shrunk = deletion.propose(before);
    EXPECT_EQ(shrunk.trackIndexToName, (RowMap{{1, "A"}, {2, "C"}}));
    EXPECT_TRUE(deletion.reproducedBy(before, shrunk));

    // Departures from the proposal, each caught.
    MappingProfileSnapshot tampered = after;
    tampered.trackIndexToPC[4] = 77;
    EXPECT_FALSE(insertion.reproducedBy(before, tampered));
    tampered = after;
    tampered.trackIndexToNote[9] = 60;  // a row nobody moved there
    EXPECT_FALSE(insertion.reproducedBy(before, tampered));
    tampered = after;
    tampered.oscBankFocusMappingsByTrackIndex.at(5).trackIndex = 3;
    EXPECT_FALSE(insertion.reproducedBy(before, tampered));
    tampered = after;
    tampered.oscInsertedTrackSerial = 3;
    EXPECT_FALSE(insertion.reproducedBy(before, tampered));
    EXPECT_FALSE(insertion.reproducedBy(before, before));
    // Two rows landing on one never verify.
    const StructuralMappingTransaction collision{{{1, 2}}, {}, {}};
    EXPECT_FALSE(collision.reproducedBy(before, collision.propose(before)));
}

TEST(StructuralMappingTransactionJournal, KeepsCapacityAndMatchesOnlyTheEntryInForce) {
    StructuralMappingTransactionJournal journal(2);
    const RowMap one{{1, "A"}}, two{{1, "A"}, {2, "B"}}, three{{1, "A"}, {2, "B"}, {3, "C"}};
    const auto p1 = profile({{1, "A"}}), p2 = profile({{2, "A"}}), p3 = profile({{3, "A"}});
    using Kind = StructuralMappingRepairEngine::AppliedRepair::Kind;
    journal.record({Kind::insertionOffset, one, two, {}, {}, p1, p2});
    journal.record({Kind::insertionOffset, two, three, {}, {}, p2, p3});
    EXPECT_EQ(journal.inverseMatch(two, p3), std::optional<std::size_t>(1));
    EXPECT_FALSE(journal.inverseMatch(one, p3));  // the older entry is not in force
    EXPECT_FALSE(journal.inverseMatch(two, p2));  // mappings changed since
    journal.stepBack(1);
    EXPECT_EQ(journal.inverseMatch(RowMap{{1, " A\u00A0"}}, p2), std::optional<std::size_t>(0));
    EXPECT_EQ(journal.forwardMatch(three, p2), std::optional<std::size_t>(1));
    // A new repair drops the redo history, then the oldest beyond the capacity.
    journal.record({Kind::blockMove, two, two, {}, {}, p2, p1});
    journal.record({Kind::blockMove, two, one, {}, {}, p1, p3});
    ASSERT_EQ(journal.entries().size(), 2u);
    EXPECT_EQ(journal.entries().front().kind, Kind::blockMove);
    EXPECT_EQ(journal.cursor(), 2u);
    EXPECT_FALSE(journal.forwardMatch(three, p2));
}

TEST(StructuralUndoCandidates, DeletedRowsMustReappearWithTheirNames) {
    using R = TessivaNonContiguousDeletionUndoCandidate::Restoration;
    TessivaNonContiguousDeletionUndoCandidate block;
    block.deletedRows = {{5, "Strings"}, {6, "Violins"}, {7, "Cellos"}};
    const struct {
        const char* what;
        RowMap visible;
        std::optional<R> expected;
    } cases[] = {
        {"all back", {{4, "x"}, {5, "Strings"}, {6, "Violins"}, {7, "Cellos"}}, R::contiguous},
        {"stack closed over them", {{5, "Strings"}, {8, "x"}}, R::collapsedStack},
        {"another name", {{5, "Strings"}, {6, "Violas"}, {7, "Cellos"}}, std::nullopt},
        {"header missing", {{6, "Violins"}, {7, "Cellos"}}, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(block.restorationIn(c.visible), c.expected);
    }
    TessivaNonContiguousDeletionUndoCandidate apart;
    apart.deletedRows = {{2, "B"}, {9, "I"}};
    EXPECT_EQ(apart.restorationIn({{2, "B"}, {9, "I"}}), R::nonContiguous);
    EXPECT_EQ(apart.rowsText(), " 2, 9");
    EXPECT_EQ(deletionUndoLabel(R::collapsedStack), "collapsed-stack deletion undo");
    apart.createdAt = 10;
    EXPECT_FALSE(apart.isExpired(310));
    EXPECT_TRUE(apart.isExpired(310.01));

    TessivaInsertionUndoCandidate insertion;
    insertion.visibleBaselineBeforeInsertion = {{1, "A"}, {2, "B"}};
    EXPECT_TRUE(insertion.matchesUndo({{1, "A "}, {2, "B"}}));
    EXPECT_FALSE(insertion.matchesUndo({{1, "A"}, {2, "B"}, {3, "New"}}));
}

TEST(SettledCapturePolicy, DestructiveCapturesAndTransientCollapses) {
    const struct {
        int trusted, captured, visible, baseline;
        bool forced, expected;
    } cases[] = {
        {15, 14, 14, 15, false, false},  // small lists are trusted at once
        {15, 14, 14, 15, true, true},    // unless a caller forces it
        {16, 15, 15, 16, false, true},   // rows vanished
        {30, 30, 9, 30, false, true},    // 27 < 30: most rows vanished
        {30, 30, 10, 30, false, false},  // 30 = 30
        {30, 30, 2, 7, false, false},    // a baseline of 7 rows never counts as a collapse
        {16, 0, 0, 16, false, false},    // nothing captured
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SettledCapturePolicy::needsConfirmation(c.trusted, c.captured, c.visible,
                                                          c.baseline, c.forced),
                  c.expected)
            << c.trusted << " " << c.captured << " " << c.visible << " " << c.baseline;
    }
    const RowMap sparse{{1, "A"}, {10, "Last"}};
    EXPECT_TRUE(SettledCapturePolicy::isTransientMaximumCollapse(20, sparse, 20, 20, "End"));
    EXPECT_FALSE(SettledCapturePolicy::isTransientMaximumCollapse(20, {{1, "A"}, {10, "End"}}, 20,
                                                                  20, "End"));
    EXPECT_FALSE(SettledCapturePolicy::isTransientMaximumCollapse(10, sparse, 20, 20, "End"));
}

TEST(LogicStructuralCommand, KeysAndMenuTitles) {
    using C = LogicStructuralCommand;
    using namespace logic_command_key;
    const struct {
        int key;
        unsigned modifiers;
        std::optional<C> expected;
    } keys[] = {
        {kZ, kCommand, C::undo},
        {kZ, kCommand | kShift, C::redo},
        {kZ, 0, std::nullopt},
        {kD, kCommand, C::duplicate},
        {kD, 0, std::nullopt},
        {kDelete, kCommand, C::deleteBackspace},
        {kDelete, 0, C::deleteBackspace},
        {kForwardDelete, 0, C::deleteBackspace},
    };
    for (const auto& k : keys)
        EXPECT_EQ(logicCommandForKey(k.key, k.modifiers), k.expected)
            << k.key << " " << k.modifiers;
    EXPECT_EQ(logicCommandForMenuTitle("Undo Delete Track"), C::undo);
    EXPECT_EQ(logicCommandForMenuTitle("Redo"), C::redo);
    EXPECT_EQ(logicCommandForMenuTitle("New Track With Duplicate Settings"), C::duplicate);
    EXPECT_EQ(logicCommandForMenuTitle("Delete"), C::deleteBackspace);
    EXPECT_EQ(logicCommandForMenuTitle("Undo History…"), std::nullopt);
    EXPECT_EQ(logicCommandForMenuTitle("Undone"), std::nullopt);
    EXPECT_EQ(logicCommandForMenuTitle("Delete Unused Tracks"), C::deleteBackspace);
    EXPECT_EQ(logicCommandForMenuTitle("Delete Regions"), std::nullopt);
    EXPECT_EQ(editKindFor(C::duplicate), StructuralEditContext::Kind::duplication);
}

}  // namespace
}  // namespace tessiva
