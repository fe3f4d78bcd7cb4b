#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "logic/LogicAXReader.h"
#include "logic/ModalDeadlines.h"
#include "logic/SelectionRules.h"
#include "logic/StructuralSnapshotDebounce.h"
#include "logic/TrackListSnapshot.h"
#include "logic/TrackSelection.h"
#include "platform/ax/AccessibilityPort.h"
#include "platform/input/InputEventPort.h"
#include "runtime/Queue.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

class Console;
class NotificationCenter;

inline constexpr const char* kLogicBundleIdentifier = "com.apple.logic10";
inline constexpr const char* kTrackListSnapshotUpdatedNotification =
    "tessiva.trackListSnapshotUpdated";
inline constexpr const char* kSnapshotNamesByIndexKey = "namesByIndex";
inline constexpr const char* kSnapshotReasonKey = "reason";

// Watches Logic Pro through the Accessibility port: attaches to the running Logic, anchors the
// Arrange track list, turns notifications, arrow keys and clicks into TrackSelection events,
// publishes track-list snapshots ("tessiva.trackListSnapshotUpdated") and keeps a quarantine
// around Logic's modal dialogs. Lives on the main queue; Accessibility reads run on the serial
// queue "tessiva.logic.selection" (the pending-read token on "tessiva.logic.selection.state")
// and results hop back to the main queue. Tests drive it with SimulatedLogic on a
// VirtualScheduler. Destroy it on the main queue, never from inside one of its callbacks: the
// destructor waits for work already running on its queues.
class LogicObserver {
  public:
    // A hashable key for an element: its identity (the element's hash on macOS).
    struct AXUIElementKey {
        std::uint64_t raw = 0;
        explicit AXUIElementKey(const AXElement& element) : raw(element.identity()) {}
        bool operator==(const AXUIElementKey&) const = default;
    };
    struct AXUIElementKeyHash {
        std::size_t operator()(const AXUIElementKey& key) const noexcept {
            return std::hash<std::uint64_t>{}(key.raw);
        }
    };

    struct Dependencies {
        Dispatcher& dispatcher;
        AccessibilityPort& accessibility;
        InputEventPort& input;
        NotificationCenter& notifications;
        Console& console;
    };

    static constexpr double kRescanPeriod = 5.0;
    static constexpr double kRegistrationRefreshAge = 30.0;
    static constexpr double kSlowReadThreshold = 0.25;
    static constexpr int kKeyboardReadAttempts = 12;
    static constexpr double kKeyboardReadInterval = 0.025;
    static constexpr double kNoSelectionDebugInterval = 2.0;
    static constexpr double kDragMovementThreshold = 4.0;

    explicit LogicObserver(Dependencies dependencies);
    ~LogicObserver();
    LogicObserver(const LogicObserver&) = delete;
    LogicObserver& operator=(const LogicObserver&) = delete;

    // Set by the coordinator before `start`; both are called on the main queue.
    std::function<void(const TrackSelection&)> onTrackSelection;
    std::function<void()> onAXAccessibilityResumed;
    // While the learn flow waits for a track, header rows whose value changes are resolved for
    // it: the row and a trigger ending in "-authoritative" when the row is also selected.
    bool learnAwaitsTrackName = false;
    std::function<void(const TrackSelection&, const std::string& trigger)> onLearnRowResolved;

    // Installs the gesture guard and the global monitor, attaches and starts the 5 s rescan.
    void start();
    // Removes taps, monitors, observers and timers (the program never needs it; tests do).
    void stop();

    // The title of Logic's main (else focused) window; nothing while quarantined or detached.
    std::optional<std::string> readLogicWindowTitle();
    // Captures the visible track list on the selection queue and publishes it if it changed.
    void requestTrackNamesSnapshot(std::string reason);
    void scheduleStructuralSnapshot(std::string reason);
    // Schedules a read of the current selection as a notification with this trigger would (the
    // coordinator uses it after onAXAccessibilityResumed). Main queue.
    void refreshSelection(std::string trigger);
    // One tick of the rescan timer.
    void rescan();

    // Flight-recorder capture window: relaxes the frontmost and dedupe filters.
    void beginAXCapture(double seconds);
    void endAXCapture();

    // State, for the coordinator and tests. Main queue.
    bool isAttached() const;
    bool isQuarantined() const;
    ModalDeadlines modalDeadlines() const;
    std::optional<TrackSelection> lastSelection() const;
    AXElement trackHeaderContainer() const;
    AXElement sparseArrangeTrackList() const { return sparseArrangeTrackList_; }
    bool isAXObserverSourceSuspended() const { return isAXObserverSourceSuspended_; }
    bool isWindowObserverSourceSuspended() const { return isWindowObserverSourceSuspended_; }
    bool hasWindowObserver() const { return windowObserver_ != nullptr; }
    bool isLogicPointerDragActive() const;
    bool logicPointerGestureIsPotentialScissors() const {
        return logicPointerGestureIsPotentialScissors_;
    }
    bool usesPreDispatchTap() const { return modalGestureEventTap_ != nullptr; }
    const std::map<int, std::string>& lastTrackNamesSnapshot() const {
        return lastTrackNamesSnapshot_.namesByIndex;
    }
    const std::map<std::string, std::vector<int>>& indicesByTrackName() const {
        return indicesByTrackName_;
    }
    std::optional<int> trustedAbsoluteTrackMaximum() const { return trustedAbsoluteTrackMaximum_; }
    std::optional<int> lastMaxTrackIndex() const { return lastMaxTrackIndex_; }
    std::optional<int> lastObservedArrangeVisibleRowCount() const {
        return lastObservedArrangeVisibleRowCount_;
    }
    std::optional<int> lastAuthoritativeArrangeTrackIndex() const {
        return lastAuthoritativeArrangeTrackIndex_;
    }
    double lastFastSelectionTime() const { return lastFastSelectionTime_; }

    // Tunables, in seconds.
    double selectionSettleDelay = 0.03;
    double selectionPollInterval = 0.02;
    int selectionPollMaxAttempts = 8;
    SelectionRules selectionRules;
    ModalTiming modalTiming;
    StructuralSnapshotDebounce structuralDebounce;

  private:
    struct LifeGuard;
    enum class ObserverRoute { selection, window };

    template <typename Work>
    Queue::Work guarded(Work work);
    double now() const;
    AXElement appElement() const;
    bool logicFrontmost() const;
    bool captureRunning() const;

    // Attachment and anchoring.
    void attach();
    void detach();
    void createWindowObserver(ProcessId pid);
    void handleNotification(const AXElement& element, const std::string& name);
    void anchorTrackList(std::string reason, bool verifyLists, std::function<void()> then = {});
    void adoptContainer(const AXElement& container);
    void verifyArrangeLists(std::string reason);
    void applyListVerification(const std::vector<std::pair<AXElement, LogicAXReader::Rows>>& lists,
                               const std::string& reason);

    // Selection.
    void scheduleSelection(std::string trigger, double eventTime);
    void runSelectionRead(std::uint64_t token, std::string trigger, bool settling, int attempt,
                          double eventTime);
    std::optional<TrackSelection> readCurrentSelection() const;
    void handleFocusedElement(const AXElement& element, double eventTime);
    void handleValueChanged(const AXElement& element, double eventTime);
    void resolveLearnRow(const AXElement& element, const AXElement& row,
                         const std::optional<TrackSelection>& resolved);
    void handleSelectionResult(std::optional<TrackSelection> result, const std::string& trigger,
                               double eventTime);
    void emit(const TrackSelection& selection, const std::string& trigger, double eventTime);
    void startKeyboardRead(bool down);
    void runKeyboardRead(std::uint64_t generation, bool down, int attempt, double eventTime);
    void flightDecision(const std::string& stage, const std::string& detail);

    // Input.
    void handleTapEvent(const InputEvent& event);
    void handleMonitorEvent(const InputEvent& event);
    void handleMouseDownGesture(const InputEvent& event, bool fallback);
    void confirmModal(const std::string& reason);
    void runPrimaryClickProbe(double clickTime);
    void checkPointerGesture();
    bool pointLiesOnTrackList(AXPoint point) const;

    // Modal quarantine.
    void handleFocusedWindowChanged();
    void suspendObserver(ObserverRoute route, const std::string& reason);
    void enterQuarantine(const std::string& reason);
    void scheduleResume();
    void runResume();

    // Snapshots.
    std::optional<LogicAXReader::Rows> captureVisibleStructure() const;
    void publishSnapshot(const TrackListSnapshot& snapshot, const std::string& reason,
                         std::optional<std::size_t> rowCount);
    void storeSnapshot(const TrackListSnapshot& snapshot, std::optional<std::size_t> rowCount);
    void pollVisibleStructure();
    void fireStructuralSnapshot();
    void finishStructuralSnapshot(const TrackListSnapshot& snapshot, const std::string& reason);
    void postSnapshotNotification(const TrackListSnapshot& snapshot, const std::string& reason);

    Dispatcher& dispatcher_;
    AccessibilityPort& ax_;
    InputEventPort& input_;
    NotificationCenter& notifications_;
    Console& console_;
    Queue& mainQueue_;
    LogicAXReader reader_;
    std::shared_ptr<LifeGuard> guard_;

    // Attachment (main queue).
    std::unique_ptr<AXObserver> observer_;
    bool isAXObserverSourceSuspended_ = false;
    std::unique_ptr<AXObserver> windowObserver_;
    bool isWindowObserverSourceSuspended_ = false;
    WorkItem pendingAXObserverResumeWorkItem_;
    bool pendingModalRecoveryNotification_ = false;
    ProcessId attachedPid_ = 0;
    std::unordered_set<AXUIElementKey, AXUIElementKeyHash> registeredContainers_;
    AXElement sparseArrangeTrackList_;
    bool verificationWaitsForMaximum_ = false;
    std::uint64_t anchorRequest_ = 0;

    // Shared with the selection queue, under sharedMutex_.
    mutable std::mutex sharedMutex_;
    AXElement appElement_;
    AXElement trackHeaderContainer_;
    std::optional<TrackSelection> lastSelection_;
    bool isLogicPointerDragActive_ = false;
    bool captureActive_ = false;

    // Pending-read token, owned by the state queue.
    std::shared_ptr<Queue> selectionWorkQueue_;
    std::shared_ptr<Queue> selectionStateQueue_;
    std::shared_ptr<Queue> structureQueue_;
    mutable std::mutex selectionStateMutex_;
    WorkItem pendingSelectionWorkItem_;
    std::uint64_t pendingSelectionToken_ = 0;
    std::string pendingSelectionTrigger_;

    // Keyboard reads (generation shared with the selection queue).
    mutable std::mutex keyboardMutex_;
    WorkItem pendingKeyboardSelectionWorkItem_;
    std::uint64_t keyboardGeneration_ = 0;

    RepeatingTimer rescanTimer_;
    double lastNotificationRefreshTime_ = 0;
    std::unique_ptr<InputEventSubscription> globalMouseDownMonitor_;
    std::unique_ptr<InputEventSubscription> modalGestureEventTap_;
    double lastGlobalMouseDownTime_ = 0;
    std::optional<int> lastAuthoritativeArrangeTrackIndex_;

    // Modal gates, under logicModalStateLock_.
    mutable std::mutex logicModalStateLock_;
    ModalDeadlines deadlines_;
    WorkItem pendingPrimaryClickSelectionWorkItem_;
    bool pointerTracking_ = false;
    AXPoint pointerDownPoint_;
    bool logicPointerDragSawMovement_ = false;
    bool logicPointerGestureIsPotentialScissors_ = false;

    // Selection bookkeeping (main queue).
    double lastAXHandledTime_ = 0;
    double lastNoSelectionDebugTime_ = 0;
    double lastFastValueChangedTime_ = 0;
    int lastFastValueChangedIndex_ = -1;
    double lastFastSelectionTime_ = 0;
    double captureStartTime_ = 0;
    double captureEndTime_ = 0;
    std::uint64_t captureEventCounter_ = 0;

    // Snapshots (main queue).
    WorkItem pendingStructuralSnapshotWorkItem_;
    std::optional<std::string> pendingStructuralSnapshotReason_;
    std::optional<std::string> lastPublishedStructuralSnapshotSignature_;
    TrackListSnapshot lastTrackNamesSnapshot_;
    std::map<std::string, std::vector<int>> indicesByTrackName_;
    std::optional<int> lastMaxTrackIndex_;
    std::optional<std::string> lastPolledTrackSnapshotSignature_;
    std::optional<int> trustedAbsoluteTrackMaximum_;
    std::optional<int> lastObservedArrangeVisibleRowCount_;
};

}  // namespace tessiva
