#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "mapping/DebugLogStore.h"
#include "runtime/DebugEvent.h"
#include "runtime/UUID.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

std::vector<std::string> titles(const DebugLogStore& log) {
    std::vector<std::string> out;
    for (const auto& entry : log.entries().value())
        out.push_back(entry.title);
    return out;
}

TEST(DebugLogStore, TrimsBackToFourThousandPastFiveThousand) {
    VirtualScheduler scheduler;
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());
    std::size_t notifications = 0;
    std::size_t largest = 0;
    auto token = log.entries().subscribe([&](const std::vector<DebugLogStore::Entry>& entries) {
        ++notifications;
        largest = std::max(largest, entries.size());
    });

    for (int i = 1; i <= 5000; ++i)
        log.log(std::to_string(i));
    ASSERT_EQ(log.entries()->size(), 5000u);  // the 5000th causes no trim
    EXPECT_EQ(log.entries()->front().title, "1");
    EXPECT_EQ(notifications, 5000u);

    log.log("5001", "last");
    ASSERT_EQ(log.entries()->size(), 4000u);
    EXPECT_EQ(log.entries()->front().title, "1002");
    EXPECT_EQ(log.entries()->back().title, "5001");
    EXPECT_EQ(log.entries()->back().detail, std::optional<std::string>("last"));
    EXPECT_EQ(largest, 5000u) << "observers never see 5001 entries";

    log.clear();
    EXPECT_TRUE(log.entries()->empty());
    const std::size_t before = notifications;
    log.clear();
    EXPECT_EQ(notifications, before) << "clearing an empty log is no change";
}

TEST(DebugLogStore, OffMainCallsAndDebugEventsLandAfterPendingMainWorkInCallOrder) {
    VirtualScheduler scheduler;
    auto background = scheduler.makeSerialQueue("tessiva.test.background");
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());

    // On the main queue an entry appears at once, with a fresh id and the current date.
    log.log("main-now");
    ASSERT_EQ(titles(log), (std::vector<std::string>{"main-now"}));
    EXPECT_TRUE(isUUIDString(log.entries()->front().id));
    EXPECT_DOUBLE_EQ(log.entries()->front().timestamp, scheduler.clock().date());

    Date backgroundCallDate = 0;
    scheduler.mainQueue().post([&] { log.log("main-pending-1"); });
    background->post([&] {
        backgroundCallDate = scheduler.clock().date();
        log.log("background-1");
        log.log("background-2", "detail");
        EXPECT_EQ(log.entries()->size(), 2u) << "nothing appended off the main queue";
    });
    scheduler.mainQueue().post([&] { log.log("main-pending-2"); });
    scheduler.mainQueue().postAfter(1.0, [&] { log.log("main-later"); });
    scheduler.advance(2.0);

    EXPECT_EQ(titles(log),
              (std::vector<std::string>{"main-now", "main-pending-1", "main-pending-2",
                                        "background-1", "background-2", "main-later"}));
    EXPECT_DOUBLE_EQ(log.entries().value()[3].timestamp, backgroundCallDate);
    EXPECT_NE(log.entries().value()[3].id, log.entries().value()[4].id);

    // Debug events posted from any queue land the same way.
    NotificationCenter center(scheduler.mainQueue());
    auto token = log.observeDebugEvents(center);
    log.clear();
    postDebugEvent(center, "OSC bank focus skipped", "No peer");
    background->post([&] { postDebugEvent(center, "From a socket"); });
    scheduler.runUntilIdle();
    ASSERT_EQ(titles(log), (std::vector<std::string>{"OSC bank focus skipped", "From a socket"}));
    EXPECT_EQ(log.entries()->front().detail, std::optional<std::string>("No peer"));
    EXPECT_FALSE(log.entries()->back().detail.has_value());

    // A hop still queued when the log goes away does nothing.
    auto doomed = std::make_unique<DebugLogStore>(scheduler.mainQueue(), scheduler.clock());
    std::thread foreign([&] { doomed->log("too late"); });
    foreign.join();
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    doomed.reset();
    EXPECT_EQ(scheduler.runUntilIdle(), 1u);
}

}  // namespace
}  // namespace tessiva
