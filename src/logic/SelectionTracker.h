#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "logic/ObservationContext.h"
#include "logic/SelectionRules.h"
#include "logic/SelectionSettlePolicy.h"
#include "runtime/Queue.h"

namespace tessiva {

// What starts a watch for a changed selection.
// `directSelection`: the observer itself selected a track on request.
enum class SelectionGesture { click, arrowDown, arrowUp, notification, directSelection };

// Turns Logic's notifications, clicks and arrow keys into TrackSelection events: schedules reads
// of the anchored list on the selection queue, tells a changed selection from a stale one, and
// emits each new selection once on the main queue. A gesture opens a watch that keeps reading
// until Logic publishes a selection other than the one it showed before the gesture (whatever
// its lag, with or without a notification); a read that still shows that selection is stale and
// never counts as a new one. A list that has gone (a new window, the Mixer rebuilt the Arrange
// area) is re-anchored on the spot and read again. Main queue; reads on "tessiva.logic.selection",
// the pending-read token on "tessiva.logic.selection.state". Part of LogicObserver; tests drive it
// through the observer against SimulatedLogic.
class SelectionTracker {
  public:
    using ListReanchored = std::function<void(const TrackListAnchor& anchor, bool announce)>;

    SelectionTracker(ObservationContext& context, const SelectionRules& rules,
                     ListReanchored onListReanchored);
    SelectionTracker(const SelectionTracker&) = delete;
    SelectionTracker& operator=(const SelectionTracker&) = delete;

    std::function<void(const TrackSelection&)> onTrackSelection;
    bool learnAwaitsTrackName = false;
    std::function<void(const TrackSelection&, const std::string& trigger)> onLearnRowResolved;

    // A notification that passed the quarantine, drag and frontmost gates (main queue).
    void handleNotification(const AXElement& element, const std::string& name, double at,
                            bool capture);
    // A plain click in Logic or an arrow key (main queue).
    void gestureStarted(SelectionGesture gesture, double at);
    void refreshSelection(std::string trigger);
    // A quarantine began: deferred reads must not run into it.
    void cancelDeferredWork();
    // Logic went away.
    void reset();

    std::optional<int> lastAuthoritativeArrangeTrackIndex() const {
        return lastAuthoritativeArrangeTrackIndex_;
    }
    double expectedPublishLag() const;

    // The settling read after a focused-window change.
    double selectionSettleDelay = 0.03;
    double selectionPollInterval = 0.02;
    int selectionPollMaxAttempts = 8;
    SelectionSettlePolicy settle;

  private:
    struct Gesture {
        double time = 0;
        std::string trigger;
    };
    // Shared with the selection queue under watchMutex_.
    struct Watch {
        std::uint64_t generation = 0;
        std::deque<Gesture> unanswered;
        double lastGestureTime = 0;
        // What Logic showed last: a read showing it again is stale.
        std::optional<TrackSelection> known;
        AXElement knownElement;
        // A notification that re-reports a click on the selected track, emitted when the watch
        // ends with the selection unchanged.
        std::string reemitTrigger;
        double reemitTime = 0;
        // False after an interruption: Logic may show a selection we never saw.
        bool knownTrusted = false;
        WorkItem pendingRead;
        double expectedLag = 0;
        int lagSamples = 0;
    };
    static constexpr double kBaselineLag = 0.05;

    void scheduleSelection(std::string trigger, double eventTime);
    void runSelectionRead(std::uint64_t token, std::string trigger, bool settling, int attempt,
                          double eventTime);
    // Reads the anchored list (re-anchoring a list that has gone) or, without one, the focused
    // element. Selection queue.
    LogicAXReader::SelectionRead readNow(const AXElement& unchangedIf = {});
    void handleFocusedElement(const AXElement& element, double eventTime);
    void handleValueChanged(const AXElement& element, double eventTime);
    void resolveLearnRow(const AXElement& element, const AXElement& row,
                         const std::optional<TrackSelection>& resolved);
    // `answersWatch`: the watch already judged the read fresh.
    void handleSelectionResult(std::optional<TrackSelection> result, const std::string& trigger,
                               double eventTime, AXElement element = {}, bool answersWatch = false);
    void emit(const TrackSelection& selection, const std::string& trigger, double eventTime,
              const AXElement& element);

    // The watch after gestures.
    void openWatch(SelectionGesture gesture, double at);
    void scheduleWatchRead(std::uint64_t generation, double delay);
    // Under watchMutex_.
    bool needsBaselineRead() const;
    // A read too early to show the gesture becomes what Logic showed before it.
    bool takesAsBaseline(const std::optional<TrackSelection>& read, double at);
    void learnLag(double observed);
    void runWatchRead(std::uint64_t generation);
    // Whether a read belongs to an open watch and shows the selection Logic had before: stale.
    bool isStaleDuringWatch(const std::optional<TrackSelection>& read, const std::string& trigger,
                            double eventTime);

    ObservationContext& context_;
    const SelectionRules& rules_;
    ListReanchored onListReanchored_;

    // Pending-read token, owned by the state queue.
    mutable std::mutex selectionStateMutex_;
    WorkItem pendingSelectionWorkItem_;
    std::uint64_t pendingSelectionToken_ = 0;
    std::string pendingSelectionTrigger_;

    mutable std::mutex watchMutex_;
    Watch watch_;

    // Main queue.
    double lastAXHandledTime_ = 0;
    double lastNoSelectionDebugTime_ = 0;
    double lastFastValueChangedTime_ = 0;
    int lastFastValueChangedIndex_ = -1;
    std::optional<int> lastAuthoritativeArrangeTrackIndex_;
};

}  // namespace tessiva
