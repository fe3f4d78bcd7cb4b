#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

// Virtual time for tests: owns a ManualClock, the main queue and every serial queue it makes.
// Nothing runs until the test calls `advance`, which runs due work in time order (ties in
// scheduling order), including work that due work schedules, on the calling thread. Time stands
// at each item's due time while it runs, then ends at the target. Other threads may post at any
// time (real sockets in integration tests); their work is due at the current virtual time.
class VirtualScheduler final : public Dispatcher {
  public:
    explicit VirtualScheduler(double start = 1000.0);
    ~VirtualScheduler() override;
    VirtualScheduler(const VirtualScheduler&) = delete;
    VirtualScheduler& operator=(const VirtualScheduler&) = delete;

    const Clock& clock() const override { return clock_; }
    ManualClock& manualClock() { return clock_; }
    Queue& mainQueue() override;
    std::shared_ptr<Queue> makeSerialQueue(std::string name) override;

    double now() const { return clock_.now(); }
    // Runs everything due up to now + seconds; returns how many items ran.
    std::size_t advance(double seconds);
    // Runs everything due now, including what it schedules for now.
    std::size_t runUntilIdle() { return advance(0.0); }
    // Items scheduled and not cancelled.
    std::size_t pendingCount() const;

  private:
    class VirtualQueue;
    friend class VirtualQueue;

    struct Task {
        double due;
        std::uint64_t sequence;
        const VirtualQueue* queue;
        WorkItem item;
        Queue::Work work;
    };
    struct Later {
        bool operator()(const Task& a, const Task& b) const {
            return a.due != b.due ? a.due > b.due : a.sequence > b.sequence;
        }
    };

    WorkItem schedule(const VirtualQueue* queue, double delay, Queue::Work work);
    bool isRunning(const VirtualQueue* queue) const;

    ManualClock clock_;
    mutable std::mutex mutex_;
    std::priority_queue<Task, std::vector<Task>, Later> tasks_;
    std::uint64_t nextSequence_ = 0;
    std::unique_ptr<VirtualQueue> main_;
    const VirtualQueue* running_ = nullptr;
    std::thread::id ownerThread_;
};

}  // namespace tessiva
