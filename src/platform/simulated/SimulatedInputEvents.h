#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/input/InputEventPort.h"

namespace tessiva {

// The input-event port without a window server: SimulatedLogic feeds it the user's clicks and
// keys. Taps hear mouse downs before SimulatedLogic changes its tree; monitors hear every masked
// event after it. Deliveries are posted to each subscriber's queue, so subscribers behave as on
// the main run loop. Thread-safe. It is the test double for the macOS adapter.
class SimulatedInputEvents final : public InputEventPort {
  public:
    SimulatedInputEvents();
    ~SimulatedInputEvents() override;
    SimulatedInputEvents(const SimulatedInputEvents&) = delete;
    SimulatedInputEvents& operator=(const SimulatedInputEvents&) = delete;

    // When false, tap creation fails as it does without the Input Monitoring permission.
    void setTapAvailable(bool available);

    std::unique_ptr<InputEventSubscription> createPreDispatchMouseTap(
        Queue& deliveryQueue, InputEventHandler handler) override;
    std::unique_ptr<InputEventSubscription> addGlobalMonitor(InputEventMask mask,
                                                             Queue& deliveryQueue,
                                                             InputEventHandler handler) override;

    // Mouse downs only; other events are ignored, as by the real tap.
    void deliverToTaps(const InputEvent& event);
    void deliverToMonitors(const InputEvent& event);

    std::size_t tapCount() const;
    std::size_t monitorCount() const;

  private:
    struct Subscriber;
    class Subscription;

    mutable std::mutex mutex_;
    bool tapAvailable_ = true;
    std::vector<std::weak_ptr<Subscriber>> taps_;
    std::vector<std::weak_ptr<Subscriber>> monitors_;
};

}  // namespace tessiva
