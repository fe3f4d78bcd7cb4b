#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "runtime/NotificationCenter.h"
#include "runtime/RepeatingTimer.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

// Each queue's work runs as that queue, the test thread playing the main thread.
TEST(VirtualScheduler, RunsDueWorkOnItsQueueInTimeOrderWithTiesInSchedulingOrder) {
    VirtualScheduler scheduler;
    auto serial = scheduler.makeSerialQueue("tessiva.logic.selection");
    EXPECT_EQ(serial->name(), "tessiva.logic.selection");
    EXPECT_TRUE(scheduler.mainQueue().isCurrent());
    EXPECT_FALSE(serial->isCurrent());
    std::vector<std::string> ran;
    auto on = [&](Queue& queue, std::string label) {
        return [&, label] { ran.push_back(queue.isCurrent() ? label : label + " off its queue"); };
    };
    scheduler.mainQueue().postAfter(0.5, on(scheduler.mainQueue(), "main 0.5 a"));
    serial->postAfter(0.2, [&] {
        ran.push_back(serial->isCurrent() && !scheduler.mainQueue().isCurrent() ? "serial 0.2"
                                                                                : "main current");
    });
    serial->postAfter(0.5, on(*serial, "serial 0.5 b"));
    scheduler.mainQueue().postAfter(0.5, on(scheduler.mainQueue(), "main 0.5 c"));
    scheduler.mainQueue().post(on(scheduler.mainQueue(), "main now"));

    EXPECT_EQ(scheduler.advance(0.49), 2u);
    EXPECT_EQ(ran, (std::vector<std::string>{"main now", "serial 0.2"}));
    EXPECT_EQ(scheduler.advance(0.01), 3u);
    EXPECT_EQ(ran, (std::vector<std::string>{"main now", "serial 0.2", "main 0.5 a", "serial 0.5 b",
                                             "main 0.5 c"}));
}

TEST(VirtualScheduler, ClockStandsAtDueTimeWhileWorkRunsAndChainedWorkRunsInTheSameAdvance) {
    VirtualScheduler scheduler(100.0);
    std::vector<double> times;
    scheduler.mainQueue().postAfter(1.0, [&] {
        times.push_back(scheduler.now());
        // Scheduled by due work: due at 101.5, still inside the advance window.
        scheduler.mainQueue().postAfter(0.5, [&] { times.push_back(scheduler.now()); });
        // Due at 103: outside the window.
        scheduler.mainQueue().postAfter(2.0, [&] { times.push_back(scheduler.now()); });
    });
    scheduler.advance(2.0);
    EXPECT_EQ(times, (std::vector<double>{101.0, 101.5}));
    EXPECT_DOUBLE_EQ(scheduler.now(), 102.0);
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    scheduler.advance(1.0);
    EXPECT_EQ(times.back(), 103.0);
}

TEST(VirtualScheduler, CancelledWorkNeverRunsAndCancelAfterRunIsHarmless) {
    VirtualScheduler scheduler;
    int runs = 0;
    WorkItem cancelled = scheduler.mainQueue().postAfter(1.0, [&] { ++runs; });
    WorkItem kept = scheduler.mainQueue().postAfter(1.0, [&] { ++runs; });
    EXPECT_TRUE(cancelled.isPending());
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isPending());
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    scheduler.advance(5.0);
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(kept.isPending());
    kept.cancel();        // already ran: nothing happens
    WorkItem().cancel();  // never armed, as debounced work is at first: nothing happens either
    EXPECT_EQ(runs, 1);
}

TEST(RepeatingTimer, FiresAfterFirstDelayThenEveryIntervalUntilStopped) {
    VirtualScheduler scheduler(0.0);
    RepeatingTimer timer;
    std::vector<double> ticks;
    timer.start(scheduler.mainQueue(), 5.0, 10.0, [&] { ticks.push_back(scheduler.now()); });
    scheduler.advance(4.999);
    EXPECT_TRUE(ticks.empty());
    scheduler.advance(30.001);
    EXPECT_EQ(ticks, (std::vector<double>{5.0, 15.0, 25.0, 35.0}));
    timer.stop();
    scheduler.advance(100.0);
    EXPECT_EQ(ticks.size(), 4u);

    // A tick may stop its own timer.
    RepeatingTimer selfStopping;
    int count = 0;
    selfStopping.start(scheduler.mainQueue(), 1.0, 1.0, [&] {
        if (++count == 2)
            selfStopping.stop();
    });
    scheduler.advance(10.0);
    EXPECT_EQ(count, 2);
    EXPECT_FALSE(selfStopping.isRunning());
}

TEST(NotificationCenter, DeliversByNameWithUserInfoAndStopsWhenTokenGoes) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    std::vector<std::string> seen;
    auto token =
        center.addObserver("tessiva.oscHandshakeStatusChanged", [&](const Notification& n) {
            seen.push_back(n.name + ":" +
                           (n.userInfo.boolean("connected").value_or(false) ? "up" : "down"));
        });
    auto other = center.addObserver("tessiva.debugEvent", [&](const Notification& n) {
        seen.push_back(n.userInfo.string("title").value_or("?"));
    });
    center.post("tessiva.oscHandshakeStatusChanged", {{"connected", true}});
    center.post("tessiva.debugEvent", {{"title", std::string("Mapped output blocked")}});
    EXPECT_EQ(seen, (std::vector<std::string>{"tessiva.oscHandshakeStatusChanged:up",
                                              "Mapped output blocked"}));
    token.reset();
    center.post("tessiva.oscHandshakeStatusChanged", {{"connected", false}});
    EXPECT_EQ(seen.size(), 2u);

    UserInfo info{{"count", std::int64_t{3}}};
    EXPECT_EQ(info.integer("count"), 3);
    EXPECT_FALSE(info.string("count").has_value());  // wrong type reads as absent

    SCOPED_TRACE("an observer may remove itself while it is being delivered to");
    int calls = 0;
    ObserverToken self;
    self = center.addObserver("n", [&](const Notification&) {
        ++calls;
        self.reset();
    });
    center.post("n");
    center.post("n");
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, PostsOffTheMainQueueHopToItInPostingOrder) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    auto serial = scheduler.makeSerialQueue("tessiva.focus.osc.discovery");
    std::vector<std::int64_t> order;
    bool onMain = false;
    auto token = center.addObserver("n", [&](const Notification& n) {
        onMain = scheduler.mainQueue().isCurrent();
        order.push_back(*n.userInfo.integer("i"));
    });
    serial->post([&] {
        center.post("n", {{"i", std::int64_t{1}}});
        center.post("n", {{"i", std::int64_t{2}}});
        EXPECT_TRUE(order.empty());  // not delivered on the serial queue
    });
    std::thread foreign([&] { center.post("n", {{"i", std::int64_t{3}}}); });
    foreign.join();
    scheduler.runUntilIdle();
    EXPECT_TRUE(onMain);
    ASSERT_EQ(order.size(), 3u);
    // The foreign thread posted before the serial work ran.
    EXPECT_EQ(order, (std::vector<std::int64_t>{3, 1, 2}));
}

}  // namespace
}  // namespace tessiva
