#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "app/ProjectTitle.h"
#include "app/ProjectTracker.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

TEST(ProjectTitle, ProjectTitleTestAndBaseName) {
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Song.logicx"));
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Film Cue 3.LOGICX - Tracks"));
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Old Song.logic"));
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Symphony - Tracks"));
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Symphony - mixer"));
    EXPECT_TRUE(ProjectTitle::isProjectTitle("Symphony - Piano Roll"));
    EXPECT_FALSE(ProjectTitle::isProjectTitle(" - Tracks"));  // nothing before the suffix
    EXPECT_FALSE(ProjectTitle::isProjectTitle(""));
    EXPECT_FALSE(ProjectTitle::isProjectTitle("Channel EQ"));
    EXPECT_FALSE(ProjectTitle::isProjectTitle("Tracks"));

    EXPECT_EQ(ProjectTitle::baseName("Song.logicx"), "Song");
    EXPECT_EQ(ProjectTitle::baseName("  Film Cue 3.LogicX - Tracks "), "Film Cue 3");
    EXPECT_EQ(ProjectTitle::baseName("Old Song.logic - Mixer"), "Old Song");
    EXPECT_EQ(ProjectTitle::baseName("Symphony - Score"), "Symphony");
    EXPECT_EQ(ProjectTitle::baseName(""), "Untitled");
    EXPECT_EQ(ProjectTitle::baseName("\u00A0 "), "Untitled");
    EXPECT_EQ(ProjectTitle::projectKey("Flöte Solo.logicx - Tracks"), "flöte solo");
    EXPECT_EQ(ProjectTitle::profileFileName("Song.logicx - Tracks"), "Song.json");
    EXPECT_EQ(ProjectTitle::profileFileName("a/b.logicx"), "");

    // Logic 12 localises the window kind and leaves the extension out.
    for (const char* title :
         {"Lied - Spuren", "\u66F2 - \u30C8\u30E9\u30C3\u30AF", "\uACE1 - \uD2B8\uB799",
          "Cancion - Pistas", "Song - Mixer: Tracks"}) {
        SCOPED_TRACE(title);
        EXPECT_TRUE(ProjectTitle::isProjectTitle(title));
    }
    EXPECT_EQ(ProjectTitle::baseName("Lied - Spuren"), "Lied");
    EXPECT_EQ(ProjectTitle::baseName("Song - Mixer: Tracks"), "Song");
    EXPECT_EQ(ProjectTitle::projectKey("\u66F2 - \u30C8\u30E9\u30C3\u30AF"), "\u66F2");
    EXPECT_FALSE(ProjectTitle::isProjectTitle("Song - Marker List"));
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

class ProjectTrackerTest : public ::testing::Test {
  protected:
    ProjectTrackerTest()
        : log_(scheduler_.mainQueue(), scheduler_.clock()),
          store_({scheduler_.mainQueue(), scheduler_.clock(), console_, log_}) {
        store_.open(folder_.path());
        tracker_ = std::make_unique<ProjectTracker>(ProjectTracker::Dependencies{
            scheduler_.mainQueue(), scheduler_.clock(), console_, log_, store_, logic_, alert_,
            folder_.path(), [this](const std::string& reason) { resets_.push_back(reason); },
            [this](const std::string& reason) { refreshes_.push_back(reason); }});
    }
    ~ProjectTrackerTest() override { tracker_.reset(); }

    void writeProfile(const std::string& name, int row, int program) {
        MappingProfileSnapshot snapshot = store_.snapshot();
        snapshot.trackIndexToPC = {{row, program}};
        snapshot.trackIndexToName = {{row, "Track"}};
        snapshot.trackIndexToChannel = {{row, 1}};
        snapshot.trackIndexToEventType = {{row, MappingEventType::programChange}};
        ASSERT_TRUE(MappingProfileFile::write(folder_ / name, snapshot).ok());
    }
    std::size_t logCount(const std::string& title) const {
        std::size_t n = 0;
        for (const auto& entry : log_.entries().value())
            n += entry.title == title;
        return n;
    }
    const DebugLogStore::Entry* lastLog(const std::string& title) const {
        const DebugLogStore::Entry* found = nullptr;
        for (const auto& entry : log_.entries().value()) {
            if (entry.title == title)
                found = &entry;
        }
        return found;
    }

    VirtualScheduler scheduler_;
    TempFolder folder_{"tessiva-project"};
    CapturingConsole console_;
    DebugLogStore log_;
    MappingStore store_;
    FakeLogic logic_;
    ScriptedAlert alert_;
    std::vector<std::string> resets_;
    std::vector<std::string> refreshes_;
    std::unique_ptr<ProjectTracker> tracker_;
};

TEST_F(ProjectTrackerTest, RestoresTheFirstProjectsProfileOnceByExactName) {
    writeProfile("Song.json", 3, 42);
    writeProfile("Song Old.json", 4, 7);  // a near miss must never be used
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    EXPECT_EQ(resets_.size(), 1u);
    EXPECT_EQ(tracker_->currentProjectKey(), "song");
    scheduler_.advance(ProjectTracker::kInitialAutoRestoreDelay);
    EXPECT_EQ(store_.fileURL(), folder_ / "Song.json");
    EXPECT_EQ(store_.midiMapping(3)->programChange, 42);
    EXPECT_EQ(tracker_->loadedProfileProjectKey(), "song");
    EXPECT_EQ(tracker_->lastAutoLoadedMappingProjectKey(), "song");
    EXPECT_TRUE(console_.contains(
        "[MenuBar] Auto-loaded mappings for Logic project: Song.logicx - Tracks"));
    ASSERT_NE(lastLog("Auto-loaded mappings for Logic project"), nullptr);
    scheduler_.advance(1.0);
    EXPECT_EQ(refreshes_,
              (std::vector<std::string>{"project-auto-restore", "project-change-settled-refresh"}));
}

TEST_F(ProjectTrackerTest, ALocalizedLogic12TitleRestoresItsProfile) {
    writeProfile("Lied.json", 2, 11);
    logic_.title = "Lied - Spuren";  // German Logic 12: no ".logicx", a translated window kind
    tracker_->start();
    scheduler_.advance(ProjectTracker::kInitialAutoRestoreDelay);
    EXPECT_EQ(store_.fileURL(), folder_ / "Lied.json");
    EXPECT_EQ(tracker_->loadedProfileProjectKey(), "lied");
    EXPECT_EQ(tracker_->currentProjectKey(), "lied");
}

TEST_F(ProjectTrackerTest, NoExactFileMeansNothingLoadedAndNoRetryLater) {
    writeProfile("Other.json", 1, 1);
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    scheduler_.advance(1.0);
    EXPECT_TRUE(tracker_->hasAttemptedInitialProjectAutoRestore());
    EXPECT_EQ(store_.fileURL().filename(), "Tessiva Focus Mappings.json");
    EXPECT_EQ(logCount("No project mappings file found"), 1u);
    EXPECT_TRUE(console_.contains("[MenuBar] No project mappings file found: " +
                                  (folder_ / "Song.json").string()));
    // The file appears later and the user moves on: no auto-restore retry (only the prompt path).
    writeProfile("Song.json", 1, 1);
    logic_.title = "Other Song.logicx - Tracks";
    scheduler_.advance(2.0);
    logic_.title = "Song.logicx - Tracks";
    scheduler_.advance(2.0);
    EXPECT_EQ(logCount("Auto-loaded mappings for Logic project"), 0u);
}

TEST_F(ProjectTrackerTest, NonProjectTitlesKeepTheProjectAndLogAtMostEvery30Seconds) {
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    scheduler_.advance(1.0);
    logic_.title = "Channel EQ";
    scheduler_.advance(29.0);  // 14 polls
    EXPECT_EQ(logCount("Ignored non-project Logic window title"), 1u);
    EXPECT_EQ(tracker_->lastObservedLogicProjectTitle(), "Song.logicx - Tracks");
    EXPECT_EQ(resets_.size(), 1u);
    scheduler_.advance(2.0);  // 31 s after the first entry
    EXPECT_EQ(logCount("Ignored non-project Logic window title"), 2u);
    EXPECT_NE(lastLog("Ignored non-project Logic window title")
                  ->detail->find("Keeping current project title Song.logicx - Tracks"),
              std::string::npos);
    logic_.title = "";
    scheduler_.advance(2.0);
    EXPECT_EQ(logCount("Project mapping auto-restore waiting"), 1u);
    logic_.running = false;
    scheduler_.advance(60.0);
    EXPECT_EQ(logCount("Project mapping auto-restore waiting"), 1u);
}

TEST_F(ProjectTrackerTest, RecallPromptAnswers) {
    writeProfile("Song.json", 3, 42);
    writeProfile("Cue.json", 9, 99);
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    scheduler_.advance(4.0);
    ASSERT_EQ(store_.fileURL().filename(), "Song.json");

    // Keep: nothing loaded, and this project is not asked about again.
    alert_.answer = ProjectRecallAnswer::keepCurrent;
    logic_.title = "Cue.logicx - Tracks";
    scheduler_.advance(4.0);
    ASSERT_EQ(alert_.asked.size(), 1u);
    EXPECT_EQ(alert_.asked[0].title, "Saved mappings found for Cue");
    EXPECT_EQ(alert_.asked[0].saveAndLoadButton, "Save Current + Load Cue");
    EXPECT_EQ(alert_.asked[0].loadButton, "Load Cue");
    EXPECT_EQ(alert_.asked[0].message.rfind("Logic appears to have switched from Song to Cue.", 0),
              0u);
    EXPECT_EQ(store_.fileURL().filename(), "Song.json");
    EXPECT_EQ(logCount("Project recall skipped"), 1u);
    logic_.title = "Song.logicx - Tracks";
    scheduler_.advance(4.0);
    logic_.title = "Cue.logicx - Tracks";
    scheduler_.advance(4.0);
    EXPECT_EQ(alert_.asked.size(), 1u);

    // Load: switches without saving.
    writeProfile("Third.json", 5, 55);
    alert_.answer = ProjectRecallAnswer::load;
    logic_.title = "Third.logicx - Tracks";
    scheduler_.advance(4.0);
    EXPECT_EQ(store_.fileURL().filename(), "Third.json");
    EXPECT_EQ(store_.midiMapping(5)->programChange, 55);

    // Save current + load: the current mappings land in the previous project's file first.
    ASSERT_TRUE(store_
                    .setMIDIMapping(6, MIDIMapping{MappingEventType::programChange, 66,
                                                   std::nullopt, 2, "Harp"})
                    .ok());
    alert_.answer = ProjectRecallAnswer::saveCurrentAndLoad;
    logic_.title = "Song.logicx - Tracks";
    scheduler_.advance(4.0);
    EXPECT_EQ(store_.fileURL().filename(), "Song.json");
    const auto savedThird = MappingProfileFile::read(folder_ / "Third.json");
    ASSERT_TRUE(savedThird.snapshot.has_value());
    EXPECT_EQ(savedThird.snapshot->trackIndexToPC.at(6), 66);
    EXPECT_EQ(logCount("Mappings profile saved"), 1u);
}

TEST_F(ProjectTrackerTest, SaveCurrentNeverFilesOneProjectsMappingsUnderAnother) {
    writeProfile("Song.json", 3, 42);
    writeProfile("Third.json", 5, 55);
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    scheduler_.advance(4.0);
    ASSERT_EQ(store_.fileURL().filename(), "Song.json");
    ASSERT_TRUE(store_
                    .setMIDIMapping(6, MIDIMapping{MappingEventType::programChange, 66,
                                                   std::nullopt, 2, "Harp"})
                    .ok());
    // Through Cue, which has no profile, on to Third.
    logic_.title = "Cue.logicx - Tracks";
    scheduler_.advance(4.0);
    alert_.answer = ProjectRecallAnswer::saveCurrentAndLoad;
    logic_.title = "Third.logicx - Tracks";
    scheduler_.advance(4.0);
    ASSERT_EQ(alert_.asked.size(), 1u);
    EXPECT_EQ(store_.fileURL().filename(), "Third.json");
    EXPECT_FALSE(fs::exists(folder_ / "Cue.json"));
    const auto song = MappingProfileFile::read(folder_ / "Song.json");
    ASSERT_TRUE(song.snapshot.has_value());
    EXPECT_EQ(song.snapshot->trackIndexToPC.at(6), 66);
    ASSERT_NE(lastLog("Mappings profile saved"), nullptr);
    EXPECT_EQ(
        lastLog("Mappings profile saved")
            ->detail->rfind("Saved current mappings to " + (folder_ / "Song.json").string(), 0),
        0u);
}

TEST_F(ProjectTrackerTest, RecallPromptSkippedWhenTheProjectMovedOnBeforeItCameDue) {
    writeProfile("Song.json", 3, 42);
    writeProfile("Cue.json", 9, 99);
    logic_.title = "Song.logicx - Tracks";
    tracker_->start();
    scheduler_.advance(2.0);
    logic_.title = "Cue.logicx - Tracks";
    tracker_->observeLogicTitle("test");
    logic_.title = "Elsewhere.logicx - Tracks";  // no profile: schedules no prompt of its own
    scheduler_.advance(ProjectTracker::kRecallPromptDelay);
    EXPECT_TRUE(alert_.asked.empty());
    ASSERT_NE(lastLog("Project recall prompt skipped"), nullptr);
    EXPECT_EQ(*lastLog("Project recall prompt skipped")->detail,
              "Pending prompt for Cue.logicx - Tracks skipped because Logic now reports "
              "Elsewhere.logicx - Tracks. reason=project-moved-on");
}

TEST_F(ProjectTrackerTest, SavingForAProjectReportsEachFailure) {
    // No file name can come from an empty title.
    EXPECT_FALSE(tracker_->saveCurrentMappingsForProject("", "test").ok());
    ASSERT_NE(lastLog("Project recall save skipped"), nullptr);
    EXPECT_EQ(*lastLog("Project recall save skipped")->detail,
              "Could not derive a project mapping filename from title ");

    // A folder where the profile should be: the write fails and says where and why.
    fs::create_directories(folder_ / "Blocked.json" / "inside");
    EXPECT_FALSE(tracker_->saveCurrentMappingsForProject("Blocked.logicx - Tracks", "test").ok());
    ASSERT_NE(lastLog("Mappings profile save failed"), nullptr);
    EXPECT_EQ(lastLog("Mappings profile save failed")
                  ->detail->rfind("Could not save current mappings to " +
                                      (folder_ / "Blocked.json").string() + ".\nError:",
                                  0),
              0u);

    EXPECT_TRUE(tracker_->saveCurrentMappingsForProject("Fine.logicx - Tracks", "why").ok());
    EXPECT_EQ(*lastLog("Mappings profile saved")->detail,
              "Saved current mappings to " + (folder_ / "Fine.json").string() + ". reasonwhy");
}

}  // namespace
}  // namespace tessiva
