#include "logic/ModalQuarantine.h"

#include <cmath>
#include <vector>

#include "logic/SelectionTracker.h"
#include "logic/TrackListPublisher.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

namespace {

constexpr double kTolerance = 1e-9;
constexpr double kPointerGestureCheckDelay = 0.02;

long long wholeMilliseconds(double seconds) {
    return std::llround(seconds * 1000.0);
}

}  // namespace

ModalQuarantine::ModalQuarantine(ObservationContext& context, SelectionTracker& selection,
                                 TrackListPublisher& publisher)
    : context_(context), selection_(selection), publisher_(publisher) {}

void ModalQuarantine::install() {
    if (!modalGestureEventTap_) {
        modalGestureEventTap_ = context_.input.createPreDispatchMouseTap(
            context_.mainQueue,
            context_.guardedCallback([this](const InputEvent& event) { handleTapEvent(event); }));
        if (!modalGestureEventTap_) {
            context_.log(
                "Could not create pre-dispatch modal gesture event tap; using NSEvent fallback.");
        }
    }
    if (!globalMouseDownMonitor_) {
        globalMouseDownMonitor_ = context_.input.addGlobalMonitor(
            kLogicGestureEventMask, context_.mainQueue,
            context_.guardedCallback(
                [this](const InputEvent& event) { handleMonitorEvent(event); }));
    }
}

void ModalQuarantine::uninstall() {
    modalGestureEventTap_.reset();
    globalMouseDownMonitor_.reset();
    pendingAXObserverResumeWorkItem_.cancel();
}

// ---- gestures ---------------------------------------------------------------------------------

void ModalQuarantine::handleTapEvent(const InputEvent& event) {
    if (!context_.logicFrontmost())
        return;
    handleMouseDownGesture(event, false);
}

void ModalQuarantine::handleMouseDownGesture(const InputEvent& event, bool fallback) {
    const double at = context_.now();
    const bool command = event.has(InputModifier::command);
    if (event.type == InputEventType::leftMouseDown && !command) {
        bool confirms = false;
        context_.changeModalDeadlines([&](ModalDeadlines& deadlines) {
            confirms = deadlines.awaitsConfirmation(at);
            if (confirms) {
                deadlines.modalConfirmed();
            } else {
                deadlines.armPrimaryDetection(at, modalTiming.primaryToolDetectionWindow);
            }
        });
        if (confirms) {
            confirmModal(fallback ? "modal-confirmation-left-mouse-down/fallback"
                                  : "pre-dispatch-modal-confirmation-left-mouse-down");
            return;
        }
        selection_.gestureStarted(SelectionGesture::click, at);
        context_.mainQueue.postAfter(kPointerGestureCheckDelay,
                                     context_.guarded([this] { checkPointerGesture(); }));
        return;
    }
    if (event.type != InputEventType::leftMouseDown && event.type != InputEventType::rightMouseDown)
        return;
    std::string reason;
    if (event.type == InputEventType::rightMouseDown) {
        reason = fallback ? "right-mouse-down/fallback" : "pre-dispatch-right-mouse-down";
    } else {
        reason =
            fallback ? "command-left-mouse-down/fallback" : "pre-dispatch-command-left-mouse-down";
    }
    context_.changeModalDeadlines([&](ModalDeadlines& deadlines) {
        deadlines.armPotentialConfirmation(at, modalTiming.potentialGestureWindow);
    });
    suspendObserver(ObserverRoute::selection, "preemptive-scissors/" + reason);
    enterQuarantine(reason);
}

void ModalQuarantine::confirmModal(const std::string& reason) {
    suspendObserver(ObserverRoute::selection, reason);
    suspendObserver(ObserverRoute::window, reason);
    enterQuarantine(reason);
}

void ModalQuarantine::handleMonitorEvent(const InputEvent& event) {
    const bool frontmost = context_.logicFrontmost();
    const double at = context_.now();
    if (frontmost)
        publisher_.noteUserActivity(at);
    switch (event.type) {
        case InputEventType::keyDown:
            handleKeyDown(event, frontmost, at);
            return;
        case InputEventType::leftMouseDown:
        case InputEventType::rightMouseDown:
            lastGlobalMouseDownTime_ = at;
            if (!frontmost)
                return;
            if (event.type == InputEventType::leftMouseDown) {
                pointerTracking_ = true;
                pointerDownPoint_ = event.location;
                logicPointerDragSawMovement_ = false;
                logicPointerGestureIsPotentialScissors_ = false;
            }
            if (!modalGestureEventTap_)
                handleMouseDownGesture(event, true);
            return;
        case InputEventType::leftMouseDragged: {
            if (!pointerTracking_)
                return;
            const double dx = event.location.x - pointerDownPoint_.x;
            const double dy = event.location.y - pointerDownPoint_.y;
            if (std::hypot(dx, dy) > kDragMovementThreshold) {
                logicPointerDragSawMovement_ = true;
                context_.setPointerDragActive(true);
            }
            return;
        }
        case InputEventType::leftMouseUp:
            handlePointerUp(event, at);
            return;
    }
}

void ModalQuarantine::handleKeyDown(const InputEvent& event, bool frontmost, double at) {
    if (!frontmost)
        return;
    if (onLogicKeyDown)
        onLogicKeyDown(event);
    const int key = event.keyCode;
    const bool confirmationKey = key == keycode::kReturn || key == keycode::kEnter ||
                                 key == keycode::kEscape || key == keycode::kSpace;
    bool confirms = false;
    if (confirmationKey) {
        context_.changeModalDeadlines([&](ModalDeadlines& deadlines) {
            confirms = deadlines.awaitsConfirmation(at);
            if (confirms)
                deadlines.modalConfirmed();
        });
    }
    if (confirms) {
        confirmModal("modal-confirmation-key-down");
        return;
    }
    if (key == keycode::kDownArrow || key == keycode::kUpArrow) {
        selection_.gestureStarted(
            key == keycode::kDownArrow ? SelectionGesture::arrowDown : SelectionGesture::arrowUp,
            at);
    }
}

void ModalQuarantine::handlePointerUp(const InputEvent& event, double at) {
    const bool wasTracking = pointerTracking_;
    pointerTracking_ = false;
    const bool wasDragging = context_.isPointerDragActive();
    context_.setPointerDragActive(false);
    if (wasTracking && logicPointerGestureIsPotentialScissors_) {
        // A cut happens on release; a modal may follow it.
        context_.changeModalDeadlines([&](ModalDeadlines& deadlines) {
            deadlines.armPrimaryDetection(at, modalTiming.primaryToolDetectionWindow);
        });
    }
    logicPointerGestureIsPotentialScissors_ = false;
    if (wasDragging && logicPointerDragSawMovement_ && pointLiesOnTrackList(event.location))
        publisher_.scheduleStructuralSnapshot("pointer-drag-ended/arrange-track");
    logicPointerDragSawMovement_ = false;
}

bool ModalQuarantine::pointLiesOnTrackList(AXPoint point) const {
    const auto frame = context_.reader.frame(context_.anchor().element);
    return frame && frame->contains(point);
}

void ModalQuarantine::checkPointerGesture() {
    // Still held after 0.02 s outside the track headers: a tool gesture in the regions area,
    // which may cut and open a dialog on release.
    if (!pointerTracking_)
        return;
    logicPointerGestureIsPotentialScissors_ = !pointLiesOnTrackList(pointerDownPoint_);
}

// ---- quarantine -------------------------------------------------------------------------------

void ModalQuarantine::handleFocusedWindowChanged() {
    const double at = context_.now();
    bool afterGesture = false;
    context_.changeModalDeadlines([&](ModalDeadlines& deadlines) {
        afterGesture = deadlines.suspectsModal(at);
        if (afterGesture)
            deadlines.modalOpened(at, modalTiming.potentialConfirmationWindow);
    });
    if (afterGesture) {
        suspendObserver(ObserverRoute::selection,
                        "notification/AXFocusedWindowChanged/modal-opened");
    }
    enterQuarantine("notification/AXFocusedWindowChanged");
}

void ModalQuarantine::suspendObserver(ObserverRoute route, const std::string& reason) {
    if (route == ObserverRoute::selection) {
        if (!context_.observer || context_.isAXObserverSourceSuspended)
            return;
        context_.observer->suspendDelivery();
        context_.isAXObserverSourceSuspended = true;
        pendingModalRecoveryNotification_ = true;
        postDebugEvent(context_.notifications, "Logic selection AX observer suspended",
                       "reason=" + reason +
                           "; paused focus/value/selection notification delivery without "
                           "changing registrations.");
        return;
    }
    if (!context_.windowObserver || context_.isWindowObserverSourceSuspended)
        return;
    context_.windowObserver->suspendDelivery();
    context_.isWindowObserverSourceSuspended = true;
    pendingModalRecoveryNotification_ = true;
    postDebugEvent(context_.notifications, "Logic window AX observer suspended",
                   "reason=" + reason +
                       "; paused the final read-free window notification route before modal "
                       "dismissal.");
}

void ModalQuarantine::enterQuarantine(const std::string& reason) {
    const double cooldown = modalTiming.dismissalCooldown;
    const double at = context_.now();
    context_.changeModalDeadlines(
        [&](ModalDeadlines& deadlines) { deadlines.enterQuarantine(at, cooldown); });
    selection_.cancelDeferredWork();
    publisher_.cancelStructuralSnapshot();
    context_.endCapture();
    postDebugEvent(context_.notifications, "Logic modal AX quarantine entered",
                   "reason=" + reason +
                       " cooldownMs=" + std::to_string(wholeMilliseconds(cooldown)) +
                       "; cancelled deferred selection and structural AX work.");
    scheduleResume();
}

void ModalQuarantine::scheduleResume() {
    pendingAXObserverResumeWorkItem_.cancel();
    if (!context_.isAXObserverSourceSuspended && !context_.isWindowObserverSourceSuspended)
        return;
    const ModalDeadlines deadlines = context_.modalDeadlines();
    double target = 0;
    if (context_.isAXObserverSourceSuspended)
        target = std::max(target, deadlines.selectionRouteResumeTime());
    if (context_.isWindowObserverSourceSuspended)
        target = std::max(target, deadlines.windowRouteResumeTime());
    pendingAXObserverResumeWorkItem_ = context_.mainQueue.postAfter(
        std::max(0.0, target - context_.now()), context_.guarded([this] { runResume(); }));
}

void ModalQuarantine::runResume() {
    const double at = context_.now() + kTolerance;
    const ModalDeadlines deadlines = context_.modalDeadlines();
    std::vector<std::string> routes;
    if (context_.isAXObserverSourceSuspended && at >= deadlines.selectionRouteResumeTime()) {
        if (context_.observer) {
            context_.observer->resumeDelivery();
            routes.emplace_back("selection");
        }
        context_.isAXObserverSourceSuspended = false;
    }
    if (context_.isWindowObserverSourceSuspended && at >= deadlines.windowRouteResumeTime()) {
        if (context_.windowObserver) {
            context_.windowObserver->resumeDelivery();
            routes.emplace_back("window");
        }
        context_.isWindowObserverSourceSuspended = false;
    }
    if (context_.isAXObserverSourceSuspended || context_.isWindowObserverSourceSuspended)
        scheduleResume();
    if (routes.empty())
        return;
    std::string joined;
    for (const auto& route : routes)
        joined += (joined.empty() ? "" : ",") + route;
    postDebugEvent(context_.notifications, "Logic AX observer delivery resumed",
                   "routes=" + joined + "; applicable modal/detection deadlines elapsed.");
    if (pendingModalRecoveryNotification_ && !context_.isAXObserverSourceSuspended &&
        !context_.isWindowObserverSourceSuspended) {
        pendingModalRecoveryNotification_ = false;
        if (onAXAccessibilityResumed)
            onAXAccessibilityResumed();
    }
}

}  // namespace tessiva
