#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "logic/LogicObserver.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {

// Tolerance for comparing virtual times.
inline constexpr double kEps = 1e-9;

struct DebugEntry {
    std::string title;
    std::string detail;
};

struct PublishedSnapshot {
    std::map<int, std::string> namesByIndex;
    std::string reason;
    double time = 0;
};

struct EmittedSelection {
    TrackSelection selection;
    double time = 0;
    bool onMainQueue = false;
};

// Logic 12 (true) or the table/outline Logic (false), for tests run against both.
inline SimulatedLogicOptions bothShapesOptions(bool logic12) {
    return logic12 ? SimulatedLogicOptions{} : SimulatedLogicOptions::tableOutlineProfile();
}
inline std::string bothShapesName(const ::testing::TestParamInfo<bool>& info) {
    return info.param ? "Logic12" : "TableOutline";
}

// A LogicObserver on virtual time against a SimulatedLogic with a default project of `tracks`
// named tracks, recording what it emits, publishes and logs.
class LogicObserverHarness {
  public:
    explicit LogicObserverHarness(
        SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile(),
        int tracks = 10)
        : center(scheduler.mainQueue()), logic(scheduler.clock(), std::move(options)) {
        for (int i = 1; i <= tracks; ++i)
            logic.addTrack("Track Name " + std::to_string(i));
        debugToken = center.addObserver(kDebugEventNotification, [this](const Notification& n) {
            debug.push_back({n.userInfo.string(kDebugEventTitleKey).value_or(""),
                             n.userInfo.string(kDebugEventDetailKey).value_or("")});
        });
        snapshotToken = center.addObserver(
            kTrackListSnapshotUpdatedNotification, [this](const Notification& n) {
                snapshots.push_back(
                    {n.userInfo.get<std::map<int, std::string>>(kSnapshotNamesByIndexKey)
                         .value_or(std::map<int, std::string>{}),
                     n.userInfo.string(kSnapshotReasonKey).value_or(""), scheduler.now()});
            });
    }

    // After tracks 1-4: the stack "Strings" at 5 with Violins, Violas and Celli at 6-8, then
    // tracks 9...last.
    void addStringsStackAndTracksUpTo(int last) {
        logic.addStack("Strings", {"Violins", "Violas", "Celli"});
        for (int i = 9; i <= last; ++i)
            logic.addTrack("Track Name " + std::to_string(i));
    }

    // Starts the observer and lets attachment, anchoring and the startup snapshot finish.
    LogicObserver& start() {
        observer = std::make_unique<LogicObserver>(
            LogicObserver::Dependencies{scheduler, logic, logic.input(), center, console});
        observer->onTrackSelection = [this](const TrackSelection& selection) {
            emitted.push_back({selection, scheduler.now(), scheduler.mainQueue().isCurrent()});
        };
        observer->onAXAccessibilityResumed = [this] { ++resumedCalls; };
        observer->start();
        scheduler.runUntilIdle();
        return *observer;
    }

    // A click on track `number`, then `seconds` of virtual time.
    void click(int number, double seconds, SimulatedClick kind = SimulatedClick::plain) {
        logic.clickTrack(number, kind);
        scheduler.advance(seconds);
    }

    // Opens a modal and lets the observer hear of it.
    void openModal(std::string title, SimulatedModalKind kind = SimulatedModalKind::sheet) {
        logic.openModal(std::move(title), kind);
        scheduler.runUntilIdle();
    }
    // An arrow key, then `seconds` of virtual time.
    void arrow(bool down, double seconds) {
        logic.pressArrowKey(down);
        scheduler.advance(seconds);
    }

    std::size_t countDebug(const std::string& title) const {
        return std::count_if(debug.begin(), debug.end(),
                             [&](const DebugEntry& e) { return e.title == title; });
    }
    // The detail of the latest entry titled `title`, or a marker no expected detail matches.
    std::string lastDetail(const std::string& title) const {
        const auto it = std::find_if(debug.rbegin(), debug.rend(),
                                     [&](const DebugEntry& e) { return e.title == title; });
        return it != debug.rend() ? it->detail : "<no \"" + title + "\" entry>";
    }
    bool lastDetailHas(const std::string& title, const std::string& part) const {
        return lastDetail(title).find(part) != std::string::npos;
    }
    std::vector<DebugEntry> debugStartingWith(const std::string& prefix) const {
        std::vector<DebugEntry> found;
        for (const auto& entry : debug) {
            if (entry.title.rfind(prefix, 0) == 0)
                found.push_back(entry);
        }
        return found;
    }
    std::vector<int> emittedIndices() const {
        std::vector<int> indices;
        for (const auto& entry : emitted)
            indices.push_back(entry.selection.index);
        return indices;
    }
    void clearRecords() {
        emitted.clear();
        debug.clear();
        snapshots.clear();
    }

    VirtualScheduler scheduler;
    NotificationCenter center;
    CapturingConsole console;
    SimulatedLogic logic;
    std::unique_ptr<LogicObserver> observer;
    std::vector<EmittedSelection> emitted;
    std::vector<DebugEntry> debug;
    std::vector<PublishedSnapshot> snapshots;
    int resumedCalls = 0;
    ObserverToken debugToken;
    ObserverToken snapshotToken;
};

}  // namespace tessiva
