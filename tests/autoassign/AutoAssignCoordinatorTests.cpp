#include <gtest/gtest.h>

#include "autoassign/AutoAssignCoordinator.h"
#include "autoassign/AutoAssignTestSupport.h"
#include "autoassign/EstimatedAutoAssignReview.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "runtime/Console.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

// The coordinator on virtual time with a real store (in a temporary folder), a real workspace
// store, and a refresh request that the test answers or leaves unanswered.
struct Harness {
    TempFolder folder;
    VirtualScheduler scheduler;
    CapturingConsole console;
    NotificationCenter notifications{scheduler.mainQueue()};
    DebugLogStore log{scheduler.mainQueue(), scheduler.clock()};
    MappingStore store{{scheduler.mainQueue(), scheduler.clock(), console, log}};
    RemoteWorkspaceStore workspace{scheduler.mainQueue()};
    bool iPadConnected = true;
    bool answerAtOnce = false;  // the iPad's answer is published within the request
    std::vector<std::string> refreshRequests;
    int syncNotifications = 0;
    ObserverToken syncObservation =
        notifications.addObserver(kManualMappingSyncAcceptedNotification,
                                  [this](const Notification&) { ++syncNotifications; });
    AutoAssignCoordinator coordinator{
        {scheduler.mainQueue(), notifications, console, log, store, workspace,
         [this](const std::string& reason) {
             refreshRequests.push_back(reason);
             if (answerAtOnce) {
                 RemoteWorkspaceSnapshot snapshot;
                 snapshot.sections = {{"S", {workspaceBank("C1", "Cello")}}};
                 workspace.publish(std::move(snapshot));
             }
             return iPadConnected;
         }}};

    Harness() { store.open(folder.path()); }

    void addRows(const RowMap& rows) {
        for (const auto& [row, name] : rows)
            ASSERT_TRUE(store
                            .setMIDIMapping(row, MIDIMapping{MappingEventType::programChange, 0,
                                                             std::nullopt, 1, name})
                            .ok());
    }
    void publish(std::vector<RemoteWorkspaceBank> banks) {
        RemoteWorkspaceSnapshot snapshot;
        snapshot.sections = {{"Section", std::move(banks)}};
        workspace.publish(std::move(snapshot));
        scheduler.runUntilIdle();
    }
    std::vector<std::string> detailsOf(const std::string& title) {
        scheduler.runUntilIdle();
        std::vector<std::string> details;
        for (const auto& entry : log.entries().value()) {
            if (entry.title == title)
                details.push_back(entry.detail.value_or(""));
        }
        return details;
    }
};

TEST(AutoAssignCoordinator, MissingInputsSkipAndChangeNothing) {
    Harness h;
    h.iPadConnected = false;
    EXPECT_FALSE(h.coordinator.runAutoAssign());
    h.addRows({{1, "Cello"}});
    EXPECT_FALSE(h.coordinator.runAutoAssign());
    h.coordinator.runAfterWorkspaceRefresh("test");  // without an iPad to ask: at once
    EXPECT_EQ(
        h.detailsOf("Auto Assign skipped"),
        (std::vector<std::string>{AutoAssignText::kNoMappingRows, AutoAssignText::kNoWorkspace,
                                  AutoAssignText::kNoWorkspace}));
    EXPECT_EQ(h.syncNotifications, 0);
    EXPECT_FALSE(h.coordinator.latestSummary().value());

    // The menu command says so in its own words, also for an empty Logic snapshot.
    std::optional<std::optional<AutoAssignSummary>> reported;
    h.coordinator.addAllLogicTracksAndAttemptAutoAssign({}, [&](const auto& s) { reported = s; });
    ASSERT_TRUE(reported);
    EXPECT_FALSE(*reported);
    EXPECT_EQ(h.detailsOf("Add All Logic Tracks and Attempt Auto Assign"),
              std::vector<std::string>{AutoAssignText::kCouldNotRun});
}

TEST(AutoAssignCoordinator, RunWaitsForTheRequestedWorkspaceThenLinksAndPublishes) {
    Harness h;
    h.addRows({{1, "Cellos"}, {2, "Violins 1"}});
    h.publish({workspaceBank("OLD", "Harp")});
    int summaries = 0;
    const ObserverToken watch =
        h.coordinator.latestSummary().subscribe([&](const auto&) { ++summaries; });

    std::vector<std::optional<AutoAssignSummary>> done;
    h.coordinator.runAfterWorkspaceRefresh("test", [&](const auto& s) { done.push_back(s); });
    h.coordinator.runAfterWorkspaceRefresh("again", [&](const auto& s) { done.push_back(s); });
    EXPECT_EQ(h.refreshRequests, std::vector<std::string>{"test"});  // the second joins
    h.scheduler.advance(2.0);
    EXPECT_TRUE(done.empty());

    h.publish({workspaceBank("C1", "Cello"), workspaceBank("V1", "Violins")});
    ASSERT_EQ(done.size(), 2u);
    EXPECT_EQ(*done[0], (AutoAssignSummary{1, 0, 0, 1, 0, 1}));
    EXPECT_FALSE(h.coordinator.isWaitingForWorkspace());
    EXPECT_EQ(h.store.bankMapping(1)->bankUUID, "C1");
    EXPECT_EQ(h.store.bankMapping(1)->trackName, "Cellos");
    EXPECT_FALSE(h.store.bankMapping(2));
    EXPECT_EQ(h.coordinator.pendingEstimatedAutoAssignMatches()->size(), 1u);
    EXPECT_EQ(summaries, 1);
    EXPECT_EQ(h.syncNotifications, 1);
    EXPECT_EQ(h.detailsOf("Auto Assign completed"),
              std::vector<std::string>{h.coordinator.latestSummaryMessage()});

    // The fallback was cancelled: nothing more runs later.
    h.scheduler.advance(10.0);
    EXPECT_EQ(h.syncNotifications, 1);
    // Linked rows count as already mapped next time; they are never relinked.
    EXPECT_EQ(*h.coordinator.runAutoAssign(), (AutoAssignSummary{0, 1, 0, 1, 0, 1}));
}

TEST(AutoAssignCoordinator, FallsBackToTheWorkspaceAtHandWhenNoRefreshArrives) {
    Harness h;
    h.addRows({{1, "Cello"}});
    h.publish({workspaceBank("C1", "Cello")});
    bool ran = false;
    h.coordinator.runAfterWorkspaceRefresh("test", [&](const auto& s) { ran = s.has_value(); });
    h.scheduler.advance(AutoAssignCoordinator::kWorkspaceRefreshFallbackDelay - 0.01);
    EXPECT_FALSE(ran);
    h.scheduler.advance(0.02);
    EXPECT_TRUE(ran);
    EXPECT_EQ(h.store.bankMapping(1)->bankUUID, "C1");

    // An answer that arrives while it is being asked for starts the run at once.
    Harness quick;
    quick.addRows({{1, "Cello"}});
    bool quickRan = false;
    quick.scheduler.mainQueue().post([&] {
        quick.answerAtOnce = true;
        quick.coordinator.runAfterWorkspaceRefresh(
            "test", [&](const auto& s) { quickRan = s.has_value(); });
    });
    quick.scheduler.runUntilIdle();
    EXPECT_TRUE(quickRan);
    EXPECT_FALSE(quick.coordinator.isWaitingForWorkspace());
}

TEST(AutoAssignCoordinator, AddAllLogicTracksAddsNamedRowsThenRuns) {
    Harness h;
    h.iPadConnected = false;
    h.addRows({{2, "Old Name"}});
    h.publish({workspaceBank("F1", "Flute"), workspaceBank("O1", "Oboe")});
    const RowMap snapshot{{1, "Flutes"}, {2, "Oboe"}, {3, "\u00A0 "}, {4, "Oboes"}, {12000, "Far"}};
    std::optional<AutoAssignSummary> summary;
    h.coordinator.addAllLogicTracksAndAttemptAutoAssign(snapshot,
                                                        [&](const auto& s) { summary = s; });
    EXPECT_EQ(h.detailsOf("Logic tracks added"),
              std::vector<std::string>{"added=2, snapshotTracks=5, skippedExisting=1, "
                                       "skippedUnnamed=1, refused=1"});
    const auto added = h.store.midiMapping(1);
    ASSERT_TRUE(added);
    // A new row plays Program Change row - 1 on channel 1 under Logic's name.
    EXPECT_EQ(*added, (MIDIMapping{MappingEventType::programChange, 0, std::nullopt, 1, "Flutes"}));
    EXPECT_EQ(h.store.midiMapping(4)->programChange, 3);
    EXPECT_EQ(h.store.midiMapping(2)->trackName, "Old Name");  // existing rows stay as they were
    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->linked, 2);
    EXPECT_EQ(h.store.bankMapping(4)->bankUUID, "O1");
    // Saved: a fresh store reading the file sees the rows and links.
    MappingStore reread{{h.scheduler.mainQueue(), h.scheduler.clock(), h.console, h.log}};
    reread.open(h.folder.path());
    EXPECT_EQ(reread.bankMapping(1)->bankUUID, "F1");
}

TEST(EstimatedAutoAssignReview, StepsAppliesAndNeverOverwritesAHandLink) {
    Harness h;
    h.iPadConnected = false;
    EstimatedAutoAssignReview review(h.coordinator);
    EXPECT_EQ(review.open()->title, "No estimated matches");
    EXPECT_EQ(review.open()->message,
              "There are no pending estimated Auto Assign matches to review.");
    EXPECT_EQ(review.applyAllRemaining().applied, 0);
    EXPECT_TRUE(h.detailsOf("Estimated Auto Assign applied").empty());
    EXPECT_EQ(h.syncNotifications, 0);

    h.addRows({{1, "Brass"}, {2, "Horn 1"}, {3, "Violins 1"}, {4, "Oboe 2"}});
    h.publish({workspaceBank("B1", "Brass"), workspaceBank("B2", "brass"),
               workspaceBank("B3", "BRASS"), workspaceBank("H1", "Horn"),
               workspaceBank("V1", "Violins"), workspaceBank("O1", "Oboe")});
    h.coordinator.runAutoAssign();
    const int syncAfterRun = h.syncNotifications;
    int changes = 0;
    review.onChange = [&] { ++changes; };
    EXPECT_FALSE(review.open());
    ASSERT_EQ(review.rows().size(), 4u);

    // Stepping stops at both ends of Brass's three candidates; other matches stay put.
    const std::string brass = review.rows()[0].matchID;
    EXPECT_FALSE(review.showPreviousPossibleMatch(brass));
    EXPECT_TRUE(review.showNextPossibleMatch(brass));
    EXPECT_TRUE(review.showNextPossibleMatch(brass));
    EXPECT_FALSE(review.showNextPossibleMatch(brass));
    const auto row = review.rows()[0];
    EXPECT_EQ(
        std::tuple(row.candidateNumber, row.candidateCount, row.canShowPrevious, row.canShowNext),
        std::tuple(3, 3, true, false));
    EXPECT_TRUE(review.showPreviousPossibleMatch(brass));
    EXPECT_EQ(review.rows()[0].candidateNumber, 2);
    EXPECT_EQ(review.rows()[1].candidateNumber, 1);
    EXPECT_EQ(changes, 3);

    EXPECT_EQ(review.apply(brass).applied, 1);
    EXPECT_EQ(h.store.bankMapping(1)->bankUUID, "B2");
    EXPECT_EQ(h.syncNotifications, syncAfterRun + 1);
    EXPECT_EQ(h.detailsOf("Estimated Auto Assign applied"),
              std::vector<std::string>{"Estimated Auto Assign matches applied"});

    // Horn 1 is linked by hand and Violins 1 renamed meanwhile: Apply All Remaining leaves both
    // alone and applies the rest.
    OSCBankFocusMapping byHand;
    byHand.bankUUID = "MANUAL";
    byHand.bankName = "Solo Horn";
    ASSERT_TRUE(h.store.setBankMapping(2, byHand).ok());
    h.addRows({{3, "Violas 1"}});
    const auto outcome = review.applyAllRemaining();
    EXPECT_EQ(outcome.applied, 1);
    EXPECT_EQ(outcome.skipped, 2);
    EXPECT_EQ(h.store.bankMapping(2)->bankUUID, "MANUAL");
    EXPECT_FALSE(h.store.bankMapping(3));
    EXPECT_EQ(h.store.bankMapping(4)->bankUUID, "O1");
    EXPECT_EQ(
        h.detailsOf("Estimated Auto Assign match skipped"),
        (std::vector<std::string>{
            "Track 2 Horn 1 was linked to Solo Horn meanwhile; the estimated match was not "
            "applied, so that link stays.",
            "Track 3 Violins 1 is now named Violas 1; the estimated match was not applied."}));
    EXPECT_TRUE(review.rows().empty());
    EXPECT_FALSE(review.isOpen());
}

TEST(EstimatedAutoAssignReview, ANewRunReplacesWhatAnOpenReviewShows) {
    Harness h;
    h.addRows({{1, "Violins 1"}, {2, "Celli 2"}});
    h.publish({workspaceBank("V1", "Violins")});
    h.coordinator.runAutoAssign();
    EstimatedAutoAssignReview review(h.coordinator);
    ASSERT_FALSE(review.open());
    ASSERT_EQ(review.rows().size(), 1u);
    const std::string before = review.rows()[0].matchID;

    h.publish({workspaceBank("V1", "Violins"), workspaceBank("C1", "Cello")});
    h.coordinator.runAutoAssign();
    const auto rows = review.rows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_NE(rows[0].matchID, before);
    EXPECT_EQ(rows[1].trackName, "Celli 2");
    EXPECT_EQ(rows[1].targetName, "Cello");
    EXPECT_TRUE(review.isOpen());
    // Dismissing takes a match off the list without linking; a stale match id does nothing.
    EXPECT_TRUE(review.dismiss(rows[1].matchID));
    EXPECT_FALSE(review.dismiss(rows[1].matchID));
    ASSERT_EQ(review.rows().size(), 1u);
    EXPECT_EQ(review.rows()[0].matchID, rows[0].matchID);
    EXPECT_FALSE(h.store.bankMapping(2));
    EXPECT_EQ(review.apply(before).applied, 0);
    EXPECT_FALSE(h.store.bankMapping(1));
}

}  // namespace
}  // namespace tessiva
