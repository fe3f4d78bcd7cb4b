#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tessiva {

class Clock;

// A handle on work scheduled with `postAfter`. Cancelling before the work runs stops it from
// running; cancelling later does nothing. Copies share the same work. A default-constructed item
// refers to nothing and is never pending.
class WorkItem {
  public:
    WorkItem() = default;
    static WorkItem make() { return WorkItem(std::make_shared<State>()); }

    void cancel() const {
        if (state_)
            state_->cancelled.store(true);
    }
    bool isCancelled() const { return state_ && state_->cancelled.load(); }
    // True while the work is scheduled and neither cancelled nor started.
    bool isPending() const {
        return state_ && !state_->cancelled.load() && !state_->started.load();
    }
    // Called by a queue when the work is due; false means it was cancelled and must not run.
    bool begin() const {
        if (!state_ || state_->cancelled.load())
            return false;
        state_->started.store(true);
        return true;
    }
    explicit operator bool() const { return state_ != nullptr; }

  private:
    struct State {
        std::atomic<bool> cancelled{false};
        std::atomic<bool> started{false};
    };
    explicit WorkItem(std::shared_ptr<State> state) : state_(std::move(state)) {}
    std::shared_ptr<State> state_;
};

// A serial queue: work posted to it runs one item at a time, in order of due time and, for equal
// due times, in posting order. The main queue and every named serial queue share this interface,
// so owners are written once and run on real threads in production and on virtual time in tests.
class Queue {
  public:
    using Work = std::function<void()>;
    virtual ~Queue() = default;

    virtual std::string_view name() const = 0;
    virtual void post(Work work) = 0;
    virtual WorkItem postAfter(double seconds, Work work) = 0;
    // True when called from work running on this queue (for the main queue: on the main thread).
    virtual bool isCurrent() const = 0;
};

// Where queues and time come from: production uses AsioDispatcher, tests VirtualScheduler.
class Dispatcher {
  public:
    virtual ~Dispatcher() = default;
    virtual const Clock& clock() const = 0;
    virtual Queue& mainQueue() = 0;
    // Creates a named serial queue ("tessiva.logic.selection", ...). It lives as long as the
    // returned pointer and the dispatcher.
    virtual std::shared_ptr<Queue> makeSerialQueue(std::string name) = 0;
};

}  // namespace tessiva
