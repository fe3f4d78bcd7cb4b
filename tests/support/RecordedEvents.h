#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace tessiva::testing {

// Things that happen on other threads (real sockets, real queues), recorded as text, with a
// generously bounded wait for each: tests wait on a condition, never on a fixed sleep.
class RecordedEvents {
  public:
    void add(std::string event) {
        {
            std::lock_guard lock(mutex_);
            events_.push_back(std::move(event));
        }
        changed_.notify_all();
    }
    // Waits until `event` has been recorded `times` times.
    bool waitFor(const std::string& event, std::size_t times = 1) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] {
            return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), event)) >=
                   times;
        });
    }
    std::vector<std::string> events() const {
        std::lock_guard lock(mutex_);
        return events_;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

}  // namespace tessiva::testing
