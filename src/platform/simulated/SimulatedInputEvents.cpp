#include "platform/simulated/SimulatedInputEvents.h"

#include <algorithm>

#include "runtime/Queue.h"

namespace tessiva {

struct SimulatedInputEvents::Subscriber {
    Queue* queue = nullptr;
    InputEventMask mask = 0;
    std::mutex mutex;
    bool active = true;
    InputEventHandler handler;
};

class SimulatedInputEvents::Subscription final : public InputEventSubscription {
  public:
    explicit Subscription(std::shared_ptr<Subscriber> subscriber)
        : subscriber_(std::move(subscriber)) {}
    ~Subscription() override {
        std::lock_guard lock(subscriber_->mutex);
        subscriber_->active = false;
        subscriber_->handler = nullptr;
    }

  private:
    std::shared_ptr<Subscriber> subscriber_;
};

SimulatedInputEvents::SimulatedInputEvents() = default;
SimulatedInputEvents::~SimulatedInputEvents() = default;

void SimulatedInputEvents::setTapAvailable(bool available) {
    std::lock_guard lock(mutex_);
    tapAvailable_ = available;
}

std::unique_ptr<InputEventSubscription> SimulatedInputEvents::createPreDispatchMouseTap(
    Queue& deliveryQueue, InputEventHandler handler) {
    std::lock_guard lock(mutex_);
    if (!tapAvailable_)
        return nullptr;
    auto subscriber = std::make_shared<Subscriber>();
    subscriber->queue = &deliveryQueue;
    subscriber->mask = inputEventMaskBit(InputEventType::leftMouseDown) |
                       inputEventMaskBit(InputEventType::rightMouseDown);
    subscriber->handler = std::move(handler);
    taps_.push_back(subscriber);
    return std::make_unique<Subscription>(subscriber);
}

std::unique_ptr<InputEventSubscription> SimulatedInputEvents::addGlobalMonitor(
    InputEventMask mask, Queue& deliveryQueue, InputEventHandler handler) {
    std::lock_guard lock(mutex_);
    auto subscriber = std::make_shared<Subscriber>();
    subscriber->queue = &deliveryQueue;
    subscriber->mask = mask;
    subscriber->handler = std::move(handler);
    monitors_.push_back(subscriber);
    return std::make_unique<Subscription>(subscriber);
}

namespace {

template <typename Subscribers>
void post(Subscribers& subscribers, const InputEvent& event) {
    std::erase_if(subscribers, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : subscribers) {
        auto subscriber = weak.lock();
        if (!subscriber || (subscriber->mask & inputEventMaskBit(event.type)) == 0)
            continue;
        subscriber->queue->post([subscriber, event] {
            InputEventHandler handler;
            {
                std::lock_guard lock(subscriber->mutex);
                if (!subscriber->active)
                    return;
                handler = subscriber->handler;
            }
            if (handler)
                handler(event);
        });
    }
}

}  // namespace

void SimulatedInputEvents::deliverToTaps(const InputEvent& event) {
    if (event.type != InputEventType::leftMouseDown && event.type != InputEventType::rightMouseDown)
        return;
    std::lock_guard lock(mutex_);
    post(taps_, event);
}

void SimulatedInputEvents::deliverToMonitors(const InputEvent& event) {
    std::lock_guard lock(mutex_);
    post(monitors_, event);
}

std::size_t SimulatedInputEvents::tapCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(taps_.begin(), taps_.end(), [](const auto& weak) {
        auto subscriber = weak.lock();
        if (!subscriber)
            return false;
        std::lock_guard inner(subscriber->mutex);
        return subscriber->active;
    }));
}

std::size_t SimulatedInputEvents::monitorCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(monitors_.begin(), monitors_.end(), [](const auto& weak) {
            auto subscriber = weak.lock();
            if (!subscriber)
                return false;
            std::lock_guard inner(subscriber->mutex);
            return subscriber->active;
        }));
}

}  // namespace tessiva
