#include <gtest/gtest.h>

#include "LogicObserverHarness.h"
#include "platform/input/InputEvent.h"

namespace tessiva {
namespace {

TEST(LogicObserverModal, WindowChangeWithoutGestureQuarantinesForTheCooldownOnly) {
    LogicObserverHarness h;
    auto& observer = h.start();
    const double opened = h.scheduler.now();
    h.openModal("Rename Track");
    EXPECT_TRUE(observer.isQuarantined());
    EXPECT_NEAR(observer.modalDeadlines().quarantine, opened + 1.5, kEps);
    EXPECT_EQ(observer.modalDeadlines().potentialConfirmation, 0.0);
    EXPECT_EQ(h.lastDetail("Logic modal AX quarantine entered"),
              "reason=notification/AXFocusedWindowChanged cooldownMs=1500; cancelled deferred "
              "selection and structural AX work.");
    EXPECT_FALSE(observer.isAXObserverSourceSuspended());

    // Nothing is read or emitted during the quarantine.
    h.logic.dismissModal();  // extends by another 1.5 s from now
    h.scheduler.advance(0.5);
    const auto reads = h.logic.attributeReadCount();
    h.click(5, 0.5);
    EXPECT_TRUE(h.emitted.empty());
    EXPECT_EQ(h.logic.attributeReadCount(), reads);
    // The quarantine ends 1.5 s after the last window change.
    h.scheduler.advance(0.49);
    EXPECT_TRUE(observer.isQuarantined());
    h.scheduler.advance(0.01);
    EXPECT_FALSE(observer.isQuarantined());
    h.click(6, 0.2);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{6}));
    EXPECT_EQ(h.countDebug("Logic AX observer delivery resumed"), 0u);
}

TEST(LogicObserverModal, RightClickModalWaitsForItsConfirmingClick) {
    LogicObserverHarness h;
    auto& observer = h.start();
    const double t0 = h.scheduler.now();
    h.logic.clickTrack(4, SimulatedClick::right);
    h.scheduler.runUntilIdle();
    // The right click suspends the selection route and arms 3.0 s.
    EXPECT_TRUE(observer.isAXObserverSourceSuspended());
    EXPECT_FALSE(observer.isWindowObserverSourceSuspended());
    EXPECT_NEAR(observer.modalDeadlines().potentialConfirmation, t0 + 3.0, kEps);
    EXPECT_EQ(h.lastDetail("Logic selection AX observer suspended"),
              "reason=preemptive-scissors/pre-dispatch-right-mouse-down; paused "
              "focus/value/selection notification delivery without changing registrations.");
    EXPECT_TRUE(h.lastDetailHas("Logic modal AX quarantine entered",
                                "reason=pre-dispatch-right-mouse-down "));
    // A modal opening within 3.0 s extends the wait to 30 s.
    h.scheduler.advance(1.0);
    h.openModal("Delete Regions?");
    EXPECT_NEAR(observer.modalDeadlines().potentialConfirmation, t0 + 31.0, kEps);
    h.scheduler.advance(19.0);
    EXPECT_TRUE(observer.isQuarantined());
    // The confirming click suspends both routes and adds 1.5 s.
    const double confirmed = h.scheduler.now();
    const auto droppedBefore = h.logic.droppedNotificationCount();
    h.logic.clickModalButton();
    h.scheduler.runUntilIdle();
    EXPECT_TRUE(observer.isWindowObserverSourceSuspended());
    EXPECT_EQ(observer.modalDeadlines().potentialConfirmation, 0.0);
    EXPECT_NEAR(observer.modalDeadlines().quarantine, confirmed + 1.5, kEps);
    EXPECT_GT(h.logic.droppedNotificationCount(), droppedBefore);
    EXPECT_TRUE(h.lastDetailHas("Logic window AX observer suspended",
                                "reason=pre-dispatch-modal-confirmation-left-mouse-down;"));
    h.scheduler.advance(1.49);
    EXPECT_EQ(h.resumedCalls, 0);
    h.scheduler.advance(0.01);
    EXPECT_EQ(h.lastDetail("Logic AX observer delivery resumed"),
              "routes=selection,window; applicable modal/detection deadlines elapsed.");
    EXPECT_EQ(h.resumedCalls, 1);
    EXPECT_FALSE(observer.isAXObserverSourceSuspended());
    EXPECT_FALSE(observer.isWindowObserverSourceSuspended());
    // Delivery works again.
    h.click(5, 0.2);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{5}));
}

TEST(LogicObserverModal, GestureWindowsAndExtensions) {
    {
        SCOPED_TRACE("repeated gestures only extend; an unconfirmed modal is given up after 30 s");
        LogicObserverHarness h;
        auto& observer = h.start();
        const double t0 = h.scheduler.now();
        h.click(2, 0.5, SimulatedClick::right);
        h.logic.clickArrangeBackground(SimulatedClick::command);
        h.scheduler.runUntilIdle();
        EXPECT_NEAR(observer.modalDeadlines().potentialConfirmation, t0 + 3.5, kEps);
        EXPECT_NEAR(observer.modalDeadlines().quarantine, t0 + 2.0, kEps);
        EXPECT_TRUE(h.lastDetailHas("Logic modal AX quarantine entered",
                                    "pre-dispatch-command-left-mouse-down"));
        h.logic.openModal("Split Regions");
        const double opened = h.scheduler.now();
        h.scheduler.runUntilIdle();
        h.scheduler.advance(30.0 - 0.01);
        EXPECT_TRUE(observer.isQuarantined());
        EXPECT_TRUE(observer.isAXObserverSourceSuspended());
        h.scheduler.advance(0.01);
        EXPECT_NEAR(h.scheduler.now(), opened + 30.0, kEps);
        EXPECT_FALSE(observer.isQuarantined());
        EXPECT_FALSE(observer.isAXObserverSourceSuspended());
        EXPECT_EQ(h.lastDetail("Logic AX observer delivery resumed"),
                  "routes=selection; applicable modal/detection deadlines elapsed.");
        EXPECT_EQ(h.resumedCalls, 1);
    }
    for (const double gap : {0.7, 0.76}) {
        SCOPED_TRACE("a modal " + std::to_string(gap) + " s after a plain click");
        LogicObserverHarness h;
        auto& observer = h.start();
        h.click(2, gap);
        h.openModal("Alert");
        // Within 0.75 s it counts as a gesture modal; after, it only gets the cooldown.
        const bool gesture = gap < 0.75;
        EXPECT_EQ(observer.isAXObserverSourceSuspended(), gesture);
        EXPECT_NEAR(observer.modalDeadlines().potentialConfirmation,
                    gesture ? h.scheduler.now() + 30.0 : 0.0, kEps);
        if (gesture) {
            EXPECT_EQ(observer.modalDeadlines().primaryDetection, 0.0);
        }
    }
}

TEST(LogicObserverModal, FallbackMonitorArmsTheSameGatesAfterTheFact) {
    LogicObserverHarness h;
    h.logic.input().setTapAvailable(false);
    auto& observer = h.start();
    EXPECT_FALSE(observer.usesPreDispatchTap());
    EXPECT_TRUE(h.console.contains(
        "[LogicObserver] Could not create pre-dispatch modal gesture event tap; using NSEvent "
        "fallback."));
    h.logic.clickTrack(3, SimulatedClick::right);
    h.scheduler.runUntilIdle();
    EXPECT_TRUE(
        h.lastDetailHas("Logic modal AX quarantine entered", "reason=right-mouse-down/fallback "));
    EXPECT_TRUE(observer.isAXObserverSourceSuspended());
    h.openModal("Rename");
    EXPECT_NEAR(observer.modalDeadlines().potentialConfirmation, h.scheduler.now() + 30.0, kEps);
}

// Return, Enter, Escape and Space all answer a dialog; an arrow key does not.
TEST(LogicObserverModal, OnlyTheDialogKeysConfirmAWaitingModal) {
    for (const int key : {keycode::kReturn, keycode::kEnter, keycode::kEscape, keycode::kSpace,
                          keycode::kDownArrow}) {
        SCOPED_TRACE(key);
        LogicObserverHarness h;
        auto& observer = h.start();
        h.logic.clickTrack(3, SimulatedClick::right);
        h.logic.openModal("Rename");
        h.scheduler.advance(5.0);
        ASSERT_GT(observer.modalDeadlines().potentialConfirmation, h.scheduler.now());
        h.logic.pressKey(key);
        h.scheduler.runUntilIdle();
        const bool confirms = key != keycode::kDownArrow;
        EXPECT_EQ(observer.modalDeadlines().potentialConfirmation == 0.0, confirms);
        EXPECT_EQ(h.logic.isModalOpen(), !confirms);
        EXPECT_EQ(observer.isWindowObserverSourceSuspended(), confirms);
        EXPECT_EQ(h.lastDetailHas("Logic modal AX quarantine entered",
                                  "reason=modal-confirmation-key-down "),
                  confirms);
    }
}

TEST(LogicObserverModal, QuarantineCancelsDeferredWorkAndPausesTheRescan) {
    LogicObserverHarness h;
    auto& observer = h.start();
    h.scheduler.advance(3.0);
    h.clearRecords();
    // A pending structural capture is cancelled.
    h.logic.moveTrack(2, 5);
    h.scheduler.advance(0.1);
    h.logic.openModal("Alert");
    h.scheduler.advance(3.0);
    // Only the 5 s structure poll reports the move, never the cancelled debounce.
    for (const auto& snapshot : h.snapshots) {
        EXPECT_EQ(snapshot.reason.rfind("debounced", 0), std::string::npos) << snapshot.reason;
    }
    EXPECT_EQ(h.countDebug("Debounced structural snapshot published"), 0u);
    // Logic quitting during a quarantine is noticed after it.
    h.logic.dismissModal();
    h.logic.quit();
    h.scheduler.advance(1.0);  // the rescan tick at 5 s falls inside the quarantine
    EXPECT_TRUE(observer.isAttached());
    h.scheduler.advance(5.0);
    EXPECT_FALSE(observer.isAttached());
}

TEST(LogicObserverModal, HeldPressesInTheRegionsAreaArmDetectionOnRelease) {
    LogicObserverHarness h;
    auto& observer = h.start();
    // A held press on a header is no potential cut.
    h.logic.beginTrackDrag(3);
    h.scheduler.advance(0.5);
    EXPECT_FALSE(observer.logicPointerGestureIsPotentialScissors());
    h.scheduler.advance(0.5);
    h.logic.releasePointer();
    h.scheduler.advance(0.5);
    h.openModal("Alert");
    EXPECT_FALSE(observer.isAXObserverSourceSuspended());
    h.logic.dismissModal();
    h.scheduler.advance(2.0);
    // A held press beside the headers is.
    h.logic.pressRegionArea();
    h.scheduler.advance(0.5);
    EXPECT_TRUE(observer.logicPointerGestureIsPotentialScissors());
    h.scheduler.advance(0.5);  // past the click's own 0.75 s
    const double released = h.scheduler.now();
    h.logic.releasePointer();
    h.scheduler.runUntilIdle();
    EXPECT_FALSE(observer.logicPointerGestureIsPotentialScissors());
    EXPECT_NEAR(observer.modalDeadlines().primaryDetection, released + 0.75, kEps);
    h.scheduler.advance(0.5);
    h.openModal("Split");
    EXPECT_TRUE(observer.isAXObserverSourceSuspended());
}

}  // namespace
}  // namespace tessiva
