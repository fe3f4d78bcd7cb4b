#include <gtest/gtest.h>

#include "CoordinatorRig.h"
#include "RoutingRig.h"
#include "app/AppNotifications.h"
#include "app/DirectNavigation.h"
#include "app/MenuCommandRunner.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/RemoteWorkspaceStore.h"

namespace tessiva {
namespace {

const LinkRequestOrigin kIPad{"127.0.0.1:53000", "127.0.0.1", 53000};

// The coordinator; a project recall prompt is answered "keep current".
class CoordinatorRig final : public ProjectRecallAlert, public CoordinatorParts {
  public:
    ProjectRecallAnswer ask(const ProjectRecallPrompt&) override {
        return ProjectRecallAnswer::keepCurrent;
    }

    // With `ownProfile`, Song.json beside it maps row 2 "Bass": Program Change 17 on channel 3.
    MenuBarController& start(bool ownProfile = false) {
        if (ownProfile)
            writePCProfile(folder / "Song.json", 2, 17, "Bass", 3);
        makeDelegate(*this);
        delegate->applicationDidFinishLaunching();
        scheduler.advance(1.0);
        return controller();
    }

    // Clicks a track in Logic and lets the selection reach the router.
    void click(int row) {
        logic.clickTrack(row);
        scheduler.advance(1.0);
    }

    // Posts a request as a window would and lets it run.
    void post(const std::string& name, UserInfo info = {}) {
        notifications.post(name, std::move(info));
        scheduler.runUntilIdle();
    }
};

// Without the project's own profile, the default profile belongs to no project: a click is
// blocked, and the iPad does not navigate by it.
TEST(MenuBarController, TheDefaultProfileSendsNothingForAProjectAndStateReachesTheMenu) {
    CoordinatorRig rig;
    MenuBarController& controller = rig.start();
    EXPECT_EQ(controller.mappingStore().fileURL().filename(), kDefaultProfileFileName);
    mapPC(controller.mappingStore(), 2, "Bass", 17, 3);
    mapBank(controller.mappingStore(), 4, "Strings", "B-1", "Legato");
    rig.click(2);
    EXPECT_EQ(controller.stageRecorder().last()->title(), "handler/blocked-project-mismatch");
    EXPECT_TRUE(rig.midi.sentMessages().empty());
    controller.handleLinkRequest(LinkRequest{kIPad, DirectNavigationRequest{"R-1", "B-1", {}}});
    rig.scheduler.advance(1.0);
    EXPECT_TRUE(
        rig.loggedWith("Direct navigation failed",
                       "Logic project song does not match the loaded mappings profile key"));
    EXPECT_EQ(rig.logic.selectedTrackNumbers(), (std::vector<int>{2}));

    // State changes reach the menu.
    std::vector<MenuItem> published;
    controller.onMenuChanged = [&](const std::vector<MenuItem>& menu) { published = menu; };
    EXPECT_EQ(controller.menu()[6].title, "Logic: Running • Project: Song");
    // Song has no profile of its own yet: the first-run item follows the status line.
    EXPECT_EQ(controller.menu()[8].title, "Create Song.json from Current Mappings");

    controller.perform(MenuCommand::selectLearnModeOn);
    ASSERT_FALSE(published.empty());
    EXPECT_TRUE(MenuModel::find(published, MenuCommand::selectLearnModeOn)->checked);
    controller.perform(MenuCommand::toggleLegacyMIDIControls);
    EXPECT_TRUE(MenuModel::find(controller.menu(), MenuCommand::toggleLegacyMIDIControls)->checked);

    controller.saveMappingsAs(rig.folder / "Session A.json");
    EXPECT_EQ(controller.menu()[7].title, "Mappings: Session A.json • No profile for Song yet");

    // The iPad's handshake reaches the status line.
    rig.post(std::string(OSCDiscoveryManager::kHandshakeStatusChanged),
             {{"connected", true}, {"remoteDeviceName", std::string("Studio iPad")}});
    EXPECT_EQ(controller.menu()[1].title, "Tessiva: iPad connected (Studio iPad)");
}

TEST(MenuBarController, RequestsByNameOrMenuTitleReachTheirConsumers) {
    CoordinatorRig rig;
    MenuBarController& controller = rig.start(true);
    auto count = [&](const std::string& title) { return rig.logged(title).size(); };

    // Play: the row's mapping goes out at once, without the selection gates.
    rig.post(kTriggerMappingPlaybackNotification, {{kMappingPlaybackRowKey, std::int64_t{2}}});
    ASSERT_EQ(rig.midi.sentMessages().size(), 1u) << ::testing::PrintToString(rig.console.lines());
    EXPECT_EQ(rig.midi.sentMessages()[0].bytes, (std::vector<std::uint8_t>{0xC2, 17}));
    rig.post(kTriggerMappingPlaybackNotification);
    EXPECT_EQ(rig.midi.sentMessages().size(), 1u);
    EXPECT_EQ(count("Mapping playback skipped"), 1u);

    // Save: a changed mapping reaches the file.
    mapPC(controller.mappingStore(), 4, "Strings", 40);
    rig.post(kSaveMappingsRequestedNotification);
    EXPECT_EQ(readProfile(rig.folder / "Song.json").trackIndexToPC.at(4), 40);

    // Workspace refresh with no iPad linked: deferred to its next ping.
    rig.post(kWorkspaceSnapshotRequestRequestedNotification);
    EXPECT_EQ(count("Workspace refresh pending"), 1u);

    // The AX flight recorder: decisions are logged only while it runs.
    rig.post(kStartAXFlightRecorderNotification, {{kAXFlightRecorderSecondsKey, 30.0}});
    rig.click(3);
    const std::size_t during = count("AX flight decision");
    EXPECT_GT(during, 0u);
    rig.post(kStopAXFlightRecorderNotification);
    rig.click(4);
    EXPECT_EQ(count("AX flight decision"), during);
    EXPECT_EQ(count("AX flight recorder armed"), 1u);
    EXPECT_EQ(count("AX flight recorder stopped"), 1u);

    // The menu's burst arms the recorder for one second.
    controller.perform(MenuCommand::startAXCapture);
    rig.scheduler.advance(0.5);
    rig.logic.clickTrack(2);
    rig.scheduler.advance(0.7);
    EXPECT_EQ(count("AX flight recorder stopped"), 2u);
    EXPECT_EQ(count("AX flight interaction started"), 2u);

    // Clear empties the event log.
    rig.post(kClearEventsLogNotification);
    EXPECT_TRUE(controller.log().entries().value().empty());

    // Menu items named by title: prompts need their answer, panels take a path, disabled items
    // and misplaced answers are refused without doing anything.
    MenuCommandRunner runner(controller);
    auto run = [&](std::string item, std::optional<std::string> answer = std::nullopt,
                   std::optional<std::string> path = std::nullopt) {
        std::string reply = runner.run(MenuRequest{std::move(item), answer, path});
        rig.scheduler.runUntilIdle();
        return reply;
    };
    const auto hasRow2 = [&] { return controller.mappingStore().midiMapping(2).has_value(); };

    EXPECT_NE(run("Clear All Mappings…").find("asks \"Clear all mappings?\""), std::string::npos);
    EXPECT_NE(run("Clear All Mappings...", "Cancel").find("cancelled"), std::string::npos);
    EXPECT_NE(run("Clear All Mappings…", "Yes").find("not a button"), std::string::npos);
    EXPECT_TRUE(hasRow2());
    EXPECT_NE(run("Save Mappings", "Clear").find("asks nothing"), std::string::npos);

    EXPECT_EQ(run("Save Mappings As…", std::nullopt, "Cue.json"),
              "\"Save Mappings As…\": saved to " + (rig.folder / "Cue.json").string());
    EXPECT_EQ(run("Choose File…", std::nullopt, (rig.folder / "Song.json").string()),
              "\"Load Mappings > Choose File…\": loaded " + (rig.folder / "Song.json").string());
    EXPECT_EQ(run("Load Mappings > Cue.json"),
              "\"Load Mappings > Cue.json\": loaded " + (rig.folder / "Cue.json").string());
    EXPECT_NE(run("Load Mappings > Gone.json").find("no recent profile"), std::string::npos);
    EXPECT_NE(run("Choose File…", std::nullopt, (rig.folder / "Missing.json").string())
                  .find("could not use"),
              std::string::npos);
    EXPECT_EQ(controller.mappingStore().fileURL(), rig.folder / "Cue.json");

    EXPECT_EQ(run("On"), "\"Add Tracks > On\": Add Tracks is On");
    EXPECT_EQ(controller.menuState().learnMode, LearnMode::learn);
    // Windows do not exist yet: the command says what it would have opened.
    EXPECT_NE(run("Show Mappings…").find("would open here"), std::string::npos);
    EXPECT_TRUE(rig.console.contains("The Mappings window would open here"));
    EXPECT_NE(run("Flip Tracks").find("Unknown menu item"), std::string::npos);

    EXPECT_NE(run("Clear All Mappings…", "Clear").find("cleared"), std::string::npos);
    EXPECT_FALSE(hasRow2());

    rig.logic.quit();
    rig.scheduler.advance(3.0);
    EXPECT_NE(run("Add All Logic Tracks and Attempt Auto Assign").find("is disabled"),
              std::string::npos);
}

TEST(DirectNavigation, ChoosesTheLowestMappedRowLogicShows) {
    const std::map<int, std::string> shown = {{1, "A"}, {4, "Strings"}, {8, "Horn"}};
    EXPECT_EQ(chooseDirectNavigationRow({}, shown), std::nullopt);
    EXPECT_EQ(chooseDirectNavigationRow({6, 8}, shown), 8);  // 6 is hidden in a stack
    EXPECT_EQ(chooseDirectNavigationRow({7, 6}, shown), 6);  // none shown: the lowest says why
}

TEST(MenuBarController, TheIPadLearnsABankForTheSelectedTrackAndSelectsTheTrackOfABank) {
    CoordinatorRig rig;
    MenuBarController& controller = rig.start(true);
    const BankLearnRequest learn{"B-L", "Legato", "Strings", {}, {}, {}, {}};
    controller.handleLinkRequest(LinkRequest{kIPad, learn});
    EXPECT_TRUE(rig.console.contains("OSC bank learn skipped"));

    rig.click(2);
    controller.handleLinkRequest(LinkRequest{kIPad, learn});
    // Saved at once: a fresh read of the file has it.
    const auto learned =
        readProfile(rig.folder / "Song.json").oscBankFocusMappingsByTrackIndex.at(2);
    EXPECT_EQ(learned.bankUUID, "B-L");
    EXPECT_EQ(learned.trackName, "Bass");
    EXPECT_EQ(learned.sectionName, "Strings");

    mapBank(controller.mappingStore(), 4, "Strings", "B-1", "Legato");
    mapBank(controller.mappingStore(), 5, "Choir", "B-1", "Legato");
    controller.handleLinkRequest(LinkRequest{kIPad, DirectNavigationRequest{"R-2", "B-9", {}}});
    rig.scheduler.advance(0.1);
    EXPECT_EQ(rig.logged("Direct navigation").back(),
              "Direct navigation failed: No Logic track is mapped to bank B-9. requestID=R-2 "
              "bank=B-9");

    controller.handleLinkRequest(LinkRequest{kIPad, DirectNavigationRequest{"R-3", "B-1", {}}});
    rig.scheduler.advance(2.0);
    EXPECT_EQ(rig.logic.selectedTrackNumbers(), (std::vector<int>{4}));
    EXPECT_EQ(rig.logged("Direct navigation").back(),
              "Direct navigation confirmed: Logic's normal selection observer confirmed the mapped "
              "track. requestID=R-3 -> track 4");
    // Confirmed without any bank focus: the iPad already shows the bank.
    for (const auto& record : controller.stageRecorder().entries())
        EXPECT_NE(record.stage, SelectionStage::bankSendAttempted);
    EXPECT_EQ(controller.router().lastHandledSelection()->index, 4);
}

TEST(MenuBarController, AddAllLogicTracksLinksTheRowsNamedLikeIPadBanks) {
    CoordinatorRig rig;
    MenuBarController& controller = rig.start();
    rig.scheduler.advance(3.0);  // the first track-list snapshot
    RemoteWorkspaceSnapshot workspace;
    workspace.sections = {
        {"Main",
         {{"B-BASS", "Bass", {}, {}, "", 0, {}, {}}, {"B-STR", "Strings", {}, {}, "", 0, {}, {}}}}};
    controller.workspaceStore().publish(workspace);
    rig.scheduler.advance(0.1);

    controller.perform(MenuCommand::addAllLogicTracksAndAutoAssign);
    rig.scheduler.advance(0.1);
    for (int row = 1; row <= 5; ++row)
        EXPECT_TRUE(controller.mappingStore().midiMapping(row).has_value()) << row;
    EXPECT_EQ(controller.mappingStore().bankMapping(2)->bankUUID, "B-BASS");
    EXPECT_EQ(controller.mappingStore().bankMapping(4)->bankUUID, "B-STR");
    EXPECT_FALSE(controller.mappingStore().bankMapping(1).has_value());
}

// With "Song.json" beside it, the profile is restored at start, a click sends its PC, and Logic's
// Delete key and Undo menu repair and restore the mappings.
TEST(MenuBarController, AProjectsOwnProfileSendsClicksAndFollowsLogicsDeleteAndUndo) {
    CoordinatorRig rig;
    MenuBarController& controller = rig.start(true);
    rig.scheduler.advance(3.0);
    EXPECT_TRUE(rig.loggedWith("Post-load structural baseline accepted",
                               "5 visible Logic track name(s) after mappings profile load"));
    const MappingProfileSnapshot loaded = controller.mappingStore().snapshot();

    rig.click(2);
    ASSERT_EQ(rig.midi.sentMessages().size(), 1u);
    EXPECT_EQ(rig.midi.sentMessages()[0].destinationName, "Network Session 1");
    EXPECT_EQ(rig.midi.sentMessages()[0].bytes, (std::vector<std::uint8_t>{0xC2, 17}));

    rig.click(1);  // Piano, above the mapped Bass
    rig.logic.pressDelete();
    rig.scheduler.advance(1.0);
    EXPECT_TRUE(
        rig.loggedWith("Structural edit context retained", "kind=deletion source=1 \"Piano\""));
    EXPECT_EQ(controller.mappingStore().midiMapping(1).value().trackName, "Bass");

    // A click on Bass at its new row sends its Program Change (Logic selected it already).
    rig.click(2);
    rig.midi.clearRecords();
    rig.click(1);
    ASSERT_EQ(rig.midi.sentMessages().size(), 1u);
    EXPECT_EQ(rig.midi.sentMessages()[0].bytes, (std::vector<std::uint8_t>{0xC2, 17}));

    rig.logic.chooseMenuItem("Undo");
    rig.scheduler.advance(1.0);
    EXPECT_TRUE(rig.loggedWith("Structural edit context retained", "reason=Logic undo command"));
    EXPECT_TRUE(
        rig.loggedWith("Offset repair applied: deletion undo", "via contiguous deletion undo"));
    EXPECT_EQ(controller.mappingStore().snapshot(), loaded);

    // A project change resets the selection state, so the same row is not deduplicated.
    rig.logic.setProjectName("Other");
    rig.scheduler.advance(2.5);
    EXPECT_FALSE(controller.router().lastHandledSelection().has_value());
}

}  // namespace
}  // namespace tessiva
