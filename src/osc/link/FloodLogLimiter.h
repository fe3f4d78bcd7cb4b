#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tessiva {

// Decides which of the link's repeatable lines (a rejected iPad, an inactive one, an undecodable
// datagram) are written, so a flood never fills the log yet the reader learns both that it began
// and how big it was. The first line for a key is written; further ones within `interval` are
// counted; once the interval has passed, `flush` (or the next line for that key) yields one
// summary with the count. At most `firstLinesPerInterval` first lines of new keys are written per
// interval: past that they are counted under their title alone, and at most `maxKeys` keys are
// remembered (a forgotten key's count is summarised at once). A pure value type: tests use it
// directly; LinkEventLog guards one with a mutex.
class FloodLogLimiter {
  public:
    struct Line {
        std::string title;
        std::string message;
        bool operator==(const Line&) const = default;
    };

    explicit FloodLogLimiter(double interval = 2.0, std::size_t maxKeys = 64,
                             std::size_t firstLinesPerInterval = 16)
        : interval_(interval), maxKeys_(maxKeys), firstLinesPerInterval_(firstLinesPerInterval) {}

    // The lines to write now for one occurrence: none, the line itself, or a summary of the
    // previous burst followed by the line.
    std::vector<Line> note(const std::string& key, const std::string& title,
                           const std::string& message, double now) {
        std::vector<Line> out;
        if (!budgetStart_ || now - *budgetStart_ >= interval_) {
            budgetStart_ = now;
            firstLinesInWindow_ = 0;
        }
        auto found = windows_.find(key);
        if (found != windows_.end() && now - found->second.start < interval_) {
            ++found->second.suppressed;
            found->second.last = Line{title, message};
            return out;
        }
        if (found != windows_.end()) {
            summarise(found->second, out);
            windows_.erase(found);
        }
        if (firstLinesInWindow_ >= firstLinesPerInterval_) {
            Window& overflow = overflow_[title];
            if (overflow.suppressed == 0)
                overflow.start = now;
            ++overflow.suppressed;
            overflow.last = Line{title, message};
            return out;
        }
        if (windows_.size() >= maxKeys_)
            evictOldest(out);
        ++firstLinesInWindow_;
        windows_.emplace(key, Window{now, 0, Line{title, message}});
        out.push_back(Line{title, message});
        return out;
    }

    // Summaries of the bursts whose interval has passed (all of them when `everything`).
    std::vector<Line> flush(double now, bool everything = false) {
        std::vector<Line> out;
        for (auto it = windows_.begin(); it != windows_.end();) {
            if (everything || now - it->second.start >= interval_) {
                summarise(it->second, out);
                it = windows_.erase(it);
            } else {
                ++it;
            }
        }
        for (auto it = overflow_.begin(); it != overflow_.end();) {
            if (everything || now - it->second.start >= interval_) {
                summarise(it->second, out);
                it = overflow_.erase(it);
            } else {
                ++it;
            }
        }
        return out;
    }

    std::size_t rememberedKeys() const { return windows_.size(); }

  private:
    struct Window {
        double start = 0;
        std::size_t suppressed = 0;
        Line last;
    };
    static void summarise(const Window& window, std::vector<Line>& out) {
        if (window.suppressed == 0)
            return;
        out.push_back(Line{
            window.last.title,
            window.last.message + " (" + std::to_string(window.suppressed) + " more suppressed)"});
    }
    void evictOldest(std::vector<Line>& out) {
        auto oldest = windows_.begin();
        for (auto it = windows_.begin(); it != windows_.end(); ++it) {
            if (it->second.start < oldest->second.start)
                oldest = it;
        }
        summarise(oldest->second, out);
        windows_.erase(oldest);
    }

    double interval_;
    std::size_t maxKeys_;
    std::size_t firstLinesPerInterval_;
    std::optional<double> budgetStart_;
    std::size_t firstLinesInWindow_ = 0;
    std::map<std::string, Window> windows_;
    std::map<std::string, Window> overflow_;
};

}  // namespace tessiva
