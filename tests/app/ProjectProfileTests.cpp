#include <gtest/gtest.h>

#include <filesystem>

#include "RoutingRig.h"
#include "app/MappingReconcile.h"
#include "app/MappingsEditor.h"
#include "app/ProjectProfileSetup.h"
#include "app/ProjectTitle.h"
#include "app/ProjectTracker.h"
#include "app/RecallSaveTarget.h"
#include "autoassign/AutoAssignCoordinator.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

TEST(ProjectTitle, ProjectTitleTestAndBaseName) {
    // Logic 12 localises the window kind and leaves the extension out.
    for (const char* title :
         {"Song.logicx", "Film Cue 3.LOGICX - Tracks", "Old Song.logic", "Symphony - Tracks",
          "Symphony - mixer", "Symphony - Piano Roll", "Lied - Spuren",
          "\u66F2 - \u30C8\u30E9\u30C3\u30AF", "\uACE1 - \uD2B8\uB799", "Cancion - Pistas",
          "Song - Mixer: Tracks"}) {
        EXPECT_TRUE(ProjectTitle::isProjectTitle(title)) << title;
    }
    // " - Tracks" has nothing before the suffix.
    for (const char* title : {" - Tracks", "", "Channel EQ", "Tracks", "Song - Marker List"})
        EXPECT_FALSE(ProjectTitle::isProjectTitle(title)) << title;

    EXPECT_EQ(ProjectTitle::baseName("  Film Cue 3.LogicX - Tracks "), "Film Cue 3");
    EXPECT_EQ(ProjectTitle::baseName("Old Song.logic - Mixer"), "Old Song");
    EXPECT_EQ(ProjectTitle::baseName("Symphony - Score"), "Symphony");
    EXPECT_EQ(ProjectTitle::baseName("\u00A0 "), "Untitled");
    EXPECT_EQ(ProjectTitle::baseName("Song - Mixer: Tracks"), "Song");
    EXPECT_EQ(ProjectTitle::projectKey("Flöte Solo.logicx - Tracks"), "flöte solo");
    EXPECT_EQ(ProjectTitle::projectKey("\u66F2 - \u30C8\u30E9\u30C3\u30AF"), "\u66F2");
    EXPECT_EQ(ProjectTitle::profileFileName("a/b.logicx"), "");
}

class FakeLogic final : public LogicProjectWindow {
  public:
    bool running = true;
    std::optional<std::string> title;
    bool isLogicRunning() const override { return running; }
    std::optional<std::string> windowTitle() const override { return title; }
};

class ScriptedAlert final : public ProjectRecallAlert {
  public:
    std::vector<ProjectRecallPrompt> asked;
    ProjectRecallAnswer answer = ProjectRecallAnswer::keepCurrent;
    ProjectRecallAnswer ask(const ProjectRecallPrompt& prompt) override {
        asked.push_back(prompt);
        return answer;
    }
};

class ProjectTrackerTest : public ::testing::Test, public StoreRig {
  protected:
    // Details of the entries titled `title`, oldest first.
    std::vector<std::string> logged(const std::string& title) const {
        std::vector<std::string> details;
        for (const auto& entry : log.entries().value())
            if (entry.title == title)
                details.push_back(entry.detail.value_or(""));
        return details;
    }
    std::string lastDetail(const std::string& title) const {
        const auto details = logged(title);
        return details.empty() ? "<not logged>" : details.back();
    }

    FakeLogic logic_;
    ScriptedAlert alert_;
    std::vector<std::string> resets_;
    std::vector<std::string> refreshes_;
    ProjectTracker tracker_{{scheduler.mainQueue(), scheduler.clock(), console, log, store, logic_,
                             alert_, folder.path(),
                             [this](const std::string& reason) { resets_.push_back(reason); },
                             [this](const std::string& reason) { refreshes_.push_back(reason); }}};
};

TEST_F(ProjectTrackerTest,
       RestoresTheFirstProjectsProfileByExactNameAndKeepsItThroughOtherWindows) {
    writePCProfile(folder / "Song.json", 3, 42);
    writePCProfile(folder / "Song Old.json", 4, 7);  // a near miss must never be used
    logic_.title = "Song.logicx - Tracks";
    tracker_.start();
    EXPECT_EQ(tracker_.currentProjectKey(), "song");
    scheduler.advance(ProjectTracker::kInitialAutoRestoreDelay);
    EXPECT_EQ(store.fileURL(), folder / "Song.json");
    EXPECT_EQ(tracker_.loadedProfileProjectKey(), "song");
    EXPECT_EQ(tracker_.lastAutoLoadedMappingProjectKey(), "song");
    EXPECT_TRUE(
        console.contains("[MenuBar] Auto-loaded mappings for Logic project: Song.logicx - Tracks"));
    EXPECT_EQ(logged("Auto-loaded mappings for Logic project").size(), 1u);
    scheduler.advance(1.0);
    EXPECT_EQ(refreshes_,
              (std::vector<std::string>{"project-auto-restore", "project-change-settled-refresh"}));

    // Titles of other windows keep the project and are logged at most every 30 seconds.
    logic_.title = "Channel EQ";
    scheduler.advance(29.0);  // 14 polls
    EXPECT_EQ(logged("Ignored non-project Logic window title").size(), 1u);
    EXPECT_EQ(tracker_.lastObservedLogicProjectTitle(), "Song.logicx - Tracks");
    EXPECT_EQ(resets_.size(), 1u);
    scheduler.advance(2.0);  // 31 s after the first entry
    EXPECT_EQ(logged("Ignored non-project Logic window title").size(), 2u);
    EXPECT_NE(lastDetail("Ignored non-project Logic window title")
                  .find("Keeping current project title Song.logicx - Tracks"),
              std::string::npos);
    logic_.title = "";
    scheduler.advance(2.0);
    EXPECT_EQ(logged("Project mapping auto-restore waiting").size(), 1u);
    logic_.running = false;
    scheduler.advance(60.0);
    EXPECT_EQ(logged("Project mapping auto-restore waiting").size(), 1u);
}

TEST_F(ProjectTrackerTest, NoExactFileMeansNothingLoadedAndNoRetryLater) {
    writePCProfile(folder / "Other.json", 1, 1);
    logic_.title = "Song.logicx - Tracks";
    tracker_.start();
    scheduler.advance(1.0);
    EXPECT_EQ(store.fileURL().filename(), "Tessiva Focus Mappings.json");
    EXPECT_EQ(logged("No project mappings file found").size(), 1u);
    EXPECT_TRUE(console.contains("[MenuBar] No project mappings file found: " +
                                 (folder / "Song.json").string()));
    // The file appears later and the user moves on: no auto-restore retry (only the prompt path).
    writePCProfile(folder / "Song.json", 1, 1);
    logic_.title = "Other Song.logicx - Tracks";
    scheduler.advance(2.0);
    logic_.title = "Song.logicx - Tracks";
    scheduler.advance(2.0);
    EXPECT_EQ(logged("Auto-loaded mappings for Logic project").size(), 0u);
}

TEST_F(ProjectTrackerTest, RecallPromptAnswers) {
    writePCProfile(folder / "Song.json", 3, 42);
    writePCProfile(folder / "Cue.json", 9, 99);
    writePCProfile(folder / "Third.json", 5, 55);
    logic_.title = "Song.logicx - Tracks";
    tracker_.start();
    scheduler.advance(4.0);

    // Keep: nothing loaded, and this project is not asked about again.
    alert_.answer = ProjectRecallAnswer::keepCurrent;
    logic_.title = "Cue.logicx - Tracks";
    scheduler.advance(4.0);
    ASSERT_EQ(alert_.asked.size(), 1u);
    EXPECT_EQ(alert_.asked[0].title, "Saved mappings found for Cue");
    EXPECT_EQ(alert_.asked[0].saveAndLoadButton, "Save Current + Load Cue");
    EXPECT_EQ(alert_.asked[0].loadButton, "Load Cue");
    EXPECT_EQ(alert_.asked[0].message.rfind("Logic appears to have switched from Song to Cue.", 0),
              0u);
    EXPECT_EQ(store.fileURL().filename(), "Song.json");
    EXPECT_EQ(logged("Project recall skipped").size(), 1u);
    logic_.title = "Song.logicx - Tracks";
    scheduler.advance(4.0);
    logic_.title = "Cue.logicx - Tracks";
    scheduler.advance(4.0);
    EXPECT_EQ(alert_.asked.size(), 1u);

    // Load: switches without saving.
    alert_.answer = ProjectRecallAnswer::load;
    logic_.title = "Third.logicx - Tracks";
    scheduler.advance(4.0);
    EXPECT_EQ(store.fileURL().filename(), "Third.json");
    EXPECT_EQ(store.midiMapping(5)->programChange, 55);

    // Save current, through Elsewhere, which has no profile, on to Song: Third's mappings go back
    // to Third.json, never under Elsewhere.
    mapPC(store, 6, "Harp", 66, 2);
    logic_.title = "Elsewhere.logicx - Tracks";
    scheduler.advance(4.0);
    alert_.answer = ProjectRecallAnswer::saveCurrentAndLoad;
    logic_.title = "Song.logicx - Tracks";
    scheduler.advance(4.0);
    ASSERT_EQ(alert_.asked.size(), 3u);
    EXPECT_EQ(store.fileURL().filename(), "Song.json");
    EXPECT_FALSE(fs::exists(folder / "Elsewhere.json"));
    EXPECT_EQ(readProfile(folder / "Third.json").trackIndexToPC.at(6), 66);
    EXPECT_EQ(lastDetail("Mappings profile saved")
                  .rfind("Saved current mappings to " + (folder / "Third.json").string(), 0),
              0u);

    // A prompt that comes due after the project moved on is not shown.
    writePCProfile(folder / "Fourth.json", 4, 44);
    logic_.title = "Fourth.logicx - Tracks";
    tracker_.observeLogicTitle("test");
    logic_.title = "Elsewhere.logicx - Tracks";  // no profile: schedules no prompt of its own
    scheduler.advance(ProjectTracker::kRecallPromptDelay);
    EXPECT_EQ(alert_.asked.size(), 3u);
    EXPECT_EQ(lastDetail("Project recall prompt skipped"),
              "Pending prompt for Fourth.logicx - Tracks skipped because Logic now reports "
              "Elsewhere.logicx - Tracks. reason=project-moved-on");
}

TEST_F(ProjectTrackerTest, SavingForAProjectReportsEachFailure) {
    // No file name can come from an empty title.
    EXPECT_FALSE(tracker_.saveCurrentMappingsForProject("", "test").ok());
    EXPECT_EQ(lastDetail("Project recall save skipped"),
              "Could not derive a project mapping filename from title ");

    // A folder where the profile should be: the write fails and says where and why.
    fs::create_directories(folder / "Blocked.json" / "inside");
    EXPECT_FALSE(tracker_.saveCurrentMappingsForProject("Blocked.logicx - Tracks", "test").ok());
    EXPECT_EQ(lastDetail("Mappings profile save failed")
                  .rfind("Could not save current mappings to " +
                             (folder / "Blocked.json").string() + ".\nError:",
                         0),
              0u);

    EXPECT_TRUE(tracker_.saveCurrentMappingsForProject("Fine.logicx - Tracks", "why").ok());
    EXPECT_EQ(lastDetail("Mappings profile saved"),
              "Saved current mappings to " + (folder / "Fine.json").string() + ". reasonwhy");
}

TEST(RecallSaveTarget, MappingsGoBackWhereTheyCameFrom) {
    const fs::path folder = "/profiles";
    using Kind = RecallSaveTarget::Kind;
    // File names are in the profiles folder; "" is no file. Mappings loaded from another project's
    // file go back to it: the tracker's recall test shows that.
    struct Case {
        const char* name;
        std::optional<std::string> previous;
        std::string loaded;
        std::string existing;
        Kind kind;
        std::string file;
    };
    const Case cases[] = {
        {"the previous project's own profile", "Cue - Tracks", "Cue.json", "Cue.json",
         Kind::previousProjectProfile, "Cue.json"},
        {"loaded from a file of no project", "Cue - Tracks", "Tessiva Focus Mappings.json", "",
         Kind::loadedFile, "Tessiva Focus Mappings.json"},
        {"a third project's file is never overwritten", "Cue - Tracks", "", "Cue.json",
         Kind::refused, ""},
        {"nothing loaded and no file yet: created", "Cue - Tracks", "", "",
         Kind::previousProjectProfile, "Cue.json"},
        {"no previous project and nothing loaded", std::nullopt, "", "", Kind::refused, ""},
        {"the mappings are the new project's own", "Cue - Tracks", "third.json", "", Kind::refused,
         ""},
    };
    auto in = [&](const std::string& name) { return name.empty() ? fs::path() : folder / name; };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const RecallSaveTarget target = RecallSaveTarget::decide(
            test.previous, in(test.loaded), "Third - Tracks", folder, [&](const fs::path& file) {
                return !test.existing.empty() && file == in(test.existing);
            });
        EXPECT_EQ(target.kind, test.kind);
        EXPECT_EQ(target.file, in(test.file));
        EXPECT_EQ(target.refusal.empty(), test.kind != Kind::refused);
    }
}

TEST(ProjectProfileSetup, OffersTheProjectFileOnlyWhileItIsMissing) {
    const fs::path folder = "/profiles";
    auto none = [](const fs::path&) { return false; };
    auto songExists = [&](const fs::path& file) { return file == folder / "Song.json"; };
    // The offer itself is shown through the coordinator's menu. Not while there is no project,
    // the file is loaded already (any folder, any case), or waits to be restored or recalled.
    EXPECT_EQ(ProjectProfileSetup::missingProjectProfile(std::nullopt, fs::path(), folder, none),
              std::nullopt);
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
    StoreRig rig;
    MappingsEditor editor(rig.store, rig.center, rig.console, rig.log);
    int accepted = 0;
    auto token = rig.center.addObserver(kManualMappingSyncAcceptedNotification,
                                        [&](const Notification&) { ++accepted; });

    const MIDIMapping bass{MappingEventType::note, std::nullopt, 60, 4, "Bass"};
    ASSERT_TRUE(editor.updateMIDI(2, bass));
    EXPECT_FALSE(editor.updateMIDI(
        3, MIDIMapping{MappingEventType::programChange, 128, std::nullopt, 1, "Drums"}));
    RemoteWorkspaceBank bank{"B1", "Upright", "G1", "Low", "Rhythm", 3, {}, std::nullopt};
    ASSERT_TRUE(editor.assignBank(2, bank, std::nullopt));
    EXPECT_EQ(accepted, 2);  // the refused edit is not a new baseline

    // Logic now shows another name at row 2 and a new track at row 5.
    MappingStore::TrackNameSnapshot live;
    live.namesByRow = {{2, "Synth Bass"}, {5, "Choir"}};
    live.changedRows = {2, 5};
    rig.store.applyLogicTrackNameSnapshot(live);
    const auto rows = MappingsEditor::rows(rig.store);
    EXPECT_EQ(rows, (std::vector<MappingsRow>{
                        {2, "Synth Bass", "Bass", bass, "Upright", "B1", true},
                        {5, "Choir", "", std::nullopt, std::nullopt, std::nullopt, false}}));
    EXPECT_EQ(MappingsEditor::outOfSyncCount(rows), 1u);

    // Everything was saved as it happened.
    const auto saved = readProfile(rig.store.fileURL());
    EXPECT_EQ(saved.trackIndexToNote.at(2), 60);
    EXPECT_EQ(saved.oscBankFocusMappingsByTrackIndex.at(2).groupUUID, "G1");
    EXPECT_EQ(saved.oscBankFocusMappingsByTrackIndex.at(2).sectionName, "Rhythm");
}

// The flow with a real store; each capture request is answered by posting `captures` in turn.
class ReconcileRig : public StoreRig {
  public:
    ReconcileRig() {
        for (const auto& [row, name] : saved)
            mapPC(store, row, name, row * 10);
    }

    // The saved rows, and Logic's list once two new tracks appeared above them.
    const std::map<int, std::string> saved{
        {1, "Flute"}, {2, "Oboe"}, {3, "Clarinet"}, {4, "Bassoon"}};
    const std::map<int, std::string> shifted{{1, "Click"}, {2, "Piccolo"},  {3, "Flute"},
                                             {4, "Oboe"},  {5, "Clarinet"}, {6, "Bassoon"}};

    std::vector<std::map<int, std::string>> captures;
    std::size_t next = 0;
    // What Logic's list reads as now: the latest capture answered.
    std::map<int, std::string> shown;
    MappingReconcile reconcile{{scheduler.mainQueue(), center, console, log, store,
                                [this](const std::string&) {
                                    if (next < captures.size())
                                        shown = captures[next++];
                                },
                                [this] { return shown; }}};
};

TEST(MappingReconcile, OnlyTwoAgreeingCapturesApplyAndCanBeUndone) {
    using State = MappingReconcile::State;
    ReconcileRig rig;
    const MappingProfileSnapshot before = rig.store.snapshot();
    auto run = [&] {
        rig.reconcile.begin();
        rig.scheduler.advance(3.0);
        return rig.reconcile.state();
    };
    // Logic never answers.
    EXPECT_EQ(run(), State::failed);
    EXPECT_TRUE(rig.console.contains("Reconcile could not complete"));

    auto moved = rig.shifted;
    moved[7] = "Horn";  // a track appeared between the captures
    rig.captures = {rig.shifted, moved, rig.saved, rig.saved, rig.shifted, rig.shifted};
    EXPECT_EQ(run(), State::unstable);
    EXPECT_FALSE(rig.reconcile.apply());
    // Logic shows the saved rows: ready, but nothing to move.
    ASSERT_EQ(run(), State::ready);
    EXPECT_FALSE(rig.reconcile.apply());
    EXPECT_FALSE(rig.reconcile.canUndo());
    EXPECT_EQ(rig.store.snapshot(), before);

    ASSERT_EQ(run(), State::ready);
    EXPECT_EQ(rig.reconcile.summary().rfind("Two settled captures agreed on", 0), 0u);
    ASSERT_TRUE(rig.reconcile.apply());
    EXPECT_EQ(rig.store.midiMapping(3),
              (MIDIMapping{MappingEventType::programChange, 10, {}, 1, "Flute"}));
    EXPECT_EQ(rig.store.midiMapping(6)->programChange, 40);
    EXPECT_FALSE(rig.store.midiMapping(1).has_value());
    EXPECT_TRUE(rig.console.contains("Mapping reconcile applied"));

    ASSERT_TRUE(rig.reconcile.undo());
    EXPECT_EQ(rig.store.snapshot(), before);
    EXPECT_FALSE(rig.reconcile.canUndo());
    EXPECT_FALSE(rig.reconcile.apply());
}

TEST(MappingReconcile, RemapNeverOverwritesARowThatStays) {
    MappingProfileSnapshot snapshot;
    snapshot.trackIndexToPC = {{1, 10}, {2, 20}};
    snapshot.trackIndexToName = {{1, "A"}, {2, "B"}};
    // Rows that move onto rows that move on too are the reconcile flow's shift above.
    EXPECT_FALSE(remappedSnapshot(snapshot, {{1, 2}}).has_value());
}

}  // namespace
}  // namespace tessiva
