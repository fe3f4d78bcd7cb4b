#include <gtest/gtest.h>

#include <thread>

#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

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
