#pragma once

#include <functional>
#include <memory>

#include "platform/input/InputEvent.h"

namespace tessiva {

class Queue;

using InputEventHandler = std::function<void(const InputEvent&)>;

// Keeps one tap or monitor installed; destroying it removes it.
class InputEventSubscription {
  public:
    virtual ~InputEventSubscription() = default;
};

// Where the observer hears the user's mouse and keys, only to classify Logic gestures. The
// pre-dispatch tap is listen-only and sees left and right mouse downs before the frontmost
// application handles them; the global monitor sees the masked events after the fact. Both
// deliver on the queue given (the main queue). Adapters: macOS (Quartz event tap, NSEvent
// monitor), SimulatedInputEvents.
class InputEventPort {
  public:
    virtual ~InputEventPort() = default;

    // Null when the system refuses a tap (no permission); callers fall back to the monitor.
    virtual std::unique_ptr<InputEventSubscription> createPreDispatchMouseTap(
        Queue& deliveryQueue, InputEventHandler handler) = 0;
    virtual std::unique_ptr<InputEventSubscription> addGlobalMonitor(InputEventMask mask,
                                                                     Queue& deliveryQueue,
                                                                     InputEventHandler handler) = 0;
};

}  // namespace tessiva
