#include <gtest/gtest.h>

#include <atomic>

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

}  // namespace
}  // namespace tessiva
