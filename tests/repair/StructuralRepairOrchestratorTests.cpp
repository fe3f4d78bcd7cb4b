// The repair orchestration on virtual time with a real mapping store and a scripted Logic: each
// trigger, settled captures and their retries, confirmation of destructive captures, undo and
// redo restores, the fallback, the modal pause and the reset.
#include <gtest/gtest.h>

#include "support/RepairRig.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

constexpr auto* inserted = &RepairRig::inserted;
constexpr auto* deleted = &RepairRig::deleted;
constexpr auto* reordered = &RepairRig::reordered;

struct Orchestration : ::testing::Test {
    TempFolder folder{"tessiva-repair"};
    RepairRig rig{folder.path()};
    RowMap list = RepairRig::namedRows(20);

    Orchestration() {
        rig.mapAndTrust(list);
        rig.log.clear();
    }
    std::optional<std::string> midiNameAt(int row) const {
        const auto mapping = rig.store.midiMapping(row);
        return mapping ? std::optional(mapping->trackName) : std::nullopt;
    }
};

TEST_F(Orchestration, CommandsOpenAContextAndCaptureAfterTheirDelay) {
    const int before = rig.captures.captures;
    rig.scheduler.advance(5.0);  // the last capture is no longer fresh
    rig.repair.logicCommand(LogicStructuralCommand::deleteBackspace,
                            StructuralSelection{4, "Track 4"});
    ASSERT_TRUE(rig.repair.editContext());
    const StructuralEditContext context = *rig.repair.editContext();
    EXPECT_EQ(context.kind, StructuralEditContext::Kind::deletion);
    EXPECT_TRUE(context.isValid(context.startedAt + 30.0, std::string("song")));
    EXPECT_FALSE(context.isValid(context.startedAt + 30.01, std::string("song")));
    EXPECT_FALSE(context.isValid(context.startedAt + 1.0, std::string("other")));
    EXPECT_EQ(*rig.detailOf("Structural edit context retained"),
              "kind=deletion source=4 \"Track 4\" trustedMax=20 reason=Logic delete/backspace. "
              "Context remains valid until resolved, superseded, contradicted, or reset.");
    EXPECT_EQ(rig.repair.pendingRepairDelta(), 0);
    rig.scheduler.advance(0.14);
    EXPECT_EQ(rig.captures.captures, before);
    rig.scheduler.advance(0.02);
    EXPECT_EQ(rig.captures.captures, before + 1);
    EXPECT_FALSE(rig.repair.pendingRepairDelta());

    // Right after a capture, the next command takes the fast path; it supersedes the context.
    rig.repair.logicCommand(LogicStructuralCommand::undo, std::nullopt);
    EXPECT_TRUE(rig.logged("Structural edit context superseded"));
    rig.scheduler.advance(0.06);
    EXPECT_EQ(rig.captures.captures, before + 2);

    // A "deletion" that added a row ends the context and is repaired as what it is.
    rig.repair.logicCommand(LogicStructuralCommand::deleteBackspace, std::nullopt);
    rig.captures.rows = inserted(list, 20, {"New"});
    rig.scheduler.advance(1.0);
    EXPECT_TRUE(rig.logged("Settled structural evidence contradicted the pending deletion"));
    EXPECT_FALSE(rig.repair.editContext());
}

TEST_F(Orchestration, PublishedInsertionIsAppliedSavedAndUndoneExactly) {
    const MappingProfileSnapshot original = rig.store.snapshot();
    rig.publish(inserted(list, 1, {"New A", "New B"}));
    EXPECT_EQ(rig.repair.pendingRepairDelta(), 2);
    rig.scheduler.advance(1.0);
    EXPECT_FALSE(rig.repair.pendingRepairDelta());
    EXPECT_EQ(midiNameAt(3), "Track 1");
    EXPECT_EQ(midiNameAt(22), "Track 20");
    EXPECT_FALSE(midiNameAt(1));
    ASSERT_TRUE(rig.repair.insertionUndoCandidate());
    EXPECT_EQ(*rig.detailOf("Insertion undo candidate stored"),
              "Stored reversible insertion checkpoint for Logic rows 1, 2.");
    // The repaired profile is on disk.
    RepairRig reader(folder.path());
    EXPECT_EQ(reader.store.snapshot(), rig.store.snapshot());

    rig.command(LogicStructuralCommand::undo, list, 1.0);
    EXPECT_TRUE(rig.logged("Structural reconciliation applied: insertion undo"));
    EXPECT_EQ(rig.store.snapshot(), original);
    EXPECT_EQ(rig.repair.engine().state.maxObservedIndex, 20);
}

TEST_F(Orchestration, InsertionUndoAfterAMappingEditRestoresNothing) {
    rig.publish(inserted(list, 5, {"New"}));
    rig.scheduler.advance(1.0);
    ASSERT_TRUE(rig.store.midiMapping(7)) << "the insertion moved row 6's mapping to row 7";
    MIDIMapping edited = *rig.store.midiMapping(7);
    edited.programChange = 99;
    ASSERT_TRUE(rig.store.setMIDIMapping(7, edited).ok());

    rig.command(LogicStructuralCommand::undo, list, 1.0);
    EXPECT_EQ(*rig.detailOf("Insertion undo candidate cleared"),
              "Mappings changed after the insertion, so its checkpoint cannot be restored safely.");
    EXPECT_FALSE(rig.repair.insertionUndoCandidate());
    // The engine computes the deletion of the inserted row instead: the edit stays with its row.
    EXPECT_EQ(rig.store.midiMapping(6)->programChange, 99);
}

TEST_F(Orchestration, DeletionUndoAndReinsertionRestoreTheDeletedRowsMapping) {
    const MappingProfileSnapshot original = rig.store.snapshot();
    for (const bool byUndo : {true, false}) {
        SCOPED_TRACE(byUndo ? "undo" : "re-inserted");
        // Another row the second time: Logic reaching the first deletion again is a redo.
        const int row = byUndo ? 8 : 12;
        rig.repair.logicCommand(LogicStructuralCommand::deleteBackspace, std::nullopt);
        rig.publish(deleted(list, row));  // the track list poll sees it too
        rig.scheduler.advance(2.0);       // 20 rows: the capture is confirmed first
        ASSERT_TRUE(rig.repair.deletionUndoCandidate());
        EXPECT_EQ(midiNameAt(row), "Track " + std::to_string(row + 1));
        rig.log.clear();
        if (byUndo) {
            rig.command(LogicStructuralCommand::undo, list);
        } else {
            rig.publish(list);
        }
        rig.scheduler.advance(2.0);
        const auto detail = rig.detailOf("Offset repair applied: deletion undo").value_or("");
        EXPECT_NE(detail.find("Highest observed Logic index increased by +1. Restored previous "
                              "mapping snapshot via contiguous deletion undo because deleted "
                              "rows " +
                              std::to_string(row) + " reappeared"),
                  std::string::npos);
        EXPECT_EQ(detail.find("settled insertion matched previous deletion undo candidate") !=
                      std::string::npos,
                  !byUndo);
        EXPECT_EQ(rig.store.snapshot(), original);
    }
}

TEST_F(Orchestration, BlockMoveUndoAndRedoComeFromTheJournal) {
    const MappingProfileSnapshot original = rig.store.snapshot();
    // Rows 3-5 moved below row 12.
    const RowMap moved =
        reordered(list, {1, 2, 6, 7, 8, 9, 10, 11, 12, 3, 4, 5, 13, 14, 15, 16, 17, 18, 19, 20});
    rig.publish(moved);
    rig.scheduler.advance(1.0);
    const MappingProfileSnapshot repaired = rig.store.snapshot();
    EXPECT_EQ(midiNameAt(10), "Track 3");

    rig.command(LogicStructuralCommand::undo, list, 1.0);
    EXPECT_TRUE(rig.logged("Verified structural blockMove undo"));
    // The restore ends the evaluation: the engine does not see the restored rows again.
    EXPECT_FALSE(rig.logged("Structural baseline refreshed"));
    EXPECT_EQ(rig.store.snapshot(), original);
    EXPECT_EQ(rig.repair.journal().cursor(), 0u);

    rig.command(LogicStructuralCommand::redo, moved, 1.0);
    EXPECT_TRUE(rig.logged("Verified structural blockMove redo"));
    EXPECT_EQ(rig.store.snapshot(), repaired);
}

TEST_F(Orchestration, SelectionsThatRevealAChangeScheduleARepair) {
    struct Case {
        const char* what;
        int row;
        const char* name;   // nullptr: none shown
        const char* title;  // nullptr: nothing scheduled
        std::optional<int> delta;
        bool rowAdded = false;  // the selection's own track list has a row more than published
    };
    const Case cases[] = {
        {"row beyond the trusted maximum", 22, "Track 20", "Structural repair scheduled", 2},
        {"saved name differs", 3, "Track 1", "Structural reorder repair scheduled", 0},
        {"matching name", 3, "Track 3", nullptr, std::nullopt},
        {"no name", 3, nullptr, nullptr, std::nullopt},
        {"the selection's track list has one row more", 3, "Track 3", "Structural repair scheduled",
         1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        rig.log.clear();
        RowMap names = list;
        if (c.rowAdded)
            names.emplace(21, "New");
        rig.repair.noteSelection(
            {c.row, c.name ? std::optional<std::string>(c.name) : std::nullopt}, names);
        EXPECT_EQ(rig.repair.pendingRepairDelta(), c.delta);
        EXPECT_TRUE(c.title ? rig.logged(c.title) : rig.log.entries().value().empty());
        rig.scheduler.advance(3.0);
        EXPECT_FALSE(rig.repair.pendingRepairDelta());
    }

    // A name unmapped at its row that a mapping elsewhere carries.
    ASSERT_TRUE(rig.store.clearMIDIMapping(6));
    ASSERT_TRUE(rig.store.removeBankMapping(6));
    rig.log.clear();
    rig.repair.noteSelection({6, "Track 2"}, list);
    EXPECT_EQ(*rig.detailOf("Structural reorder repair scheduled"),
              "\"Track 2\" is unmapped at its new row but still belongs to a mapping at another "
              "row. Scheduled settled reorder repair.");
}

TEST_F(Orchestration, EmptyCapturesAreRetriedThenGivenUp) {
    const int before = rig.captures.captures;
    rig.command(LogicStructuralCommand::duplicate, std::nullopt);
    const double waits[] = {0.15, 0.35, 0.75, 1.25, 2.0};
    for (int attempt = 0; attempt < 5; ++attempt) {
        // Each check starts 0.01 s after the previous capture (the first at the command).
        rig.scheduler.advance(waits[attempt] - (attempt == 0 ? 0.01 : 0.02));
        EXPECT_EQ(rig.captures.captures, before + attempt) << attempt;
        rig.scheduler.advance(0.02);
        EXPECT_EQ(rig.captures.captures, before + attempt + 1) << attempt;
    }
    const auto& entries = rig.log.entries().value();
    ASSERT_EQ(entries.size(), 6u);  // the context, four retries, the failure
    EXPECT_EQ(entries[4].detail, "Could not capture a non-empty Logic track snapshot. retry=4");
    EXPECT_EQ(entries[5].detail,
              "Could not capture a non-empty Logic track snapshot after 4 settled retries. "
              "reason=automatic structural capture after Logic duplicate command");
    EXPECT_FALSE(rig.repair.pendingRepairDelta());
}

TEST_F(Orchestration, DestructiveCapturesNeedAnIdenticalSecondCapture) {
    const RowMap shrunk = deleted(list, 8);
    RowMap renamed = shrunk;
    renamed[3] = "Renamed";
    // The second capture: none, one where only a name differs, an identical one.
    const struct {
        std::optional<RowMap> second;
        const char* title;
    } cases[] = {
        {std::nullopt, "Structural repair deferred without confirming snapshot"},
        {renamed, "Structural repair rejected unstable destructive snapshot"},
        {shrunk,
         "Structural reconciliation applied: Deleted 1 Logic row(s) from row 8; removed affected "
         "mappings and shifted later mappings downward."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        rig.log.clear();
        rig.captures.queued = {shrunk};
        rig.command(LogicStructuralCommand::deleteBackspace, c.second, 0.16);
        EXPECT_EQ(rig.repair.pendingRepairDelta(), 0);  // waiting for the second capture
        rig.scheduler.advance(1.0);
        EXPECT_TRUE(rig.logged(c.title));
        EXPECT_FALSE(rig.repair.pendingRepairDelta());
    }
}

TEST_F(Orchestration, ModalQuarantinePausesAndResumes) {
    rig.captures.quarantined = true;
    rig.command(LogicStructuralCommand::redo, inserted(list, 1, {"New"}), 1.0);
    EXPECT_TRUE(rig.repair.isPaused());
    EXPECT_EQ(rig.repair.pendingRepairDelta(), 0);
    EXPECT_EQ(midiNameAt(1), "Track 1");

    rig.captures.quarantined = false;
    rig.repair.quarantineEnded();
    EXPECT_EQ(*rig.detailOf("Structural edit resumed after AX recovery"),
              "redo repair from its retained source and baseline after Logic's modal quarantine "
              "ended. reason=automatic structural capture after Logic redo command");
    rig.scheduler.advance(1.0);
    EXPECT_EQ(midiNameAt(2), "Track 1");
    EXPECT_FALSE(rig.repair.pendingRepairDelta());
}

TEST_F(Orchestration, HeldEvidenceIsAcceptedWhenInSyncOrFallsBackToTheReconciler) {
    // An unmapped row renamed: nothing explains it, but every mapped row still matches.
    ASSERT_TRUE(rig.store.clearMIDIMapping(10));
    ASSERT_TRUE(rig.store.removeBankMapping(10));
    RowMap renamed = list;
    renamed[10] = "Something Else";
    const MappingProfileSnapshot unchanged = rig.store.snapshot();
    rig.publish(renamed);
    rig.scheduler.advance(1.0);
    EXPECT_TRUE(rig.logged("Structural reconciliation held"));
    EXPECT_NE(rig.detailOf("Structural baseline accepted from in-sync snapshot")
                  ->find("but 19 visible mapped row(s) match Logic"),
              std::string::npos);
    EXPECT_EQ(rig.repair.engine().state.visibleBaseline.at(10), "Something Else");
    EXPECT_EQ(rig.store.snapshot(), unchanged);

    // A long block moved with unrelated renames around it: the engine holds, two captures agree
    // and the reconciler moves the run.
    RepairRig other(folder / "fallback");
    const RowMap names = RepairRig::namedRows(12);
    other.mapAndTrust(names);
    RowMap shuffled = reordered(names, {1, 2, 7, 8, 9, 10, 3, 4, 5, 6, 11, 12});
    shuffled[1] = "Renamed A";
    shuffled[12] = "Renamed B";
    other.publish(shuffled);
    other.scheduler.advance(3.0);
    EXPECT_TRUE(other.logged("Structural reconciliation applied: stable sequence fallback"));
    EXPECT_EQ(other.store.midiMapping(3)->trackName, "Track 7");
    EXPECT_EQ(other.store.midiMapping(7)->trackName, "Track 3");
}

TEST_F(Orchestration, BaselinesAcceptedWithoutRepairAndReset) {
    // The trusted names again, with a nameless row: nothing to capture.
    RowMap same = list;
    same[21] = " ";
    const int captures = rig.captures.captures;
    rig.publish(same);
    rig.scheduler.advance(5.0);
    EXPECT_EQ(rig.captures.captures, captures);
    // A manual sync before any track list was seen accepts nothing.
    RepairRig fresh(folder / "fresh");
    fresh.repair.manualSyncAccepted("learn");
    EXPECT_FALSE(fresh.logged("Manual sync accepted"));

    rig.repair.manualSyncAccepted("learn");
    EXPECT_EQ(*rig.detailOf("Manual sync accepted"),
              "Manual mapping sync accepted as the current structural baseline.");
    // Saved while a mapped row's saved name is not the track Logic shows there: not in sync.
    auto midi = *rig.store.midiMapping(3);
    const std::string shown = midi.trackName;
    midi.trackName = "Someone Else";
    ASSERT_TRUE(rig.store.setMIDIMapping(3, midi).ok());
    rig.repair.profileSaved();
    EXPECT_FALSE(rig.logged("Saved mappings baseline accepted"));
    midi.trackName = shown;
    ASSERT_TRUE(rig.store.setMIDIMapping(3, midi).ok());
    rig.repair.profileSaved();
    EXPECT_EQ(*rig.detailOf("Saved mappings baseline accepted"),
              "The saved mapping identities matched every mapped Logic row. Reset structural "
              "repair history and accepted 20 Logic tracks as the new baseline.");

    rig.captures.rows = std::nullopt;
    rig.repair.profileLoaded("profile loaded: Song.json");
    rig.scheduler.advance(10.0);
    EXPECT_FALSE(rig.logged("Post-load structural baseline accepted"));
    rig.publish(list);
    EXPECT_EQ(*rig.detailOf("Post-load structural baseline recovered"),
              "20 visible Logic track name(s) after the initial post-load snapshot was "
              "unavailable.");

    rig.repair.reset("logic-project-changed");
    EXPECT_TRUE(rig.repair.engine().state.visibleBaseline.empty());
    EXPECT_EQ(rig.repair.journal().entries().size(), 0u);
    EXPECT_EQ(*rig.detailOf("Structural repair state reset"),
              "Cleared pending repair evidence, visible and collapsed baselines, session-end "
              "anchor, transaction history, and trusted max index. reason=logic-project-changed");
}

TEST_F(Orchestration, ANewerTriggerDiscardsTheOlderCapture) {
    rig.publish(inserted(list, 1, {"New"}));
    const std::uint64_t first = rig.repair.automaticStructuralRepairRequestID();
    rig.command(LogicStructuralCommand::undo, list);
    EXPECT_EQ(rig.repair.automaticStructuralRepairRequestID(), first + 1);
    rig.scheduler.advance(1.0);
    // Only the newer capture ran, and it saw the list unchanged.
    EXPECT_EQ(midiNameAt(1), "Track 1");
    EXPECT_FALSE(rig.logged("Insertion undo candidate stored"));
}

}  // namespace
}  // namespace tessiva
