#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "app/LearnMode.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

// Holds the current LearnMode and publishes each change so the menu's "Off"/"On" items can show
// which one is checked. Lives on the main queue with the coordinator; it is small enough that
// tests use the real store.
class LearnModeStore {
  public:
    using Observer = std::function<void(LearnMode)>;

    explicit LearnModeStore(LearnMode initial = LearnMode::off) : mode_(initial) {}
    LearnModeStore(const LearnModeStore&) = delete;
    LearnModeStore& operator=(const LearnModeStore&) = delete;

    LearnMode mode() const { return mode_; }
    // Observers run only when the mode actually changes.
    void setMode(LearnMode mode);

    // The observer is called at once with the current mode, then on every change.
    [[nodiscard]] ObserverToken observe(Observer observer);

  private:
    struct Registration {
        std::uint64_t id;
        std::shared_ptr<Observer> observer;
    };
    LearnMode mode_;
    std::uint64_t nextId_ = 1;
    std::shared_ptr<std::vector<Registration>> registrations_ =
        std::make_shared<std::vector<Registration>>();
};

}  // namespace tessiva
