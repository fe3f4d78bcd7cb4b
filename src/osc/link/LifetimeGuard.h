#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tessiva {

// Keeps work posted to queues from touching an object after it is gone. Work wrapped by `wrap`
// runs only while the guard is open; `close` shuts it and waits for wrapped work that is already
// running on another thread to finish, so the owner's destructor may free what that work uses.
// Work running on the closing thread itself (a destructor reached from a queued task) is not
// waited for. Thread-safe; owned by OSCDiscoveryManager and shared with the parts of the link.
class LifetimeGuard {
  public:
    LifetimeGuard() : state_(std::make_shared<State>()) {}
    ~LifetimeGuard() { close(); }
    LifetimeGuard(const LifetimeGuard&) = delete;
    LifetimeGuard& operator=(const LifetimeGuard&) = delete;

    // `work` with any arguments, run only while the guard is open.
    template <typename Work>
    auto wrap(Work work) const {
        return [state = state_, work = std::move(work)](auto&&... arguments) mutable {
            Entry entry(*state);
            if (entry.entered)
                work(std::forward<decltype(arguments)>(arguments)...);
        };
    }

    // Idempotent; blocks until no wrapped work runs on another thread.
    void close() {
        State& state = *state_;
        std::unique_lock lock(state.mutex);
        state.open = false;
        const auto self = std::this_thread::get_id();
        state.changed.wait(lock, [&] {
            for (const auto& id : state.running) {
                if (id != self)
                    return false;
            }
            return true;
        });
    }

    bool isOpen() const {
        std::lock_guard lock(state_->mutex);
        return state_->open;
    }

  private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        bool open = true;
        std::vector<std::thread::id> running;
    };
    struct Entry {
        explicit Entry(State& state) : state(state) {
            std::lock_guard lock(state.mutex);
            if (!state.open)
                return;
            state.running.push_back(std::this_thread::get_id());
            entered = true;
        }
        ~Entry() {
            if (!entered)
                return;
            {
                std::lock_guard lock(state.mutex);
                auto& running = state.running;
                for (auto it = running.begin(); it != running.end(); ++it) {
                    if (*it == std::this_thread::get_id()) {
                        running.erase(it);
                        break;
                    }
                }
            }
            state.changed.notify_all();
        }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;
        State& state;
        bool entered = false;
    };

    std::shared_ptr<State> state_;
};

}  // namespace tessiva
