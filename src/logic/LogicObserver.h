#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "logic/DirectTrackSelection.h"
#include "logic/LogicAttachment.h"
#include "logic/ModalDeadlines.h"
#include "logic/ModalQuarantine.h"
#include "logic/ObservationContext.h"
#include "logic/SelectionRules.h"
#include "logic/SelectionTracker.h"
#include "logic/StructuralSnapshotDebounce.h"
#include "logic/TrackListPublisher.h"
#include "logic/TrackListSnapshot.h"
#include "logic/TrackSelection.h"
#include "platform/ax/AccessibilityPort.h"
#include "platform/input/InputEventPort.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

// Watches Logic Pro through the Accessibility port, as the coordinator's one view of Logic. It
// is made of five parts that share an ObservationContext: LogicAttachment (finding Logic and
// anchoring its track list), SelectionTracker (turning notifications, clicks and arrow keys into
// TrackSelection events), TrackListPublisher (track-list snapshots, published as
// "tessiva.trackListSnapshotUpdated"), ModalQuarantine (keeping reads away from Logic's modal
// dialogs) and DirectTrackSelection (selecting a track on the iPad's request). This class routes
// notifications and input between them and offers the coordinator one interface. Main queue;
// reads run on the serial queues "tessiva.logic.selection" and "tessiva.logic.structure", and the
// pending-read token lives on "tessiva.logic.selection.state". Tests drive it with SimulatedLogic
// on a VirtualScheduler. Destroy it on the main queue, never from inside one of its callbacks:
// the destructor waits for work already running on its queues.
class LogicObserver {
  public:
    // A hashable key for an element: its identity (the element's hash on macOS).
    struct AXUIElementKey {
        std::uint64_t raw = 0;
        explicit AXUIElementKey(const AXElement& element) : raw(element.identity()) {}
        bool operator==(const AXUIElementKey&) const = default;
    };

    using Dependencies = ObservationContext::Dependencies;

    static constexpr double kRescanPeriod = LogicAttachment::kRescanPeriod;

    explicit LogicObserver(Dependencies dependencies);
    ~LogicObserver();
    LogicObserver(const LogicObserver&) = delete;
    LogicObserver& operator=(const LogicObserver&) = delete;

    // Set by the coordinator before `start`; all are called on the main queue.
    std::function<void(const TrackSelection&)>& onTrackSelection;
    std::function<void()>& onAXAccessibilityResumed;
    // While the learn flow waits for a track, header rows whose value changes are resolved for
    // it: the row and a trigger ending in "-authoritative" when the row is also selected.
    bool& learnAwaitsTrackName;
    std::function<void(const TrackSelection&, const std::string& trigger)>& onLearnRowResolved;

    // Installs the gesture guard and the global monitor, attaches and starts the 5 s rescan.
    void start();
    // Removes taps, monitors, observers and timers (the program never needs it; tests do).
    void stop();

    // The title of Logic's Arrange window (not a dialog's or a plug-in's); nothing while
    // quarantined or detached.
    std::optional<std::string> readLogicWindowTitle();
    // Captures the visible track list on the selection queue and publishes it if it changed.
    void requestTrackNamesSnapshot(std::string reason);
    void scheduleStructuralSnapshot(std::string reason);
    // Schedules a read of the current selection as a notification with this trigger would (the
    // coordinator uses it after onAXAccessibilityResumed). Main queue.
    void refreshSelection(std::string trigger);
    // One tick of the rescan timer.
    void rescan();

    // Selects Logic track `number` on the iPad's request (refused when its name is not
    // `expectedName`) and reports how, or why not, on the main queue. Logic's own report of the
    // new selection then comes through onTrackSelection. Main queue.
    void selectTrack(int number, std::optional<std::string> expectedName,
                     DirectTrackSelection::Completion completion);

    // Arms the flight recorder (AXSelectionRaceSnoop) for `seconds` (at most 45): it records
    // each click and up/down key with what follows, and relaxes the frontmost and dedupe
    // filters meanwhile. Ending it, or a modal quarantine, posts "AX flight recorder stopped".
    void beginAXCapture(double seconds, const std::string& label = "menu");
    void endAXCapture();
    bool isAXCaptureRunning() const { return context_.refreshCapture(context_.now()); }

    // State, for the coordinator and tests. Main queue.
    bool isAttached() const { return attachment_.isAttached(); }
    bool isQuarantined() const { return context_.isQuarantined(); }
    ModalDeadlines modalDeadlines() const { return context_.modalDeadlines(); }
    std::optional<TrackSelection> lastSelection() const { return context_.lastSelection(); }
    AXElement trackHeaderContainer() const { return context_.anchor().element; }
    AXElement sparseArrangeTrackList() const { return attachment_.sparseArrangeTrackList(); }
    bool isAXObserverSourceSuspended() const { return context_.isAXObserverSourceSuspended; }
    bool isWindowObserverSourceSuspended() const {
        return context_.isWindowObserverSourceSuspended;
    }
    bool hasWindowObserver() const { return attachment_.hasWindowObserver(); }
    bool isLogicPointerDragActive() const { return context_.isPointerDragActive(); }
    bool logicPointerGestureIsPotentialScissors() const {
        return quarantine_.logicPointerGestureIsPotentialScissors();
    }
    bool usesPreDispatchTap() const { return quarantine_.usesPreDispatchTap(); }
    const std::map<int, std::string>& lastTrackNamesSnapshot() const {
        return publisher_.lastTrackNamesSnapshot().namesByIndex;
    }
    const std::map<std::string, std::vector<int>>& indicesByTrackName() const {
        return publisher_.indicesByTrackName();
    }
    std::optional<int> trustedAbsoluteTrackMaximum() const {
        return publisher_.trustedAbsoluteTrackMaximum();
    }
    std::optional<int> lastMaxTrackIndex() const { return publisher_.lastMaxTrackIndex(); }
    std::optional<int> lastObservedArrangeVisibleRowCount() const {
        return context_.lastObservedArrangeVisibleRowCount;
    }
    std::optional<int> lastAuthoritativeArrangeTrackIndex() const {
        return selection_.lastAuthoritativeArrangeTrackIndex();
    }
    double lastFastSelectionTime() const { return context_.lastFastSelectionTime; }
    // How long Logic has lately taken to publish a selection after a gesture.
    double expectedPublishLag() const { return selection_.expectedPublishLag(); }

    // Tunables.
    SelectionRules selectionRules;
    SelectionSettlePolicy& selectionSettle;
    ModalTiming& modalTiming;
    StructuralSnapshotDebounce& structuralDebounce;

  private:
    void handleNotification(const AXElement& element, const std::string& name);

    ObservationContext context_;
    TrackListPublisher publisher_;
    SelectionTracker selection_;
    ModalQuarantine quarantine_;
    LogicAttachment attachment_;
    DirectTrackSelection direct_;
    RepeatingTimer rescanTimer_;

  public:
    // Tunables of the settling read after a focused-window change, in seconds.
    double& selectionSettleDelay;
    double& selectionPollInterval;
    int& selectionPollMaxAttempts;
};

}  // namespace tessiva
