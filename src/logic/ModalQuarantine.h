#pragma once

#include <functional>
#include <memory>
#include <string>

#include "logic/ObservationContext.h"
#include "platform/input/InputEventPort.h"
#include "runtime/Queue.h"

namespace tessiva {

class SelectionTracker;
class TrackListPublisher;

// Keeps Accessibility reads away from Logic while it opens or closes a modal dialog: a
// pre-dispatch mouse tap (with the global monitor as fallback) arms detection on suspect
// gestures, a focused-window change turns them into a quarantine, the observers' delivery is
// suspended and resumed when the deadlines pass, and the coordinator is told. It also follows
// pointer drags, and hands plain clicks and arrow keys to the selection tracker. Main queue; the
// deadlines live in the context under its modal-state lock. Part of LogicObserver; tests drive
// it through the observer with SimulatedLogic's input events.
class ModalQuarantine {
  public:
    static constexpr double kDragMovementThreshold = 4.0;

    ModalQuarantine(ObservationContext& context, SelectionTracker& selection,
                    TrackListPublisher& publisher);
    ModalQuarantine(const ModalQuarantine&) = delete;
    ModalQuarantine& operator=(const ModalQuarantine&) = delete;

    std::function<void()> onAXAccessibilityResumed;
    // Every key pressed while Logic is frontmost (the coordinator recognises Logic's
    // structural commands in them). Main queue.
    std::function<void(const InputEvent&)> onLogicKeyDown;

    // The tap and the global monitor.
    void install();
    void uninstall();
    bool usesPreDispatchTap() const { return modalGestureEventTap_ != nullptr; }

    // Logic's focused window changed: a modal may have opened.
    void handleFocusedWindowChanged();
    void enterQuarantine(const std::string& reason);
    void cancelResume() { pendingAXObserverResumeWorkItem_.cancel(); }

    bool logicPointerGestureIsPotentialScissors() const {
        return logicPointerGestureIsPotentialScissors_;
    }

    ModalTiming modalTiming;

  private:
    enum class ObserverRoute { selection, window };

    void handleTapEvent(const InputEvent& event);
    void handleMonitorEvent(const InputEvent& event);
    void handleKeyDown(const InputEvent& event, bool frontmost, double at);
    void handleMouseDownGesture(const InputEvent& event, bool fallback);
    void handlePointerUp(const InputEvent& event, double at);
    void confirmModal(const std::string& reason);
    void checkPointerGesture();
    bool pointLiesOnTrackList(AXPoint point) const;
    void suspendObserver(ObserverRoute route, const std::string& reason);
    void scheduleResume();
    void runResume();

    ObservationContext& context_;
    SelectionTracker& selection_;
    TrackListPublisher& publisher_;

    std::unique_ptr<InputEventSubscription> globalMouseDownMonitor_;
    std::unique_ptr<InputEventSubscription> modalGestureEventTap_;
    WorkItem pendingAXObserverResumeWorkItem_;
    bool pendingModalRecoveryNotification_ = false;
    double lastGlobalMouseDownTime_ = 0;
    bool pointerTracking_ = false;
    AXPoint pointerDownPoint_;
    bool logicPointerDragSawMovement_ = false;
    bool logicPointerGestureIsPotentialScissors_ = false;
};

}  // namespace tessiva
