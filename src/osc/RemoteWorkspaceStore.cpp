#include "osc/RemoteWorkspaceStore.h"

#include <map>

#include "runtime/Queue.h"

namespace tessiva {

struct RemoteWorkspaceStore::Observers {
    std::map<std::uint64_t, std::shared_ptr<Observer>> byID;
    std::uint64_t nextID = 1;
};

RemoteWorkspaceStore::RemoteWorkspaceStore(Queue& mainQueue)
    : mainQueue_(mainQueue), observers_(std::make_shared<Observers>()) {}

RemoteWorkspaceStore::~RemoteWorkspaceStore() = default;

void RemoteWorkspaceStore::publish(RemoteWorkspaceSnapshot snapshot) {
    if (mainQueue_.isCurrent()) {
        apply(std::move(snapshot));
        return;
    }
    std::weak_ptr<Observers> alive = observers_;
    mainQueue_.post([this, alive, snapshot = std::move(snapshot)]() mutable {
        if (alive.lock())
            apply(std::move(snapshot));
    });
}

ObserverToken RemoteWorkspaceStore::addObserver(Observer observer) {
    const std::uint64_t id = observers_->nextID++;
    observers_->byID.emplace(id, std::make_shared<Observer>(std::move(observer)));
    std::weak_ptr<Observers> weak = observers_;
    return ObserverToken([weak, id] {
        if (auto observers = weak.lock())
            observers->byID.erase(id);
    });
}

void RemoteWorkspaceStore::apply(RemoteWorkspaceSnapshot snapshot) {
    snapshot_ = std::move(snapshot);
    // Copy first: an observer may remove itself or others while being told.
    std::vector<std::shared_ptr<Observer>> targets;
    for (const auto& [id, observer] : observers_->byID)
        targets.push_back(observer);
    for (const auto& observer : targets)
        (*observer)(*snapshot_);
}

}  // namespace tessiva
