#include "platform/simulated/logic/SimulatedAXNotifications.h"

#include "runtime/Queue.h"

namespace tessiva {

class SimulatedAXNotifications::Observer final : public AXObserver {
  public:
    Observer(ElementCheck isLive, std::shared_ptr<ObserverState> state)
        : isLive_(std::move(isLive)), state_(std::move(state)) {}
    ~Observer() override {
        std::lock_guard lock(state_->mutex);
        state_->alive = false;
        state_->handler = nullptr;
        state_->registrations.clear();
    }

    AXError addNotification(const AXElement& element, std::string_view notification) override {
        if (!isLive_(element))
            return AXError::invalidUIElement;
        std::lock_guard lock(state_->mutex);
        const bool inserted =
            state_->registrations.emplace(element.identity(), std::string(notification)).second;
        return inserted ? AXError::success : AXError::notificationAlreadyRegistered;
    }
    AXError removeNotification(const AXElement& element, std::string_view notification) override {
        std::lock_guard lock(state_->mutex);
        const auto erased =
            state_->registrations.erase({element.identity(), std::string(notification)});
        return erased ? AXError::success : AXError::notificationNotRegistered;
    }
    void suspendDelivery() override {
        std::lock_guard lock(state_->mutex);
        state_->suspended = true;
    }
    void resumeDelivery() override {
        std::lock_guard lock(state_->mutex);
        state_->suspended = false;
    }
    bool isDeliverySuspended() const override {
        std::lock_guard lock(state_->mutex);
        return state_->suspended;
    }

  private:
    ElementCheck isLive_;
    std::shared_ptr<ObserverState> state_;
};

SimulatedAXNotifications::SimulatedAXNotifications(ElementCheck isLive)
    : isLive_(std::move(isLive)) {}

std::unique_ptr<AXObserver> SimulatedAXNotifications::createObserver(
    ProcessId pid, Queue& queue, AXNotificationHandler handler) {
    auto state = std::make_shared<ObserverState>();
    state->pid = pid;
    state->queue = &queue;
    state->handler = std::move(handler);
    observers_.push_back(state);
    return std::make_unique<Observer>(isLive_, std::move(state));
}

void SimulatedAXNotifications::queue(std::uint64_t node, std::string name) {
    pending_.push_back({node, std::move(name)});
}

void SimulatedAXNotifications::deliver(ProcessId pid, std::uint64_t app,
                                       const std::function<AXElement(std::uint64_t)>& elementFor) {
    auto pending = std::move(pending_);
    pending_.clear();
    std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
    for (const auto& notification : pending) {
        const auto element = elementFor(notification.node);
        if (!element)
            continue;
        for (const auto& weak : observers_) {
            auto state = weak.lock();
            if (!state)
                continue;
            {
                std::lock_guard lock(state->mutex);
                if (!state->alive || state->pid != pid)
                    continue;
                const bool registered =
                    state->registrations.count({notification.node, notification.name}) != 0 ||
                    state->registrations.count({app, notification.name}) != 0;
                if (!registered)
                    continue;
            }
            state->queue->post([state, element, name = notification.name, delivered = delivered_,
                                dropped = dropped_] {
                AXNotificationHandler handler;
                {
                    std::lock_guard lock(state->mutex);
                    if (!state->alive || state->suspended) {
                        ++*dropped;
                        return;
                    }
                    handler = state->handler;
                }
                ++*delivered;
                if (handler)
                    handler(element, name);
            });
        }
    }
}

}  // namespace tessiva
