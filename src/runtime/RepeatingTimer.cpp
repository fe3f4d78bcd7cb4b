#include "runtime/RepeatingTimer.h"

namespace tessiva {

struct RepeatingTimer::State {
    Queue* queue;
    double interval;
    std::function<void()> tick;
    WorkItem next;
    bool stopped = false;
};

void RepeatingTimer::start(Queue& queue, double firstDelay, double interval,
                           std::function<void()> tick) {
    stop();
    state_ = std::make_shared<State>(State{&queue, interval, std::move(tick), {}, false});
    arm(state_, firstDelay);
}

void RepeatingTimer::stop() {
    if (!state_)
        return;
    state_->stopped = true;
    state_->next.cancel();
    state_.reset();
}

void RepeatingTimer::arm(const std::shared_ptr<State>& state, double delay) {
    std::weak_ptr<State> weak = state;
    state->next = state->queue->postAfter(delay, [weak] {
        auto strong = weak.lock();
        if (!strong || strong->stopped)
            return;
        // Re-arm first so a tick that stops the timer wins.
        arm(strong, strong->interval);
        strong->tick();
    });
}

}  // namespace tessiva
