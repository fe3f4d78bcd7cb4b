// LogicObserver on virtual time against SimulatedLogic: selection, snapshots, Logic shapes.
#include <gtest/gtest.h>

#include "LogicObserverHarness.h"
#include "platform/input/InputEvent.h"

namespace tessiva {
namespace {

// Track 3 selected and settled; Logic then takes `settle` seconds to publish a new selection.
void selectThreeThenSlowDown(LogicObserverHarness& h, double settle) {
    h.start();
    h.click(3, 1.0);
    h.logic.setSelectionSettleDelay(settle);
}

// `row` selected while Logic is in the background, so only an explicit refresh reads it.
void selectUnheard(LogicObserverHarness& h, int row) {
    h.logic.setFrontmost(false);
    h.logic.setAttributeValue(h.logic.rowElement(row), "AXSelected", true);
    h.scheduler.runUntilIdle();
    h.logic.setFrontmost(true);
}

TEST(LogicObserverSelection, ClickingATrackEmitsItOnTheMainQueue) {
    LogicObserverHarness h;
    auto& observer = h.start();
    EXPECT_TRUE(h.console.contains(
        "[LogicObserver] Attached to Logic (pid=" + std::to_string(h.logic.pid()) + ")."));
    EXPECT_EQ(h.countDebug("Anchored track list container (table/outline)"), 1u);
    EXPECT_EQ(h.countDebug("Logic modal window observer ready"), 1u);

    h.logic.clickTrack(7);
    h.scheduler.runUntilIdle();
    ASSERT_EQ(h.emitted.size(), 1u);
    EXPECT_EQ(h.emitted[0].selection, (TrackSelection{7, "Track Name 7"}));
    EXPECT_TRUE(h.emitted[0].onMainQueue);
    EXPECT_EQ(h.lastDetail("Logic track detected: #7"),
              "Track Name 7\ntrigger=AXSelectedRowsChanged");
    EXPECT_EQ(observer.lastSelection(), (TrackSelection{7, "Track Name 7"}));

    // The probe after the plain click finds the same track and adds nothing.
    h.scheduler.advance(0.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{7}));
    EXPECT_EQ(observer.lastAuthoritativeArrangeTrackIndex(), 7);
}

TEST(LogicObserverSelection, NotificationsCloserThanTheDedupeIntervalAreDropped) {
    for (const bool capture : {false, true}) {
        SCOPED_TRACE(capture ? "a capture sees everything" : "0.01 s apart: dropped");
        LogicObserverHarness h;
        h.start();
        if (capture)
            h.observer->beginAXCapture(45.0);
        h.click(3, 0.01);
        h.click(4, 0.01);
        h.logic.clickTrack(5);  // 0.02 s after the first handled one: passes
        h.scheduler.advance(0.05);
        EXPECT_EQ(h.emittedIndices(),
                  (capture ? std::vector<int>{3, 4, 5} : std::vector<int>{3, 5}));
        EXPECT_EQ(h.debugStartingWith("AX flight notification #").empty(), !capture);
    }
}

TEST(LogicObserverSelection, FocusedElementChangesRightAfterAnEmissionAreIgnored) {
    for (const double gap : {0.30, 0.31}) {
        SCOPED_TRACE(gap);
        LogicObserverHarness h;
        h.start();
        h.logic.clickTrack(3);
        h.scheduler.runUntilIdle();
        ASSERT_EQ(h.emittedIndices(), (std::vector<int>{3}));
        h.scheduler.advance(gap);
        h.logic.focusTrack(8);
        h.scheduler.advance(0.05);
        EXPECT_EQ(h.emittedIndices(), (gap <= 0.30 ? std::vector<int>{3} : std::vector<int>{3, 8}));
    }
}

TEST(LogicObserverSelection, RepeatsOfTheSameTrackDependOnTheTrigger) {
    LogicObserverHarness h;
    h.start();
    h.click(3, 1.0);
    // A second click re-emits through AXSelectedRowsChanged once Logic settled.
    h.click(3, 1.0);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3}));
    h.scheduler.advance(0.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 3}));
    // A selection set through the row is emitted; a rename of the selected track or a tempo
    // change is not.
    h.logic.setAttributeValue(h.logic.rowElement(6), "AXSelected", true);
    h.scheduler.advance(1.0);  // its own selection notifications emit 6 first
    h.click(2, 1.0);
    h.logic.renameTrack(2, "Now Named");
    h.logic.setTempo(96.0);
    h.scheduler.advance(1.0);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 3, 6, 2}));
}

TEST(LogicObserverSelection, BackgroundLogicEmitsNothing) {
    LogicObserverHarness h;
    h.start();
    h.logic.setFrontmost(false);
    const auto readsBefore = h.logic.attributeReadCount();
    h.logic.clickTrack(4);
    h.logic.pressArrowKey(true);
    h.logic.renameTrack(4, "Quiet");
    h.scheduler.advance(1.0);
    EXPECT_TRUE(h.emitted.empty());
    EXPECT_EQ(h.logic.attributeReadCount(), readsBefore);
    EXPECT_GT(h.logic.deliveredNotificationCount(), 0u);

    h.logic.setFrontmost(true);
    h.click(4, 1.0);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{4}));
}

TEST(LogicObserverSelection, ArrowKeysPollUntilTheSelectionMoves) {
    {
        SCOPED_TRACE("the selection settles after 0.05 s: found on the third read");
        LogicObserverHarness h;
        selectThreeThenSlowDown(h, 0.05);
        const double pressed = h.scheduler.now();
        h.arrow(true, 1.0);
        ASSERT_EQ(h.emittedIndices(), (std::vector<int>{3, 4}));
        EXPECT_NEAR(h.emitted[1].time - pressed, 0.05, kEps);
        EXPECT_TRUE(h.lastDetailHas("Logic track detected: #4",
                                    "trigger=keyboard-down/arrange-selected-row"));
        h.arrow(false, 1.0);
        EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 4, 3}));
        EXPECT_TRUE(h.lastDetailHas("Logic track detected: #3", "keyboard-up/"));
        // The reads give up 1.2 s after the key.
        h.logic.setSelectionSettleDelay(1.5);
        h.arrow(true, 3.0);
        EXPECT_EQ(h.emittedIndices().size(), 3u);
    }
    {
        SCOPED_TRACE("a Logic that takes 0.5 s is still followed, reading the unchanged row once");
        LogicObserverHarness h;
        selectThreeThenSlowDown(h, 0.5);
        h.logic.resetAttributeReadCount();
        const double pressed = h.scheduler.now();
        h.arrow(true, 2.0);
        ASSERT_EQ(h.emittedIndices(), (std::vector<int>{3, 4}));
        EXPECT_GE(h.emitted[1].time - pressed, 0.5 - kEps);
        EXPECT_LE(h.emitted[1].time - pressed, 0.6);
        // Reads of the selected element alone, every 0.05 s for 0.3 s and every 0.1 s after, then
        // the moved row is parsed.
        EXPECT_EQ(h.logic.attributeReadCount(), 9u + 2u);
    }
}

TEST(LogicObserverSelection, MixerTracksGroupIsAdoptedFromTheFocusedElement) {
    LogicObserverHarness h;
    auto& observer = h.start();
    h.logic.openMixer();
    h.scheduler.advance(2.0);  // the window change quarantines for 1.5 s
    h.logic.clickMixerStrip(6);
    h.scheduler.advance(0.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{6}));
    EXPECT_EQ(h.countDebug("Anchored track container"), 1u);
    EXPECT_TRUE(h.lastDetailHas("Logic track detected: #6", "focused-tracks-event"));
    EXPECT_NE(observer.trackHeaderContainer(), h.logic.trackListElement());
}

TEST(LogicObserverSelection, AttachDetachAndRelaunchFollowTheRescan) {
    LogicObserverHarness h;
    h.logic.quit();
    auto& observer = h.start();
    EXPECT_FALSE(observer.isAttached());
    EXPECT_FALSE(h.console.contains("Attached"));

    // A failed observer creation is logged and retried.
    h.logic.failNextObserverCreations(1);
    h.logic.launch();
    h.scheduler.advance(5.0);
    EXPECT_FALSE(observer.isAttached());
    EXPECT_TRUE(h.console.contains("[LogicObserver] AXObserverCreate failed: -25204"));
    h.scheduler.advance(5.0);
    EXPECT_TRUE(observer.isAttached());
    // Quitting detaches and clears the last selection.
    h.click(2, 1.0);
    EXPECT_TRUE(observer.lastSelection().has_value());
    h.logic.quit();
    h.scheduler.advance(5.0);
    EXPECT_FALSE(observer.isAttached());
    EXPECT_TRUE(h.console.contains("[LogicObserver] Detached."));
    EXPECT_FALSE(observer.lastSelection().has_value());
    EXPECT_FALSE(observer.trackHeaderContainer());
    // A relaunch within one rescan period is noticed by its new process.
    h.logic.launch();
    h.scheduler.advance(5.0);
    ASSERT_TRUE(observer.isAttached());
    EXPECT_TRUE(observer.hasWindowObserver());
    h.logic.failNextObserverCreations(1, 1);  // the window observer this time
    h.logic.relaunch();
    h.scheduler.advance(5.0);
    EXPECT_TRUE(h.console.contains("(pid=" + std::to_string(h.logic.pid()) + ")."));
    h.emitted.clear();
    h.click(9, 1.0);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{9}));
    // Without its window observer the main observer hears window changes.
    EXPECT_FALSE(observer.hasWindowObserver());
    EXPECT_TRUE(
        h.console.contains("[LogicObserver] Dedicated AX window observer creation failed: -25204"));
    h.openModal("Rename");
    EXPECT_TRUE(observer.isQuarantined());
}

TEST(LogicObserverSelection, SettlingReadsPollWithTheLatestToken) {
    LogicObserverHarness h;
    // The focused-window trigger waits 0.03 s, then polls every 0.02 s.
    selectThreeThenSlowDown(h, 0.1);
    selectUnheard(h, 8);
    const double requested = h.scheduler.now();
    h.observer->refreshSelection("AXFocusedWindowChanged");
    h.scheduler.advance(0.02);
    h.observer->refreshSelection("AXFocusedWindowChanged");  // supersedes the first
    const double latest = h.scheduler.now();
    h.logic.resetAttributeReadCount();
    h.scheduler.advance(1.0);
    ASSERT_EQ(h.emittedIndices(), (std::vector<int>{3, 8}));
    // Reads at +0.03, +0.05, +0.07, +0.09 after the latest request see the old row.
    EXPECT_NEAR(h.emitted[1].time - latest, 0.09, kEps);
    EXPECT_GE(h.emitted[1].time - requested, 0.1);
    // Each read: AXSelectedChildren and the header's title, the attribute learned at anchoring.
    EXPECT_EQ(h.logic.attributeReadCount(), 4u * 2u);
    // After eight stale reads the result is handed over and dropped.
    h.logic.setSelectionSettleDelay(0.5);
    selectUnheard(h, 5);
    h.logic.resetAttributeReadCount();
    h.observer->refreshSelection("AXFocusedWindowChanged");
    h.scheduler.advance(0.4);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 8}));
    EXPECT_EQ(h.logic.attributeReadCount(), 8u * 2u);
}

TEST(LogicObserverSelection, SlowReadsAreReportedDuringACapture) {
    LogicObserverHarness h;
    h.start();
    h.logic.setAttributeReadHook(
        [&](std::string_view) { h.scheduler.manualClock().advance(0.15); });
    h.logic.clickTrack(4);
    // Armed after the click, so the recorder's own polls (slow reads too) stay out of it.
    h.observer->beginAXCapture(45.0);
    // Without the dedupe both selection notifications schedule a read; the later token wins.
    // Work posted after a slow read is due later than "now" was when it began.
    h.scheduler.advance(1.0);
    h.logic.setAttributeReadHook({});
    EXPECT_EQ(h.lastDetail("AX selection fetch slow"),
              "durationSeconds=0.300 trigger=AXSelectedChildrenChanged");
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{4}));
    EXPECT_TRUE(h.lastDetailHas("Logic track detected: #4", "\nAX capture elapsed=+"));
}

TEST(LogicObserverSelection, LearnModeResolvesRenamedRows) {
    LogicObserverHarness h;
    auto& observer = h.start();
    std::vector<std::pair<TrackSelection, std::string>> learned;
    observer.onLearnRowResolved = [&](const TrackSelection& selection, const std::string& trigger) {
        learned.emplace_back(selection, trigger);
    };
    h.click(3, 1.0);
    h.logic.renameTrack(3, "Ignored");
    h.scheduler.advance(1.0);
    EXPECT_TRUE(learned.empty());

    observer.learnAwaitsTrackName = true;
    h.logic.renameTrack(3, "Oboe");
    h.logic.renameTrack(5, "Harp");
    h.scheduler.advance(1.0);
    EXPECT_EQ(learned, (std::vector<std::pair<TrackSelection, std::string>>{
                           {{3, "Oboe"}, "AXValueChanged/arrange-row-learn-authoritative"},
                           {{5, "Harp"}, "AXValueChanged/arrange-row-learn"}}));
    // Learning never turns a rename into a selection.
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3}));
}

TEST(LogicObserverSelection, ListsBeyondTheAnchoringDepth) {
    {
        SCOPED_TRACE("the deeper list verification adopts a list anchoring could not reach");
        SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile();
        options.arrangeNestingDepth = 9;  // the list at depth 10
        LogicObserverHarness h(options);
        auto& observer = h.start();
        EXPECT_EQ(h.countDebug("Anchored track list container (table/outline)"), 0u);
        EXPECT_EQ(h.countDebug("Dense Arrange track list verified"), 1u);
        EXPECT_EQ(observer.trackHeaderContainer(), h.logic.trackListElement());
        ASSERT_EQ(h.snapshots.size(), 1u);
        EXPECT_EQ(h.snapshots[0].namesByIndex, h.logic.visibleRows());
        h.click(6, 0.5);
        EXPECT_EQ(h.emittedIndices().back(), 6);
    }
    {
        SCOPED_TRACE("out of every search's reach the focused element is used");
        SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile();
        options.arrangeNestingDepth = 12;
        options.postFocusedElementOnClick = true;
        LogicObserverHarness h(options);
        auto& observer = h.start();
        ASSERT_TRUE(observer.isAttached());
        EXPECT_FALSE(observer.trackHeaderContainer());
        EXPECT_TRUE(h.snapshots.empty());
        h.click(6, 0.5);
        EXPECT_EQ(h.emittedIndices(), (std::vector<int>{6}));
        EXPECT_TRUE(h.lastDetailHas("Logic track detected: #6", "focused-tracks-event"));
    }
}

TEST(LogicObserverSnapshots, CollapsedStacksLeaveGapsSkipUnchangedListsAndAdoptASparseOne) {
    LogicObserverHarness h(SimulatedLogicOptions::tableOutlineProfile(), 0);
    h.logic.addTrack("Piano");
    h.logic.addStack("Strings", {"Violins", "Violas", "Celli"});
    h.logic.addTrack("Horn");
    auto& observer = h.start();
    const double collapsed = h.scheduler.now();
    h.logic.setStackCollapsed(2, true);
    h.scheduler.advance(1.0);
    ASSERT_EQ(h.snapshots.size(), 2u);
    EXPECT_EQ(h.snapshots[1].reason, "debounced AXLayoutChanged");
    EXPECT_NEAR(h.snapshots[1].time, collapsed + 1.0, kEps);
    EXPECT_EQ(h.snapshots[1].namesByIndex,
              (std::map<int, std::string>{{1, "Piano"}, {2, "Strings"}, {6, "Horn"}}));
    EXPECT_EQ(observer.trustedAbsoluteTrackMaximum(), 6);
    // Opened and closed again: the capture matches the last published list and is skipped.
    observer.beginAXCapture(45.0);
    h.logic.setStackCollapsed(2, false);
    h.scheduler.advance(0.2);
    h.logic.setStackCollapsed(2, true);
    h.scheduler.advance(1.5);
    EXPECT_EQ(h.snapshots.size(), 2u);
    EXPECT_EQ(h.lastDetail("Debounced structural snapshot skipped"),
              "No snapshot change after AXLayoutChanged. count=3");

    // A later attachment sees the collapsed list as sparse.
    h.logic.relaunch();
    h.scheduler.advance(5.0);
    EXPECT_EQ(h.lastDetail("Sparse Arrange track list adopted"),
              "Adopted 3 visible Logic row(s) for direct navigation while Track Stacks are "
              "collapsed.");
    EXPECT_EQ(observer.sparseArrangeTrackList(), h.logic.trackListElement());
}

TEST(LogicObserverSnapshots, PointerDragEndingOnATrackPublishesQuickly) {
    LogicObserverHarness h;
    auto& observer = h.start();
    h.click(2, 3.0);
    const auto emittedBefore = h.emitted.size();
    h.logic.beginTrackDrag(2);
    h.scheduler.advance(0.05);
    h.logic.dragPointerTo(6);
    h.scheduler.advance(0.5);
    EXPECT_TRUE(observer.isLogicPointerDragActive());
    const double dragged = h.scheduler.now();
    h.logic.endTrackDrag(6);
    h.scheduler.runUntilIdle();
    EXPECT_FALSE(observer.isLogicPointerDragActive());
    // Notifications during the drag were not read.
    EXPECT_EQ(h.emitted.size(), emittedBefore);
    h.scheduler.advance(0.15);
    ASSERT_EQ(h.snapshots.size(), 2u);
    EXPECT_EQ(h.snapshots[1].reason, "debounced pointer-drag-ended/arrange-track");
    EXPECT_NEAR(h.snapshots[1].time, dragged + 0.15, kEps);
    EXPECT_EQ(h.snapshots[1].namesByIndex.at(6), "Track Name 2");
}

TEST(LogicObserverSnapshots, StartupSnapshotThenThePollAndTheDebouncePublishChanges) {
    LogicObserverHarness h;
    auto& observer = h.start();
    ASSERT_EQ(h.snapshots.size(), 1u);
    EXPECT_EQ(h.snapshots[0].reason, "startup");
    EXPECT_EQ(observer.lastTrackNamesSnapshot(), h.logic.visibleRows());
    EXPECT_EQ(observer.trustedAbsoluteTrackMaximum(), 10);
    EXPECT_EQ(observer.lastObservedArrangeVisibleRowCount(), 10);
    EXPECT_EQ(h.lastDetail("Dense Arrange track list verified"),
              "Adopted 10 direct Logic rows for absolute click/keyboard resolution. reason=Logic "
              "AX observer attached");
    h.logic.relaunch();
    h.scheduler.advance(5.0);  // re-attached; the identical list is not republished
    EXPECT_EQ(h.snapshots.size(), 1u);
    h.logic.renameTrack(5, "Celesta");
    h.scheduler.advance(5.0);  // first poll after attachment only records
    EXPECT_EQ(h.snapshots.size(), 1u);
    h.logic.renameTrack(6, "Harp");
    h.scheduler.advance(5.0);
    ASSERT_EQ(h.snapshots.size(), 2u);
    EXPECT_EQ(h.snapshots[1].reason, "poll/visible-structure-changed");
    EXPECT_EQ(h.snapshots[1].namesByIndex, h.logic.visibleRows());  // Celesta and Harp
    EXPECT_EQ(observer.lastMaxTrackIndex(), 10);
    h.scheduler.advance(10.0);
    EXPECT_EQ(h.snapshots.size(), 2u);

    // A duplicate maps its name to both numbers. It selects the copy, so the capture waits for
    // the 2.0 s quiet window.
    const double duplicated = h.scheduler.now();
    h.logic.duplicateTrack(3);
    h.scheduler.advance(3.0);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{4}));
    ASSERT_EQ(h.snapshots.size(), 3u);
    EXPECT_NEAR(h.snapshots[2].time, duplicated + 2.0, kEps);
    EXPECT_EQ(h.snapshots[2].namesByIndex, h.logic.visibleRows());
    EXPECT_EQ(observer.indicesByTrackName().at("Track Name 3"), (std::vector<int>{3, 4}));
    EXPECT_EQ(observer.indicesByTrackName().at("Track Name 10"), (std::vector<int>{11}));
    EXPECT_EQ(h.lastDetail("Debounced structural snapshot published"),
              "reason=AXLayoutChanged count=11 quietMs=2000");
}

// The observation against each shape of Logic the simulation knows: Logic 12 (a rail of layout
// items, a lagging selection, no notification) in each of its languages, Logic 12 posting the
// table notifications, and the older table/outline Logic.
struct Profile {
    SimulatedLogicVersion version;
    SimulatedLogicLocale locale;
    SimulatedLogicNotifications notifications;
    double lag;
};

std::string profileName(const ::testing::TestParamInfo<Profile>& info) {
    const auto& p = info.param;
    return "Logic" + std::string(kSimulatedLogicVersionNames[static_cast<int>(p.version)]) + "_" +
           std::string(kSimulatedLogicLocaleNames[static_cast<int>(p.locale)]) + "_" +
           std::string(kSimulatedLogicNotificationsNames[static_cast<int>(p.notifications)]) +
           "_lag" + std::to_string(static_cast<int>(p.lag * 1000));
}

class LogicObserverProfile : public ::testing::TestWithParam<Profile> {
  protected:
    static SimulatedLogicOptions options() {
        SimulatedLogicOptions options;
        options.version = GetParam().version;
        options.locale = GetParam().locale;
        options.notifications = GetParam().notifications;
        options.selectionSettleDelay = GetParam().lag;
        options.selectionSettleJitter = GetParam().lag > 0 ? 0.1 : 0.0;
        options.randomSeed = 7;
        return options;
    }

    // Twelve tracks with a stack of three at 5: headers 1-4, 5 (stack), 6-8 (members), 9-12.
    LogicObserverHarness& start() {
        h_ = std::make_unique<LogicObserverHarness>(options(), 4);
        h_->addStringsStackAndTracksUpTo(12);
        h_->start();
        return *h_;
    }

    std::unique_ptr<LogicObserverHarness> h_;
};

TEST_P(LogicObserverProfile, AnchorsTheHeadersAndEachClickAndArrowKeyYieldsItsTrackOnce) {
    auto& h = start();
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
    ASSERT_FALSE(h.snapshots.empty());
    EXPECT_EQ(h.snapshots.front().namesByIndex, h.logic.visibleRows());
    EXPECT_EQ(h.snapshots.front().namesByIndex.at(6), "Violins");
    // Faster than Logic publishes: each click lands before the one before it shows.
    for (int track : {3, 5, 7, 2})
        h.click(track, 0.2);
    h.scheduler.advance(1.0);
    for (bool down : {true, true, false})
        h.arrow(down, 0.6);
    h.scheduler.advance(1.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 5, 7, 2, 3, 4, 3}));
    EXPECT_EQ(h.emitted[2].selection.name, "Violas");
}

TEST_P(LogicObserverProfile, ClicksStillCountAfterTheMixerAndAfterAProjectSwitch) {
    auto& h = start();
    h.click(2, 1.5);
    h.logic.openMixer();
    h.logic.clickMixerStrip(4);
    h.scheduler.advance(1.5);
    h.logic.closeMixer();
    h.scheduler.advance(1.6);  // a focused-window change quarantines for 1.5 s
    h.click(9, 1.5);
    ASSERT_FALSE(h.emitted.empty());
    EXPECT_EQ(h.emitted.back().selection.index, 9);

    h.logic.setProjectName("Cue");
    h.scheduler.advance(1.6);
    h.clearRecords();
    h.click(11, 1.5);  // well before the 30 s re-anchor
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{11}));
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
    EXPECT_EQ(h.observer->readLogicWindowTitle(), h.logic.windowTitle());
}

// Also: a dialog between two clicks, where the first read after it still shows the earlier
// track; Logic's late notification for the new click must not bring the earlier one back.
TEST_P(LogicObserverProfile, WindowTitleIsTheArrangeWindowsWhateverIsInFront) {
    auto& h = start();
    h.click(3, 1.5);
    const auto arrange = h.logic.windowTitle();
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.openPluginWindow(3);
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.closePluginWindow();
    h.openModal("Delete Track?", SimulatedModalKind::dialog);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), std::nullopt);  // quarantined
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.dismissModal();
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.click(4, 1.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 4}));
    h.logic.quit();
    h.scheduler.advance(5.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), std::nullopt);
}

constexpr auto k12 = SimulatedLogicVersion::logic12;
constexpr auto k10 = SimulatedLogicVersion::logic10;
constexpr auto kNone = SimulatedLogicNotifications::none;
constexpr auto kTable = SimulatedLogicNotifications::table;
using Locale = SimulatedLogicLocale;
INSTANTIATE_TEST_SUITE_P(
    Logic, LogicObserverProfile,
    ::testing::Values(Profile{k12, Locale::en, kNone, 0.35}, Profile{k12, Locale::de, kNone, 0.35},
                      Profile{k12, Locale::ja, kNone, 0.35}, Profile{k12, Locale::ko, kNone, 0.35},
                      Profile{k12, Locale::en, kTable, 0.02}, Profile{k12, Locale::en, kNone, 0.6},
                      Profile{k10, Locale::en, kTable, 0.0},
                      Profile{k10, Locale::en, kTable, 0.35}),
    profileName);

TEST(LogicObserverLogic12, FirstWindowListReadFailingIsAskedAgain) {
    // Logic 12: the first AXWindows read fails.
    LogicObserverHarness h(SimulatedLogicOptions{}, 6);
    h.logic.openPluginWindow(2);  // AXMainWindow is the plug-in: the window list is needed
    h.start();
    EXPECT_EQ(h.observer->readLogicWindowTitle(), "Song - Tracks");
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
}

}  // namespace
}  // namespace tessiva
