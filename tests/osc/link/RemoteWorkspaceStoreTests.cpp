#include <gtest/gtest.h>

#include <thread>

#include "osc/RemoteWorkspaceStore.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

RemoteWorkspaceSnapshot named(const std::string& name) {
    RemoteWorkspaceSnapshot snapshot;
    snapshot.workspaceName = name;
    return snapshot;
}

TEST(RemoteWorkspaceStore, PublishesOnTheMainQueueAndReplacesWhole) {
    VirtualScheduler scheduler;
    RemoteWorkspaceStore store(scheduler.mainQueue());
    EXPECT_FALSE(store.snapshot().has_value());
    std::vector<std::string> seen;
    auto token = store.addObserver([&](const RemoteWorkspaceSnapshot& s) {
        EXPECT_TRUE(scheduler.mainQueue().isCurrent());
        seen.push_back(s.workspaceName.value_or("?"));
    });

    SCOPED_TRACE("from a serial queue: hops to main");
    auto serial = scheduler.makeSerialQueue("tessiva.focus.osc.discovery");
    serial->post([&] { store.publish(named("A")); });
    scheduler.runUntilIdle();
    EXPECT_EQ(seen, std::vector<std::string>{"A"});

    SCOPED_TRACE("from a foreign thread: hops to main");
    std::thread([&] { store.publish(named("B")); }).join();
    EXPECT_EQ(store.snapshot()->workspaceName, "A");  // not yet: main has not run
    scheduler.runUntilIdle();
    EXPECT_EQ(store.snapshot()->workspaceName, "B");

    SCOPED_TRACE("a removed observer is not told");
    token.reset();
    store.publish(named("C"));
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_EQ(store.snapshot()->workspaceName, "C");
}

}  // namespace
}  // namespace tessiva
