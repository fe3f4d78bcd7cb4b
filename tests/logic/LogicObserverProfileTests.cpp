// The observation against each shape of Logic the simulation knows: Logic 12 (a rail of layout
// items, a lagging selection, no notification) in each of its languages, Logic 12 posting the
// table notifications, and the older table/outline Logic.
#include <gtest/gtest.h>

#include "LogicObserverHarness.h"

namespace tessiva {
namespace {

using testing::LogicObserverHarness;

struct Profile {
    SimulatedLogicVersion version;
    SimulatedLogicLocale locale;
    SimulatedLogicNotifications notifications;
    double lag;
};

std::string profileName(const ::testing::TestParamInfo<Profile>& info) {
    const auto& p = info.param;
    return "Logic" + std::string(kSimulatedLogicVersionNames[static_cast<int>(p.version)]) + "_" +
           std::string(kSimulatedLogicLocaleNames[static_cast<int>(p.locale)]) + "_" +
           std::string(kSimulatedLogicNotificationsNames[static_cast<int>(p.notifications)]) +
           "_lag" + std::to_string(static_cast<int>(p.lag * 1000));
}

class LogicObserverProfile : public ::testing::TestWithParam<Profile> {
  protected:
    static SimulatedLogicOptions options() {
        SimulatedLogicOptions options;
        options.version = GetParam().version;
        options.locale = GetParam().locale;
        options.notifications = GetParam().notifications;
        options.selectionSettleDelay = GetParam().lag;
        options.selectionSettleJitter = GetParam().lag > 0 ? 0.1 : 0.0;
        options.randomSeed = 7;
        return options;
    }

    // Twelve tracks with a stack of three at 5: headers 1-4, 5 (stack), 6-8 (members), 9-12.
    LogicObserverHarness& start() {
        h_ = std::make_unique<LogicObserverHarness>(options(), 4);
        h_->addStringsStackAndTracksUpTo(12);
        h_->start();
        return *h_;
    }

    std::unique_ptr<LogicObserverHarness> h_;
};

TEST_P(LogicObserverProfile, AnchorsTheHeadersAndEachClickAndArrowKeyYieldsItsTrackOnce) {
    auto& h = start();
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
    ASSERT_FALSE(h.snapshots.empty());
    EXPECT_EQ(h.snapshots.front().namesByIndex, h.logic.visibleRows());
    EXPECT_EQ(h.snapshots.front().namesByIndex.at(6), "Violins");
    // Faster than Logic publishes: each click lands before the one before it shows.
    for (int track : {3, 5, 7, 2})
        h.click(track, 0.2);
    h.scheduler.advance(1.0);
    for (bool down : {true, true, false})
        h.arrow(down, 0.6);
    h.scheduler.advance(1.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 5, 7, 2, 3, 4, 3}));
    EXPECT_EQ(h.emitted[2].selection.name, "Violas");
}

TEST_P(LogicObserverProfile, ClicksStillCountAfterTheMixerAndAfterAProjectSwitch) {
    auto& h = start();
    h.click(2, 1.5);
    h.logic.openMixer();
    h.logic.clickMixerStrip(4);
    h.scheduler.advance(1.5);
    h.logic.closeMixer();
    h.scheduler.advance(1.6);  // a focused-window change quarantines for 1.5 s
    h.click(9, 1.5);
    ASSERT_FALSE(h.emitted.empty());
    EXPECT_EQ(h.emitted.back().selection.index, 9);

    h.logic.setProjectName("Cue");
    h.scheduler.advance(1.6);
    h.clearRecords();
    h.click(11, 1.5);  // well before the 30 s re-anchor
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{11}));
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
    EXPECT_EQ(h.observer->readLogicWindowTitle(), h.logic.windowTitle());
}

// Also: a dialog between two clicks, where the first read after it still shows the earlier
// track; Logic's late notification for the new click must not bring the earlier one back.
TEST_P(LogicObserverProfile, WindowTitleIsTheArrangeWindowsWhateverIsInFront) {
    auto& h = start();
    h.click(3, 1.5);
    const auto arrange = h.logic.windowTitle();
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.openPluginWindow(3);
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.closePluginWindow();
    h.openModal("Delete Track?", SimulatedModalKind::dialog);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), std::nullopt);  // quarantined
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.logic.dismissModal();
    h.scheduler.advance(2.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), arrange);
    h.click(4, 1.5);
    EXPECT_EQ(h.emittedIndices(), (std::vector<int>{3, 4}));
    h.logic.quit();
    h.scheduler.advance(5.0);
    EXPECT_EQ(h.observer->readLogicWindowTitle(), std::nullopt);
}

constexpr auto k12 = SimulatedLogicVersion::logic12;
constexpr auto k10 = SimulatedLogicVersion::logic10;
constexpr auto kNone = SimulatedLogicNotifications::none;
constexpr auto kTable = SimulatedLogicNotifications::table;
using Locale = SimulatedLogicLocale;
INSTANTIATE_TEST_SUITE_P(
    Logic, LogicObserverProfile,
    ::testing::Values(Profile{k12, Locale::en, kNone, 0.35}, Profile{k12, Locale::de, kNone, 0.35},
                      Profile{k12, Locale::ja, kNone, 0.35}, Profile{k12, Locale::ko, kNone, 0.35},
                      Profile{k12, Locale::en, kTable, 0.02}, Profile{k12, Locale::en, kNone, 0.6},
                      Profile{k10, Locale::en, kTable, 0.0},
                      Profile{k10, Locale::en, kTable, 0.35}),
    profileName);

TEST(LogicObserverLogic12, FirstWindowListReadFailingIsAskedAgain) {
    // Logic 12: the first AXWindows read fails.
    LogicObserverHarness h(SimulatedLogicOptions{}, 6);
    h.logic.openPluginWindow(2);  // AXMainWindow is the plug-in: the window list is needed
    h.start();
    EXPECT_EQ(h.observer->readLogicWindowTitle(), "Song - Tracks");
    EXPECT_EQ(h.observer->trackHeaderContainer(), h.logic.trackListElement());
}

}  // namespace
}  // namespace tessiva
