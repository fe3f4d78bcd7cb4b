#include "app/LearnModeStore.h"

#include <algorithm>

namespace tessiva {

void LearnModeStore::setMode(LearnMode mode) {
    if (mode == mode_)
        return;
    mode_ = mode;
    // Copy first: an observer may drop its own token while being told.
    std::vector<std::shared_ptr<Observer>> targets;
    for (const auto& registration : *registrations_)
        targets.push_back(registration.observer);
    for (const auto& observer : targets)
        (*observer)(mode_);
}

ObserverToken LearnModeStore::observe(Observer observer) {
    const std::uint64_t id = nextId_++;
    auto shared = std::make_shared<Observer>(std::move(observer));
    registrations_->push_back(Registration{id, shared});
    (*shared)(mode_);
    std::weak_ptr<std::vector<Registration>> weak = registrations_;
    return ObserverToken([weak, id] {
        auto list = weak.lock();
        if (!list)
            return;
        list->erase(std::remove_if(list->begin(), list->end(),
                                   [id](const Registration& r) { return r.id == id; }),
                    list->end());
    });
}

}  // namespace tessiva
