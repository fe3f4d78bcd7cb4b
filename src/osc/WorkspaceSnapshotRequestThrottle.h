#pragma once

#include <optional>
#include <string>

namespace tessiva {

// Keeps a chatty link from making the iPad re-send its workspace: no throttled request within
// 300 s of a received snapshot, nor within 300 s of a request to the same endpoint. A forced
// request always goes. A pure value type owned by OSCDiscoveryManager on its discovery queue.
class WorkspaceSnapshotRequestThrottle {
  public:
    static constexpr double kDefaultInterval = 300.0;

    explicit WorkspaceSnapshotRequestThrottle(double interval = kDefaultInterval)
        : interval_(interval) {}

    bool shouldRequest(const std::string& endpointKey, double now, bool force) const {
        if (force)
            return true;
        if (lastReceivedDate_ && now - *lastReceivedDate_ < interval_)
            return false;
        if (lastRequestKey_ && *lastRequestKey_ == endpointKey && lastRequestDate_ &&
            now - *lastRequestDate_ < interval_) {
            return false;
        }
        return true;
    }
    void recordRequest(std::string endpointKey, double now) {
        lastRequestKey_ = std::move(endpointKey);
        lastRequestDate_ = now;
    }
    void recordReceived(double now) { lastReceivedDate_ = now; }
    // A handshake time-out forgets everything so the next contact asks afresh.
    void clear() {
        lastRequestKey_.reset();
        lastRequestDate_.reset();
        lastReceivedDate_.reset();
    }

    const std::optional<std::string>& lastRequestKey() const { return lastRequestKey_; }
    const std::optional<double>& lastReceivedDate() const { return lastReceivedDate_; }

  private:
    double interval_;
    std::optional<std::string> lastRequestKey_;
    std::optional<double> lastRequestDate_;
    std::optional<double> lastReceivedDate_;
};

}  // namespace tessiva
