#pragma once

#include <functional>
#include <string>

#include "osc/link/LifetimeGuard.h"
#include "osc/link/LinkEventLog.h"
#include "osc/link/LinkServices.h"
#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

// What the parts of the iPad link share: the services, the options, the discovery queue, the
// lifetime guard and the log. Owned by OSCDiscoveryManager, which outlives every part.
struct LinkContext {
    LinkServices services;
    LinkOptions options;
    Queue& queue;
    const LifetimeGuard& guard;
    LinkEventLog& log;

    double now() const;
    std::string localDeviceName() const;
    // Runs `work` on the discovery queue while the link lives.
    void onQueue(std::function<void()> work) const { queue.post(guard.wrap(std::move(work))); }
    WorkItem onQueueAfter(double seconds, std::function<void()> work) const {
        return queue.postAfter(seconds, guard.wrap(std::move(work)));
    }
};

}  // namespace tessiva
