#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/ax/AXObserver.h"
#include "platform/ax/AccessibilityPort.h"

namespace tessiva {

// The notification side of the simulated Logic: the observers created on it, their
// registrations, and delivery of what Logic posts onto each observer's queue, as the run-loop
// source does on macOS. A notification registered on the application element is heard for every
// element. Queueing and delivery are called under SimulatedLogic's lock; observers are used from
// the main queue. It is itself part of the test double for AXObserver.
class SimulatedAXNotifications {
  public:
    // Tells whether an element belongs to the running Logic (checked on registration).
    using ElementCheck = std::function<bool(const AXElement&)>;

    explicit SimulatedAXNotifications(ElementCheck isLive);

    std::unique_ptr<AXObserver> createObserver(ProcessId pid, Queue& queue,
                                               AXNotificationHandler handler);
    void queue(std::uint64_t node, std::string name);
    // Delivers the queued notifications for Logic's process `pid`: each to every live observer
    // registered on the node or on `app`, posted to its queue. `elementFor` makes the handle.
    void deliver(ProcessId pid, std::uint64_t app,
                 const std::function<AXElement(std::uint64_t)>& elementFor);
    void discardQueued() { pending_.clear(); }

    std::uint64_t deliveredCount() const { return delivered_->load(); }
    std::uint64_t droppedCount() const { return dropped_->load(); }

  private:
    struct ObserverState {
        std::mutex mutex;
        bool alive = true;
        bool suspended = false;
        ProcessId pid = 0;
        Queue* queue = nullptr;
        AXNotificationHandler handler;
        std::set<std::pair<std::uint64_t, std::string>> registrations;
    };
    class Observer;
    struct Pending {
        std::uint64_t node;
        std::string name;
    };

    ElementCheck isLive_;
    std::vector<Pending> pending_;
    std::vector<std::weak_ptr<ObserverState>> observers_;
    std::shared_ptr<std::atomic<std::uint64_t>> delivered_ =
        std::make_shared<std::atomic<std::uint64_t>>(0);
    std::shared_ptr<std::atomic<std::uint64_t>> dropped_ =
        std::make_shared<std::atomic<std::uint64_t>>(0);
};

}  // namespace tessiva
