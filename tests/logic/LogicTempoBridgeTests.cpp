#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "logic/LogicTempoBridge.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

struct TempoRig {
    explicit TempoRig(SimulatedLogicOptions options = {})
        : logic(scheduler.clock(), std::move(options)) {
        logic.addTrack("Piano");
        bridge = std::make_unique<LogicTempoBridge>(LogicTempoBridge::Dependencies{
            scheduler, logic, [this](double bpm) { sent.push_back(bpm); }});
    }

    VirtualScheduler scheduler;
    SimulatedLogic logic;
    std::vector<double> sent;
    std::unique_ptr<LogicTempoBridge> bridge;
};

TEST(TempoRules, ParsesWhatTheSliderShows) {
    EXPECT_EQ(TempoRules::parse(AXValue(std::int64_t{96})), 96.0);
    EXPECT_EQ(TempoRules::parse(AXValue(std::string(" 120.0000 \n"))), 120.0);
    for (const AXValue& ignored :
         {AXValue{}, AXValue(0.0), AXValue(-3.0), AXValue(std::string("abc")),
          AXValue(std::string("120 bpm")), AXValue(std::string("  ")),
          AXValue(std::numeric_limits<double>::infinity()), AXValue(std::nan("")), AXValue(true)})
        EXPECT_EQ(TempoRules::parse(ignored), std::nullopt);
    EXPECT_TRUE(TempoRules::isNews(std::nullopt, 120.0));
    EXPECT_FALSE(TempoRules::isNews(120.0, 120.00005));
    EXPECT_TRUE(TempoRules::isNews(120.0, 120.0001));
    EXPECT_TRUE(TempoRules::isNews(120.0, 119.9));
    EXPECT_FALSE(TempoRules::isTempoDescription("Output level"));
}

TEST(LogicTempoBridge, SendsEachChangedTempoOnceReadingABurstOnceOnBothLogicShapes) {
    SimulatedLogicOptions korean;
    korean.locale = SimulatedLogicLocale::ko;
    const std::vector<std::pair<const char*, SimulatedLogicOptions>> profiles = {
        {"Logic 12", {}},
        {"Logic 12, Korean", korean},
        {"table/outline Logic", SimulatedLogicOptions::tableOutlineProfile()}};
    for (const auto& [label, options] : profiles) {
        SCOPED_TRACE(label);
        TempoRig rig(options);
        rig.bridge->start();
        rig.bridge->start();
        rig.scheduler.runUntilIdle();
        ASSERT_TRUE(rig.bridge->isAttached());
        EXPECT_EQ(rig.sent, (std::vector<double>{120.0}));

        rig.logic.setTempo(120.00005);
        rig.scheduler.advance(0.3);
        rig.logic.setTempo(96);
        rig.scheduler.advance(0.2);
        EXPECT_EQ(rig.sent.size(), 1u) << "read before the 0.25 s delay";
        rig.scheduler.advance(0.1);
        rig.logic.setTempoText("abc");  // not a tempo: ignored
        rig.scheduler.advance(0.3);
        rig.logic.setTempoText("96.0000 ");
        rig.scheduler.advance(0.3);
        EXPECT_EQ(rig.sent, (std::vector<double>{120.0, 96.0}));
        EXPECT_EQ(rig.bridge->storedTempo(), 96.0);

        // One read, 0.25 s after the first change of a burst, sees the last of it.
        int valueReads = 0;
        rig.logic.setAttributeReadHook(
            [&](std::string_view name) { valueReads += name == "AXValue"; });
        for (double bpm : {100.0, 101.0, 102.0}) {
            rig.logic.setTempo(bpm);
            rig.scheduler.advance(0.1);
        }
        rig.scheduler.advance(0.5);
        EXPECT_EQ(rig.sent, (std::vector<double>{120.0, 96.0, 102.0}));
        EXPECT_EQ(valueReads, 1);
        // A change pending when the bridge goes away is never read.
        rig.logic.setTempo(90);
        rig.bridge.reset();
        rig.logic.setTempo(91);
        rig.scheduler.advance(10.0);
        EXPECT_EQ(rig.sent.size(), 3u);
    }
}

TEST(LogicTempoBridge, AttachesWithinFiveSecondsOfPermissionAndAfterLogicRestarts) {
    TempoRig rig;
    rig.logic.setTrusted(false);
    rig.bridge->start();
    rig.scheduler.advance(6.0);
    EXPECT_FALSE(rig.bridge->isAttached());
    EXPECT_TRUE(rig.sent.empty());

    rig.logic.setTrusted(true);
    rig.scheduler.advance(5.0);
    ASSERT_TRUE(rig.bridge->isAttached());
    EXPECT_EQ(rig.sent, (std::vector<double>{120.0}));

    rig.logic.quit();
    rig.scheduler.runUntilIdle();
    EXPECT_FALSE(rig.bridge->isAttached()) << "the slider's destruction detaches";
    rig.logic.launch();
    rig.scheduler.advance(5.0);
    ASSERT_TRUE(rig.bridge->isAttached());
    EXPECT_EQ(rig.sent.size(), 1u) << "an unchanged tempo is not sent again after a restart";
    rig.logic.setTempo(140);
    rig.scheduler.advance(0.3);
    EXPECT_EQ(rig.sent, (std::vector<double>{120.0, 140.0}));
}

}  // namespace
}  // namespace tessiva
