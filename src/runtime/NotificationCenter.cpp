#include "runtime/NotificationCenter.h"

#include <algorithm>

#include "runtime/Queue.h"

namespace tessiva {

NotificationCenter::NotificationCenter(Queue& mainQueue)
    : mainQueue_(mainQueue), shared_(std::make_shared<Shared>()) {}

NotificationCenter::~NotificationCenter() = default;

ObserverToken NotificationCenter::addObserver(std::string name, Observer observer) {
    std::lock_guard lock(shared_->mutex);
    const std::uint64_t id = shared_->nextId++;
    shared_->registrations.push_back(
        Registration{id, std::move(name), std::make_shared<Observer>(std::move(observer))});
    std::weak_ptr<Shared> weak = shared_;
    return ObserverToken([weak, id] {
        auto shared = weak.lock();
        if (!shared)
            return;
        std::lock_guard guard(shared->mutex);
        auto& list = shared->registrations;
        list.erase(std::remove_if(list.begin(), list.end(),
                                  [id](const Registration& r) { return r.id == id; }),
                   list.end());
    });
}

void NotificationCenter::post(std::string name, UserInfo userInfo) {
    Notification notification{std::move(name), std::move(userInfo)};
    if (mainQueue_.isCurrent()) {
        deliver(notification);
        return;
    }
    std::weak_ptr<Shared> alive = shared_;
    mainQueue_.post([this, alive, notification = std::move(notification)] {
        if (alive.lock())
            deliver(notification);
    });
}

void NotificationCenter::deliver(const Notification& notification) {
    std::vector<std::shared_ptr<Observer>> targets;
    {
        std::lock_guard lock(shared_->mutex);
        for (const auto& registration : shared_->registrations) {
            if (registration.name == notification.name)
                targets.push_back(registration.observer);
        }
    }
    // Called outside the lock so observers may add or remove observers and post.
    for (const auto& observer : targets)
        (*observer)(notification);
}

}  // namespace tessiva
