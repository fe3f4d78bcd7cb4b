#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "app/MappingsEditor.h"
#include "app/ProjectProfileSetup.h"
#include "app/RecallSaveTarget.h"
#include "autoassign/AutoAssignCoordinator.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

TEST(RecallSaveTarget, MappingsGoBackWhereTheyCameFrom) {
    const fs::path folder = "/profiles";
    struct Case {
        const char* name;
        std::optional<std::string> previous;
        fs::path loaded;
        std::set<fs::path> existing;
        RecallSaveTarget::Kind kind;
        fs::path file;
    };
    using Kind = RecallSaveTarget::Kind;
    const std::vector<Case> cases = {
        {"the previous project's own profile",
         "Cue - Tracks",
         folder / "Cue.json",
         {folder / "Cue.json"},
         Kind::previousProjectProfile,
         folder / "Cue.json"},
        {"loaded from another project: back to its file",
         "Cue - Tracks",
         folder / "Song.json",
         {folder / "Song.json"},
         Kind::loadedFile,
         folder / "Song.json"},
        {"loaded from a file of no project",
         "Cue - Tracks",
         folder / "Tessiva Focus Mappings.json",
         {},
         Kind::loadedFile,
         folder / "Tessiva Focus Mappings.json"},
        {"a third project's file is never overwritten",
         "Cue - Tracks",
         fs::path(),
         {folder / "Cue.json"},
         Kind::refused,
         fs::path()},
        {"nothing loaded and no file yet: created",
         "Cue - Tracks",
         fs::path(),
         {},
         Kind::previousProjectProfile,
         folder / "Cue.json"},
        {"no previous project and nothing loaded",
         std::nullopt,
         fs::path(),
         {},
         Kind::refused,
         fs::path()},
        {"the mappings are the new project's own",
         "Cue - Tracks",
         folder / "third.json",
         {},
         Kind::refused,
         fs::path()},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const RecallSaveTarget target = RecallSaveTarget::decide(
            test.previous, test.loaded, "Third - Tracks", folder,
            [&](const fs::path& file) { return test.existing.count(file) != 0; });
        EXPECT_EQ(target.kind, test.kind);
        EXPECT_EQ(target.file, test.file);
        EXPECT_EQ(target.refusal.empty(), test.kind != Kind::refused);
    }
}

TEST(ProjectProfileSetup, OffersTheProjectFileOnlyWhileItIsMissing) {
    const fs::path folder = "/profiles";
    auto none = [](const fs::path&) { return false; };
    auto songExists = [&](const fs::path& file) { return file == folder / "Song.json"; };
    EXPECT_EQ(ProjectProfileSetup::missingProjectProfile(
                  "Song - Tracks", folder / "Tessiva Focus Mappings.json", folder, none),
              "Song.json");
    EXPECT_EQ(ProjectProfileSetup::missingProjectProfile(std::nullopt, fs::path(), folder, none),
              std::nullopt);
    // Loaded already (any folder, any case), or waiting to be restored or recalled.
    EXPECT_EQ(ProjectProfileSetup::missingProjectProfile("Song - Tracks", "/elsewhere/song.json",
                                                         folder, none),
              std::nullopt);
    EXPECT_EQ(ProjectProfileSetup::missingProjectProfile("Song - Tracks", folder / "Cue.json",
                                                         folder, songExists),
              std::nullopt);
    EXPECT_EQ(ProjectProfileSetup::proposedSaveAsName("Song.logicx - Tracks", "Other.json"),
              "Song.json");
    EXPECT_EQ(ProjectProfileSetup::proposedSaveAsName(std::nullopt, "Other.json"), "Other.json");
}

TEST(MappingsEditor, RowsAssignmentsAndSyncWarnings) {
    VirtualScheduler scheduler;
    CapturingConsole console;
    NotificationCenter notifications(scheduler.mainQueue());
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());
    MappingStore store({scheduler.mainQueue(), scheduler.clock(), console, log});
    const TempFolder folder("tessiva-editor");
    store.open(folder.path());
    MappingsEditor editor(store, notifications, console, log);
    int accepted = 0;
    auto token = notifications.addObserver(kManualMappingSyncAcceptedNotification,
                                           [&](const Notification&) { ++accepted; });

    ASSERT_TRUE(
        editor.updateMIDI(2, MIDIMapping{MappingEventType::note, std::nullopt, 60, 4, "Bass"}));
    EXPECT_FALSE(editor.updateMIDI(
        3, MIDIMapping{MappingEventType::programChange, 128, std::nullopt, 1, "Drums"}));
    RemoteWorkspaceBank bank{"B1", "Upright", "G1", "Low", "Rhythm", 3, {}, std::nullopt};
    ASSERT_TRUE(editor.assignBank(2, bank, std::nullopt));
    EXPECT_EQ(store.bankMapping(2)->groupUUID, "G1");
    EXPECT_EQ(store.bankMapping(2)->sectionName, "Rhythm");
    EXPECT_EQ(accepted, 2);  // the refused edit is not a new baseline

    // Logic now shows another name at row 2 and a new track at row 5.
    MappingStore::TrackNameSnapshot live;
    live.namesByRow = {{2, "Synth Bass"}, {5, "Choir"}};
    live.changedRows = {2, 5};
    store.applyLogicTrackNameSnapshot(live);
    const auto rows = MappingsEditor::rows(store);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].row, 2);
    EXPECT_EQ(rows[0].name, "Synth Bass");
    EXPECT_EQ(rows[0].savedName, "Bass");
    EXPECT_TRUE(rows[0].nameOutOfSync);
    EXPECT_EQ(rows[0].bankName, "Upright");
    EXPECT_FALSE(rows[1].nameOutOfSync);
    EXPECT_FALSE(rows[1].midi.has_value());
    EXPECT_EQ(MappingsEditor::outOfSyncCount(rows), 1u);

    // Everything was saved as it happened.
    MappingStore reopened({scheduler.mainQueue(), scheduler.clock(), console, log});
    reopened.open(folder.path());
    EXPECT_EQ(reopened.midiMapping(2)->note, 60);
    EXPECT_EQ(reopened.bankMapping(2)->bankUUID, "B1");
}

}  // namespace
}  // namespace tessiva
