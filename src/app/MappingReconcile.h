#pragma once

#include <functional>
#include <optional>
#include <string>

#include "mapping/MappingProfileSnapshot.h"
#include "repair/MappingSequenceReconciler.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"

namespace tessiva {

class Console;
class DebugLogStore;
class MappingStore;

// "Reconcile Mappings" from the Mappings window: captures Logic's track order twice, builds the
// reconciler's read-only plan only when both captures agree, applies its remap as one whole-
// snapshot change that is validated (and rolled back on any mismatch), and undoes the last
// applied reconcile from the snapshot kept before it. Main queue only; tests drive it on a
// VirtualScheduler with a real store and scripted captures.
class MappingReconcile {
  public:
    enum class State { idle, capturing, unstable, ready, applied, failed };

    // A capture is read this long after it was requested (Logic's list is read on the selection
    // queue); the second is requested this long after the first was read.
    static constexpr double kCaptureSettle = 0.75;
    static constexpr double kSecondCaptureDelay = 0.5;
    static constexpr const char* kExplanation =
        "Compare the saved mapping order with Logic and preview only high-confidence repairs.";
    static constexpr const char* kExpandFirstText =
        "Return here after Logic has finished expanding. Focus will capture the track order "
        "twice, build a read-only repair proposal, and leave ambiguous mappings untouched.";

    struct Dependencies {
        Queue& mainQueue;
        NotificationCenter& notifications;
        Console& console;
        DebugLogStore& log;
        MappingStore& store;
        // Asks Logic for a fresh track-list capture, and reads the latest one (empty: none).
        std::function<void(const std::string& reason)> requestCapture;
        std::function<RowMap()> latestCapture;
    };

    explicit MappingReconcile(Dependencies dependencies);
    MappingReconcile(const MappingReconcile&) = delete;
    MappingReconcile& operator=(const MappingReconcile&) = delete;

    void begin();
    // Applies the ready plan; false when there is none or nothing to move.
    bool apply();
    // "Undo the last mapping reconciliation."
    bool undo();

    State state() const { return state_; }
    const std::optional<MappingSequenceReconciler::Plan>& plan() const { return plan_; }
    bool canUndo() const { return undoSnapshot_.has_value(); }
    // One line for the window: what the flow is doing or found.
    const std::string& summary() const { return summary_; }
    std::function<void()> onChange;

  private:
    void capture(const std::string& reason);
    void captured(RowMap names);
    void finish(State state, const std::string& title, const std::string& detail);
    void note(const std::string& title, const std::string& detail);

    Dependencies deps_;
    State state_ = State::idle;
    std::optional<RowMap> firstCapture_;
    RowMap liveNames_;
    std::optional<MappingSequenceReconciler::Plan> plan_;
    std::optional<MappingProfileSnapshot> undoSnapshot_;
    std::string summary_;
    WorkItem pendingCapture_;
};

// The plan's remap applied to every row-keyed part of a snapshot; nullopt when a moved mapping
// would land on a row whose own mapping stays (nothing is overwritten). Pure.
std::optional<MappingProfileSnapshot> remappedSnapshot(const MappingProfileSnapshot& snapshot,
                                                       const std::map<int, int>& remap);

}  // namespace tessiva
