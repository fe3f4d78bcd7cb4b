#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "runtime/NotificationCenter.h"

namespace tessiva {

// An observable value: the stores publish every map through one, so menus and windows see each
// change as it happens. Observers run synchronously, in subscription order, only when the value
// really changed. Lives on its owner's queue (the main queue for the stores); not thread-safe.
template <typename T>
class Published {
  public:
    using Observer = std::function<void(const T&)>;

    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    const T& value() const { return value_; }
    const T& operator*() const { return value_; }
    const T* operator->() const { return &value_; }

    // Stores and notifies when different; returns whether it changed.
    bool set(T newValue) {
        if (!replace(std::move(newValue)))
            return false;
        notify();
        return true;
    }
    // Stores without notifying, for owners that change several values before telling anyone.
    bool replace(T newValue) {
        if (newValue == value_)
            return false;
        value_ = std::move(newValue);
        return true;
    }
    // Edits in place; `edit` returns whether it changed anything (avoids copying large values).
    template <typename Edit>
    bool modify(Edit&& edit) {
        if (!edit(value_))
            return false;
        notify();
        return true;
    }

    // The observation lasts as long as the token.
    [[nodiscard]] ObserverToken subscribe(Observer observer) const {
        const std::uint64_t id = observers_->nextId++;
        observers_->list.emplace_back(id, std::make_shared<Observer>(std::move(observer)));
        std::weak_ptr<Observers> weak = observers_;
        return ObserverToken([weak, id] {
            if (auto observers = weak.lock()) {
                std::erase_if(observers->list,
                              [id](const auto& entry) { return entry.first == id; });
            }
        });
    }

    void notify() const {
        // A copy, so observers may subscribe or unsubscribe while being told.
        const auto targets = observers_->list;
        for (const auto& [id, observer] : targets)
            (*observer)(value_);
    }

  private:
    struct Observers {
        std::uint64_t nextId = 1;
        std::vector<std::pair<std::uint64_t, std::shared_ptr<Observer>>> list;
    };
    T value_{};
    std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
};

}  // namespace tessiva
