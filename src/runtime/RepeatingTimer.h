#pragma once

#include <functional>
#include <memory>

#include "runtime/Queue.h"

namespace tessiva {

// Runs work on a queue every `interval` seconds after a first delay, until stopped or destroyed.
// Start, stop and destruction happen on the owning queue; the ping timer and the title poll use it.
class RepeatingTimer {
  public:
    RepeatingTimer() = default;
    ~RepeatingTimer() { stop(); }
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

    void start(Queue& queue, double firstDelay, double interval, std::function<void()> tick);
    void stop();
    bool isRunning() const { return state_ != nullptr; }

  private:
    struct State;
    static void arm(const std::shared_ptr<State>& state, double delay);
    std::shared_ptr<State> state_;
};

}  // namespace tessiva
