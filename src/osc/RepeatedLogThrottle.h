#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace tessiva {

// Lets a log line about the same thing through at most once per interval, so an inactive iPad
// flooding the listener cannot flood the console and the event log. Remembers a bounded number of
// keys (the least recently logged is forgotten first). A pure value type: tests use it directly.
class RepeatedLogThrottle {
  public:
    explicit RepeatedLogThrottle(double interval = 2.0, std::size_t maxKeys = 64)
        : interval_(interval), maxKeys_(maxKeys) {}

    // True when the line for `key` should be written now (and records that it was).
    bool shouldLog(const std::string& key, double now) {
        auto found = lastLogged_.find(key);
        if (found != lastLogged_.end() && now - found->second < interval_)
            return false;
        if (found == lastLogged_.end() && lastLogged_.size() >= maxKeys_)
            evictOldest();
        lastLogged_[key] = now;
        return true;
    }
    void clear() { lastLogged_.clear(); }

  private:
    void evictOldest() {
        auto oldest = lastLogged_.begin();
        for (auto it = lastLogged_.begin(); it != lastLogged_.end(); ++it) {
            if (it->second < oldest->second)
                oldest = it;
        }
        if (oldest != lastLogged_.end())
            lastLogged_.erase(oldest);
    }

    double interval_;
    std::size_t maxKeys_;
    std::map<std::string, double> lastLogged_;
};

}  // namespace tessiva
