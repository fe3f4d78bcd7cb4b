#pragma once

#include <memory>
#include <string>

#include "runtime/AsioDispatcher.h"
#include "runtime/Queue.h"

namespace tessiva {

// Queues for the desktop shell: the main queue is Qt's event loop on the GUI thread, so
// coordinator work and widgets share one thread; named serial queues and the clock come from
// Asio as in the headless program. Tests of the shell use a VirtualScheduler instead.
class QtDispatcher final : public Dispatcher {
  public:
    QtDispatcher();
    ~QtDispatcher() override;
    QtDispatcher(const QtDispatcher&) = delete;
    QtDispatcher& operator=(const QtDispatcher&) = delete;

    const Clock& clock() const override { return serial_.clock(); }
    Queue& mainQueue() override;
    std::shared_ptr<Queue> makeSerialQueue(std::string name) override;

  private:
    class QtMainQueue;
    AsioDispatcher serial_;
    std::unique_ptr<QtMainQueue> main_;
};

}  // namespace tessiva
