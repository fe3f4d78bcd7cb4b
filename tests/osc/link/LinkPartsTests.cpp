#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "osc/link/FloodLogLimiter.h"
#include "osc/link/LifetimeGuard.h"

namespace tessiva {
namespace {

using Line = FloodLogLimiter::Line;

TEST(FloodLogLimiter, TheFirstLineIsWrittenAndTheRestAreCountedOnceAndBounded) {
    FloodLogLimiter limiter(2.0, 4, 3);
    EXPECT_EQ(limiter.note("a", "T", "one", 0.0), (std::vector<Line>{{"T", "one"}}));
    EXPECT_TRUE(limiter.note("a", "T", "two", 0.5).empty());
    EXPECT_TRUE(limiter.note("a", "T", "three", 1.0).empty());
    EXPECT_TRUE(limiter.flush(1.5).empty());  // the burst is still going
    // The burst has ended: one summary with the count, then the key starts afresh.
    EXPECT_EQ(limiter.flush(2.5), (std::vector<Line>{{"T", "three (2 more suppressed)"}}));
    EXPECT_EQ(limiter.note("a", "T", "four", 3.0), (std::vector<Line>{{"T", "four"}}));

    // A line after the interval carries the previous burst's summary before it.
    EXPECT_TRUE(limiter.note("a", "T", "five", 3.5).empty());
    EXPECT_EQ(limiter.note("a", "T", "six", 5.5),
              (std::vector<Line>{{"T", "five (1 more suppressed)"}, {"T", "six"}}));

    SCOPED_TRACE("many senders are bounded per interval and by keys");
    std::size_t written = 0;
    for (int sender = 0; sender < 1000; ++sender)
        written += limiter
                       .note("k" + std::to_string(sender), "Rejected",
                             "from " + std::to_string(sender), 100.0)
                       .size();
    EXPECT_EQ(written, 3u);  // the first lines of three senders
    EXPECT_LE(limiter.rememberedKeys(), 4u);
    EXPECT_EQ(limiter.flush(103.0),
              (std::vector<Line>{{"Rejected", "from 999 (997 more suppressed)"}}));
}

TEST(LifetimeGuard, CloseWaitsForRunningWorkAndStopsLaterWork) {
    LifetimeGuard guard;
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> finished{false};
    auto running = guard.wrap([&] {
        entered.set_value();
        release.get_future().wait();
        finished = true;
    });
    std::thread worker(running);
    entered.get_future().wait();
    auto closing = std::async(std::launch::async, [&] { guard.close(); });
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    closing.wait();
    EXPECT_TRUE(finished);
    worker.join();

    bool ranAfterClose = false;
    guard.wrap([&] { ranAfterClose = true; })();
    EXPECT_FALSE(ranAfterClose);
    // Closing from inside wrapped work does not wait for itself.
    LifetimeGuard inner;
    inner.wrap([&] { inner.close(); })();
    EXPECT_FALSE(inner.isOpen());
}

}  // namespace
}  // namespace tessiva
