#include "runtime/VirtualScheduler.h"

#include <algorithm>

namespace tessiva {

class VirtualScheduler::VirtualQueue final : public Queue {
  public:
    VirtualQueue(VirtualScheduler& scheduler, std::string name, bool isMain)
        : scheduler_(scheduler), name_(std::move(name)), isMain_(isMain) {}

    std::string_view name() const override { return name_; }
    void post(Work work) override { scheduler_.schedule(this, 0.0, std::move(work)); }
    WorkItem postAfter(double seconds, Work work) override {
        return scheduler_.schedule(this, seconds, std::move(work));
    }
    bool isCurrent() const override {
        if (scheduler_.isRunning(this))
            return true;
        // Outside any queue's work, the test thread plays the main thread.
        return isMain_ && scheduler_.isRunning(nullptr) &&
               std::this_thread::get_id() == scheduler_.ownerThread_;
    }

  private:
    VirtualScheduler& scheduler_;
    std::string name_;
    bool isMain_;
};

VirtualScheduler::VirtualScheduler(double start)
    : clock_(start),
      main_(std::make_unique<VirtualQueue>(*this, "main", true)),
      ownerThread_(std::this_thread::get_id()) {}

VirtualScheduler::~VirtualScheduler() = default;

Queue& VirtualScheduler::mainQueue() {
    return *main_;
}

std::shared_ptr<Queue> VirtualScheduler::makeSerialQueue(std::string name) {
    return std::make_shared<VirtualQueue>(*this, std::move(name), false);
}

WorkItem VirtualScheduler::schedule(const VirtualQueue* queue, double delay, Queue::Work work) {
    WorkItem item = WorkItem::make();
    std::lock_guard lock(mutex_);
    tasks_.push(
        Task{clock_.now() + std::max(0.0, delay), nextSequence_++, queue, item, std::move(work)});
    return item;
}

bool VirtualScheduler::isRunning(const VirtualQueue* queue) const {
    std::lock_guard lock(mutex_);
    return running_ == queue;
}

std::size_t VirtualScheduler::advance(double seconds) {
    const double target = clock_.now() + std::max(0.0, seconds);
    std::size_t ran = 0;
    for (;;) {
        Task task;
        {
            std::lock_guard lock(mutex_);
            if (tasks_.empty() || tasks_.top().due > target)
                break;
            task = tasks_.top();
            tasks_.pop();
            if (task.due > clock_.now())
                clock_.set(task.due);
            if (!task.item.begin())
                continue;
            running_ = task.queue;
        }
        task.work();
        ++ran;
        std::lock_guard lock(mutex_);
        running_ = nullptr;
    }
    if (target > clock_.now())
        clock_.set(target);
    return ran;
}

std::size_t VirtualScheduler::pendingCount() const {
    std::lock_guard lock(mutex_);
    auto copy = tasks_;
    std::size_t count = 0;
    while (!copy.empty()) {
        if (!copy.top().item.isCancelled())
            ++count;
        copy.pop();
    }
    return count;
}

}  // namespace tessiva
