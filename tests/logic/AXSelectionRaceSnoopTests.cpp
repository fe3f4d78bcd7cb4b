#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "LogicObserverHarness.h"
#include "logic/AXSelectionRaceSnoop.h"

namespace tessiva {
namespace {

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Ten clicks 0.6 s apart, with or without the recorder armed; what the observer emitted.
std::vector<std::pair<int, double>> clickTen(LogicObserverHarness& h, bool armed) {
    h.start();
    if (armed)
        h.observer->beginAXCapture(45.0, "test");
    const double start = h.scheduler.now();
    for (const int track : {1, 10, 2, 9, 3, 8, 4, 7, 5, 6})
        h.click(track, 0.6);
    std::vector<std::pair<int, double>> emitted;
    for (const auto& entry : h.emitted)
        emitted.emplace_back(entry.selection.index, entry.time - start);
    return emitted;
}

class FlightRecorderProfile : public ::testing::TestWithParam<bool> {};

TEST_P(FlightRecorderProfile, RecordsTenRacesWithoutChangingTheSelectionsEmitted) {
    LogicObserverHarness plain(bothShapesOptions(GetParam()));
    const auto unrecorded = clickTen(plain, false);
    LogicObserverHarness h(bothShapesOptions(GetParam()));
    const auto recorded = clickTen(h, true);
    ASSERT_EQ(unrecorded.size(), 10u);
    EXPECT_EQ(recorded, unrecorded);

    const auto races = h.debugStartingWith(flight_recorder_text::kInteractionStarted);
    ASSERT_EQ(races.size(), 10u);
    for (int race = 1; race <= 10; ++race) {
        SCOPED_TRACE(race);
        const std::string key = "race=" + std::to_string(race) + " ";
        EXPECT_TRUE(contains(races[race - 1].detail, key + "reason=leftMouseDown/click point=("))
            << races[race - 1].detail;
        // The race ends in an emission, and some poll of it saw Logic publish the clicked
        // track, late as it is.
        auto recordedFor = [&](const char* title, const std::string& part) {
            for (const auto& entry : h.debugStartingWith(title)) {
                if (entry.detail.rfind(key, 0) == 0 && contains(entry.detail, part))
                    return true;
            }
            return false;
        };
        EXPECT_TRUE(recordedFor("AX flight decision #", "stage=selection/emitted-to-coordinator"));
        EXPECT_TRUE(recordedFor("AX flight poll #",
                                "selected=#" + std::to_string(recorded[race - 1].first) + " "));
    }
    // Sequence numbers run across every kind of record.
    std::vector<int> sequence;
    for (const auto& entry : h.debug) {
        const auto hash = entry.title.find(" #");
        if (entry.title.rfind("AX flight ", 0) == 0 && hash != std::string::npos)
            sequence.push_back(std::stoi(entry.title.substr(hash + 2)));
    }
    for (std::size_t i = 0; i < sequence.size(); ++i)
        EXPECT_EQ(sequence[i], static_cast<int>(i) + 1);

    h.observer->endAXCapture();
    EXPECT_EQ(h.lastDetail(flight_recorder_text::kStopped),
              "race=10 Capture complete. Use Copy Log in the Events window.");
}

INSTANTIATE_TEST_SUITE_P(Profiles, FlightRecorderProfile, ::testing::Bool(), bothShapesName);

TEST(FlightRecorder, ArmsStopsAndCountsOnlyLogicInteractions) {
    LogicObserverHarness h{SimulatedLogicOptions{}};
    h.start();
    h.observer->beginAXCapture(100.0, "bug-42");
    EXPECT_EQ(h.lastDetail(flight_recorder_text::kArmed),
              "label=bug-42 Recording every Logic track click or up/down key for up to 45 "
              "seconds. Press Stop when finished. Recording does not alter production selection "
              "routing.");

    h.logic.setFrontmost(false);
    h.click(2, 0.6);
    EXPECT_TRUE(h.debugStartingWith(flight_recorder_text::kInteractionStarted).empty());

    h.logic.setFrontmost(true);
    h.scheduler.advance(0.1);
    h.click(2, 0.6);
    h.arrow(true, 0.6);
    h.arrow(false, 0.6);
    const auto races = h.debugStartingWith(flight_recorder_text::kInteractionStarted);
    ASSERT_EQ(races.size(), 3u);
    EXPECT_TRUE(contains(races[1].detail, "race=2 reason=keyDown/downArrow"));
    EXPECT_TRUE(contains(races[2].detail, "race=3 reason=keyDown/upArrow"));

    // Arming again restarts silently; the 45 s limit stops it, once.
    h.observer->beginAXCapture(100.0, "again");
    EXPECT_EQ(h.countDebug(flight_recorder_text::kStopped), 0u);
    h.scheduler.advance(44.9);
    EXPECT_TRUE(h.observer->isAXCaptureRunning());
    h.scheduler.advance(0.2);
    EXPECT_FALSE(h.observer->isAXCaptureRunning());
    ASSERT_EQ(h.countDebug(flight_recorder_text::kStopped), 1u);
    EXPECT_EQ(h.lastDetail(flight_recorder_text::kStopped),
              "Stopped before a Logic selection interaction was observed.");
    h.click(5, 2.0);
    EXPECT_EQ(h.debugStartingWith(flight_recorder_text::kInteractionStarted).size(), 3u);

    // A modal dialog stops a capture.
    h.observer->beginAXCapture(45.0, "modal");
    h.click(6, 0.6);
    h.logic.openModal("Delete Track?");
    h.scheduler.advance(0.5);
    EXPECT_FALSE(h.observer->isAXCaptureRunning());
    EXPECT_EQ(h.countDebug(flight_recorder_text::kStopped), 2u);
    EXPECT_EQ(h.lastDetail(flight_recorder_text::kStopped),
              "race=1 Capture complete. Use Copy Log in the Events window.");
}

}  // namespace
}  // namespace tessiva
