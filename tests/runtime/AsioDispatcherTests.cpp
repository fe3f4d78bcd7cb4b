#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>

#include "runtime/AsioDispatcher.h"

namespace tessiva {
namespace {

// The production dispatcher: a serial queue's work runs on its own thread, results hop back to
// the main loop, and cancelled delayed work never runs.
TEST(AsioDispatcher, SerialWorkHopsToMainAndCancellationHolds) {
    AsioDispatcher dispatcher;
    auto serial = dispatcher.makeSerialQueue("tessiva.test");
    std::atomic<bool> ranOnSerial{false};
    std::atomic<bool> cancelledRan{false};
    bool hoppedToMain = false;
    WorkItem cancelled = serial->postAfter(0.01, [&] { cancelledRan = true; });
    cancelled.cancel();
    serial->post([&] {
        ranOnSerial = serial->isCurrent() && !dispatcher.mainQueue().isCurrent();
        dispatcher.mainQueue().postAfter(0.02, [&] {
            hoppedToMain = dispatcher.mainQueue().isCurrent();
            dispatcher.stopMainLoop();
        });
    });
    dispatcher.runMainLoopFor(5.0);
    EXPECT_TRUE(ranOnSerial);
    EXPECT_TRUE(hoppedToMain);
    EXPECT_FALSE(cancelledRan);
}

// Signals when the thread that ran a work item has ended.
struct ThreadEnd {
    std::promise<void>* ended = nullptr;
    ~ThreadEnd() {
        if (ended)
            ended->set_value();
    }
};
thread_local ThreadEnd threadEnd;

// A manager torn down while one of its queue's work items runs lets the queue go on that very
// thread: the item finishes, the thread ends and the queue's pending work is freed.
TEST(AsioDispatcher, AQueueReleasedInsideItsOwnWorkItemEndsCleanly) {
    AsioDispatcher dispatcher;
    auto queue = dispatcher.makeSerialQueue("tessiva.test.self-release");
    auto sentinel = std::make_shared<int>(0);
    const std::weak_ptr<int> pending = sentinel;
    queue->postAfter(60.0, [sentinel = std::move(sentinel)] {});
    std::promise<void> ended;
    std::promise<void> posted;
    Queue& raw = *queue;
    raw.post([owner = std::move(queue), wasPosted = posted.get_future().share(), &ended]() mutable {
        wasPosted.wait();  // the test is done with its reference
        threadEnd.ended = &ended;
        owner.reset();
    });
    posted.set_value();
    ASSERT_EQ(ended.get_future().wait_for(std::chrono::seconds(5)), std::future_status::ready)
        << "the released queue's thread never ended";
    EXPECT_TRUE(pending.expired()) << "the released queue's delayed work was never freed";
}

}  // namespace
}  // namespace tessiva
