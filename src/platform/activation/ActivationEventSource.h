#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>

#include "runtime/NotificationCenter.h"

namespace tessiva {

enum class ActivationEvent { applicationDidBecomeActive, systemDidWake };
inline constexpr std::array<std::string_view, 2> kActivationEventNames = {
    "applicationDidBecomeActive", "systemDidWake"};
static_assert(kActivationEventNames.size() ==
                  static_cast<std::size_t>(ActivationEvent::systemDidWake) + 1,
              "one name per ActivationEvent");

// Where application activation and system wake come from: the platform layer calls `fire` (from
// any thread: AppKit's notifications on macOS, the shell on Linux); observers hop to their own
// queue. The iPad link uses them to ping again at once. Tests fire events by hand.
class ActivationEventSource {
  public:
    using Observer = std::function<void(ActivationEvent)>;

    ActivationEventSource() : shared_(std::make_shared<Shared>()) {}
    ActivationEventSource(const ActivationEventSource&) = delete;
    ActivationEventSource& operator=(const ActivationEventSource&) = delete;

    [[nodiscard]] ObserverToken addObserver(Observer observer) {
        std::lock_guard guard(shared_->mutex);
        const std::uint64_t id = shared_->nextID++;
        shared_->observers.emplace(id, std::make_shared<Observer>(std::move(observer)));
        std::weak_ptr<Shared> weak = shared_;
        return ObserverToken([weak, id] {
            if (auto shared = weak.lock()) {
                std::lock_guard lock(shared->mutex);
                shared->observers.erase(id);
            }
        });
    }

    void fire(ActivationEvent event) {
        std::vector<std::shared_ptr<Observer>> targets;
        {
            std::lock_guard guard(shared_->mutex);
            for (const auto& [id, observer] : shared_->observers)
                targets.push_back(observer);
        }
        for (const auto& observer : targets)
            (*observer)(event);
    }

  private:
    struct Shared {
        std::mutex mutex;
        std::map<std::uint64_t, std::shared_ptr<Observer>> observers;
        std::uint64_t nextID = 1;
    };
    std::shared_ptr<Shared> shared_;
};

}  // namespace tessiva
