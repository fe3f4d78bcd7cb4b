#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>

#include "logic/AXSelectionRaceSnoop.h"
#include "logic/LogicAXReader.h"
#include "logic/ModalDeadlines.h"
#include "logic/TrackSelection.h"
#include "platform/ax/AccessibilityPort.h"
#include "platform/input/InputEventPort.h"
#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

class Console;
class NotificationCenter;

inline constexpr const char* kLogicBundleIdentifier = "com.apple.logic10";

// What the parts of the Logic observer share: the ports, the queues, the lifetime guard and the
// few facts more than one part reads (which Logic is attached, the anchored list, the last
// selection, the modal deadlines). Fields marked "main queue" are touched there only; the rest
// are read from the selection and structure queues too and sit behind `mutex` (the modal
// deadlines behind `modalStateLock`). Owned by LogicObserver; the parts hold a reference.
class ObservationContext {
  public:
    struct Dependencies {
        Dispatcher& dispatcher;
        AccessibilityPort& accessibility;
        InputEventPort& input;
        NotificationCenter& notifications;
        Console& console;
    };

    explicit ObservationContext(Dependencies dependencies);
    ObservationContext(const ObservationContext&) = delete;
    ObservationContext& operator=(const ObservationContext&) = delete;

    // Marks the observer gone and waits for guarded work that is already running.
    void retire();
    // Wraps work for a queue so that it does nothing once the observer is retired.
    template <typename Work>
    Queue::Work guarded(Work work) const;
    // The same for callbacks with arguments (input events, AX notifications).
    template <typename Callback>
    auto guardedCallback(Callback callback) const;

    double now() const { return dispatcher.clock().now(); }
    bool logicFrontmost() const;
    void log(const std::string& line) const;

    // Shared facts, any queue.
    AXElement appElement() const;
    TrackListAnchor anchor() const;
    std::optional<TrackSelection> lastSelection() const;
    bool isPointerDragActive() const;
    bool captureRunning() const;
    bool isQuarantined() const;
    ModalDeadlines modalDeadlines() const;
    template <typename Change>
    void changeModalDeadlines(Change change);

    void setAppElement(AXElement element);
    void setAnchor(TrackListAnchor anchor);
    void setLastSelection(std::optional<TrackSelection> selection);
    void setPointerDragActive(bool active);

    // The flight recorder (AXSelectionRaceSnoop), made on first use. Begin and end on the main
    // queue; the rest from any queue.
    void beginCapture(const std::string& label, double seconds);
    void endCapture();
    // Whether a capture runs at `at` (its time limit passed: no).
    bool refreshCapture(double at) const;
    double captureStartTime() const;
    // "AX flight decision #n", "AX flight notification #n" and its detail, while a capture runs.
    void flightDecision(const std::string& stage, const std::string& detail);
    void flightNotification(const std::string& signal, const AXElement& element, double at);
    void flightNotificationDetail(const std::string& detail);

    Dispatcher& dispatcher;
    AccessibilityPort& ax;
    InputEventPort& input;
    NotificationCenter& notifications;
    Console& console;
    Queue& mainQueue;
    LogicAXReader reader;
    std::shared_ptr<Queue> selectionWorkQueue;
    std::shared_ptr<Queue> selectionStateQueue;
    std::shared_ptr<Queue> structureQueue;

    // Main queue: the observers on Logic's process and whether their delivery is suspended.
    std::unique_ptr<AXObserver> observer;
    bool isAXObserverSourceSuspended = false;
    std::unique_ptr<AXObserver> windowObserver;
    bool isWindowObserverSourceSuspended = false;
    // Main queue: time of the event behind the last emitted selection.
    double lastFastSelectionTime = 0;
    // Main queue: how many rows the anchored list showed at the last capture.
    std::optional<int> lastObservedArrangeVisibleRowCount;

  private:
    AXSelectionRaceSnoop* snoop() const;

    // How far up from the focused element a recorder poll looks for a track.
    static constexpr int kFocusedAncestorsResolved = 6;

    struct LifeGuard {
        std::shared_mutex mutex;
        bool alive = true;
    };

    std::shared_ptr<LifeGuard> guard_ = std::make_shared<LifeGuard>();

    mutable std::mutex mutex_;
    AXElement appElement_;
    TrackListAnchor anchor_;
    std::optional<TrackSelection> lastSelection_;
    bool pointerDragActive_ = false;
    std::unique_ptr<AXSelectionRaceSnoop> snoop_;

    mutable std::mutex modalStateLock_;
    ModalDeadlines deadlines_;
};

template <typename Work>
Queue::Work ObservationContext::guarded(Work work) const {
    return [guard = guard_, work = std::move(work)]() mutable {
        std::shared_lock lock(guard->mutex);
        if (!guard->alive)
            return;
        work();
    };
}

template <typename Callback>
auto ObservationContext::guardedCallback(Callback callback) const {
    return [guard = guard_, callback = std::move(callback)](auto&&... arguments) mutable {
        std::shared_lock lock(guard->mutex);
        if (!guard->alive)
            return;
        callback(std::forward<decltype(arguments)>(arguments)...);
    };
}

template <typename Change>
void ObservationContext::changeModalDeadlines(Change change) {
    std::lock_guard lock(modalStateLock_);
    change(deadlines_);
}

}  // namespace tessiva
