#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "osc/RemoteWorkspaceSnapshot.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

class Queue;

// Holds the iPad's workspace as last decoded and tells observers when it is replaced. Lives on the
// main queue: `publish` may be called from any queue and hops there; `snapshot` and observers run
// on the main queue. Absent until the first snapshot arrives; each snapshot replaces the previous
// one whole. Tests use the real class on a VirtualScheduler's main queue.
class RemoteWorkspaceStore {
  public:
    using Observer = std::function<void(const RemoteWorkspaceSnapshot&)>;

    explicit RemoteWorkspaceStore(Queue& mainQueue);
    ~RemoteWorkspaceStore();
    RemoteWorkspaceStore(const RemoteWorkspaceStore&) = delete;
    RemoteWorkspaceStore& operator=(const RemoteWorkspaceStore&) = delete;

    const std::optional<RemoteWorkspaceSnapshot>& snapshot() const { return snapshot_; }
    void publish(RemoteWorkspaceSnapshot snapshot);
    [[nodiscard]] ObserverToken addObserver(Observer observer);

  private:
    struct Observers;
    void apply(RemoteWorkspaceSnapshot snapshot);

    Queue& mainQueue_;
    std::optional<RemoteWorkspaceSnapshot> snapshot_;
    std::shared_ptr<Observers> observers_;
};

}  // namespace tessiva
