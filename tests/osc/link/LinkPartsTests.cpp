#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "LinkRig.h"
#include "osc/link/FloodLogLimiter.h"
#include "osc/link/LifetimeGuard.h"
#include "osc/link/LinkRequest.h"

namespace tessiva {
namespace {

using testing::i;
using testing::LinkRig;
using testing::s;
using Line = FloodLogLimiter::Line;

TEST(FloodLogLimiter, TheFirstLineIsWrittenAndTheRestAreCountedOnce) {
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
}

TEST(FloodLogLimiter, ManySendersAreBoundedPerIntervalAndByKeys) {
    FloodLogLimiter limiter(2.0, 4, 3);
    std::size_t written = 0;
    for (int sender = 0; sender < 1000; ++sender)
        written += limiter
                       .note("k" + std::to_string(sender), "Rejected",
                             "from " + std::to_string(sender), 0.1)
                       .size();
    EXPECT_EQ(written, 3u);  // the first lines of three senders
    EXPECT_LE(limiter.rememberedKeys(), 4u);
    const auto summaries = limiter.flush(3.0);
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_EQ(summaries[0], (Line{"Rejected", "from 999 (997 more suppressed)"}));
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

class RecordingRequests final : public LinkRequestHandler {
  public:
    void handleLinkRequest(const LinkRequest& request) override { requests.push_back(request); }
    std::vector<LinkRequest> requests;
};

TEST(LinkRequests, TheActiveIPadsRequestsReachTheHandlerTypedWithTheirReplyEndpoint) {
    LinkRig rig;
    RecordingRequests handler;
    rig.make().setLinkRequestHandler(&handler);
    rig.started();
    // The iPad listens on 53000 and sends from 61000.
    rig.deliver("127.0.0.1", 61000, "/ping", {i(53000)});
    rig.deliver("127.0.0.1", 61000, "/tessiva/bank/focus/learn",
                {s("B-1"), s("Legato"), s("Strings"), s("G-1")});
    rig.deliver("127.0.0.1", 61000, "/tessiva/navigation/direct/select", {s("R-1"), s("B-2")});
    rig.receive("127.0.0.1", 53001, "/tessiva/navigation/direct/select", {s("R-2"), s("B-2")});

    const LinkRequestOrigin iPad{"127.0.0.1:53000", "127.0.0.1", 53000};
    const BankLearnRequest learn{"B-1", "Legato", "Strings", "G-1", {}, {}, {}};
    DirectNavigationRequest direct{"R-1", "B-2", std::nullopt};
    ASSERT_EQ(handler.requests.size(), 2u);
    EXPECT_EQ(handler.requests[0], (LinkRequest{iPad, learn}));
    EXPECT_EQ(handler.requests[1], (LinkRequest{iPad, direct}));
    EXPECT_EQ(userInfoFor(handler.requests[1]).integer("port"), 53000);
    EXPECT_EQ(notificationNameFor(handler.requests[0].request),
              OSCDiscoveryManager::kBankLearnRequested);
}

TEST(LinkRequests, DirectNavigationModeGoesOutOnConnectAndOnEveryChange) {
    LinkRig rig;
    auto& manager = rig.started();
    rig.receive("127.0.0.1", 53000, "/ping", {i(53000)});
    auto modes = [&] { return rig.sent("/tessiva/navigation/direct/mode"); };
    ASSERT_EQ(modes().size(), 1u);  // on connect; its content is checked with the first ping

    manager.setDirectNavigationMode({true, ""});
    manager.setDirectNavigationMode({true, ""});  // unchanged: not sent again
    rig.scheduler.runUntilIdle();
    ASSERT_EQ(modes().size(), 2u);
    EXPECT_EQ(modes()[1].arguments, (std::vector<OSCArgument>{i(1), s("")}));
}

TEST(PeerLink, AFloodFromTheActiveIPadKeepsOneHandshakeTimerAndStillTimesOut) {
    LinkRig rig;
    auto& manager = rig.started();
    rig.receive("127.0.0.1", 53000, "/ping", {i(53000)});
    const std::size_t before = rig.scheduler.pendingCount();
    for (int n = 0; n < 2000; ++n) {
        rig.deliver("127.0.0.1", 53000, "/tessiva/workspace/snapshot/chunk",
                    {s("T-" + std::to_string(n)), i(0), i(2), s("{")});
    }
    rig.scheduler.runUntilIdle();
    // One timer stays armed however many datagrams arrive, and it counts from the last one.
    EXPECT_LE(rig.scheduler.pendingCount(), before + 1);
    rig.scheduler.advance(19.0);
    EXPECT_TRUE(manager.isHandshakeConnected());
    rig.scheduler.advance(1.5);
    EXPECT_FALSE(manager.isHandshakeConnected());
}

}  // namespace
}  // namespace tessiva
