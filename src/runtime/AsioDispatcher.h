#pragma once

#include <memory>
#include <string>

#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

// Production queues on Asio: each serial queue is an io_context on its own thread; the main
// queue is an io_context that the program's main thread runs with `runMainLoop` until
// `stopMainLoop`. Vendor types stay in the .cpp.
class AsioDispatcher final : public Dispatcher {
  public:
    AsioDispatcher();
    ~AsioDispatcher() override;
    AsioDispatcher(const AsioDispatcher&) = delete;
    AsioDispatcher& operator=(const AsioDispatcher&) = delete;

    const Clock& clock() const override { return clock_; }
    Queue& mainQueue() override;
    std::shared_ptr<Queue> makeSerialQueue(std::string name) override;

    // Runs main-queue work on the calling thread until stopMainLoop (callable from any thread).
    void runMainLoop();
    void stopMainLoop();
    // Runs the main queue for at most `seconds`, then returns (tests and tools).
    void runMainLoopFor(double seconds);

  private:
    class AsioQueue;
    SystemClock clock_;
    std::unique_ptr<AsioQueue> main_;
};

}  // namespace tessiva
