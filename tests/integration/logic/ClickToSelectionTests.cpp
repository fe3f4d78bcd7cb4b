#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "logic/LogicObserver.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {
namespace {

// Real queues and threads: the Accessibility reads run on the selection thread while the test
// thread runs the main loop.
TEST(LogicClickToSelection, ClickingTrackSevenReachesOnTrackSelectionOnTheMainQueue) {
    AsioDispatcher dispatcher;
    NotificationCenter center(dispatcher.mainQueue());
    CapturingConsole console;
    SimulatedLogic logic(dispatcher.clock(), SimulatedLogicOptions::tableOutlineProfile());
    for (const char* name :
         {"Piano", "Strings", "Horn", "Flute", "Oboe", "Harp", "Bass", "Choir"}) {
        logic.addTrack(name);
    }
    std::vector<std::pair<TrackSelection, bool>> received;
    std::vector<std::string> snapshotReasons;
    auto snapshots = center.addObserver(
        kTrackListSnapshotUpdatedNotification, [&](const Notification& notification) {
            snapshotReasons.push_back(notification.userInfo.string("reason").value_or(""));
        });
    auto observer = std::make_unique<LogicObserver>(
        LogicObserver::Dependencies{dispatcher, logic, logic.input(), center, console});
    observer->onTrackSelection = [&](const TrackSelection& selection) {
        received.emplace_back(selection, dispatcher.mainQueue().isCurrent());
    };
    dispatcher.mainQueue().post([&] { observer->start(); });

    auto runUntil = [&](auto done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            dispatcher.runMainLoopFor(0.01);
        }
        return done();
    };
    ASSERT_TRUE(runUntil([&] { return !snapshotReasons.empty(); }));
    EXPECT_EQ(snapshotReasons.front(), "startup");
    ASSERT_TRUE(observer->isAttached());

    logic.clickTrack(7);
    ASSERT_TRUE(runUntil([&] { return !received.empty(); }));
    EXPECT_EQ(received.front().first, (TrackSelection{7, "Bass"}));
    EXPECT_TRUE(received.front().second);

    logic.pressArrowKey(false);
    ASSERT_TRUE(runUntil([&] { return received.size() >= 2; }));
    EXPECT_EQ(received.back().first, (TrackSelection{6, "Harp"}));
    observer.reset();
}

}  // namespace
}  // namespace tessiva
