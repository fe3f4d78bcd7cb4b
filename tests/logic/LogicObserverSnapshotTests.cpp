#include <gtest/gtest.h>

#include "LogicObserverHarness.h"

namespace tessiva {
namespace {

using testing::LogicObserverHarness;

constexpr double kEps = 1e-9;

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
    EXPECT_EQ(h.snapshots[1].namesByIndex.at(5), "Celesta");
    EXPECT_EQ(h.snapshots[1].namesByIndex.at(6), "Harp");
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
    EXPECT_EQ(h.snapshots[2].namesByIndex.at(3), "Track Name 3");
    EXPECT_EQ(h.snapshots[2].namesByIndex.at(4), "Track Name 3");
    EXPECT_EQ(observer.indicesByTrackName().at("Track Name 3"), (std::vector<int>{3, 4}));
    EXPECT_EQ(observer.indicesByTrackName().at("Track Name 10"), (std::vector<int>{11}));
    EXPECT_EQ(h.lastDetail("Debounced structural snapshot published"),
              "reason=AXLayoutChanged count=11 quietMs=2000");
}

}  // namespace
}  // namespace tessiva
