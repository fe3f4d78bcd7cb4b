#pragma once

#include <mutex>
#include <string>

#include "osc/link/FloodLogLimiter.h"

namespace tessiva {

class Clock;
class Console;
class NotificationCenter;

// The iPad link's lines: each goes to the console and, as a "tessiva.debugEvent", to the event
// log. Lines a flood could repeat go through a FloodLogLimiter. Thread-safe: the discovery queue
// and the mirrored-MIDI queue both write. Tests read the console and the event log.
class LinkEventLog {
  public:
    LinkEventLog(Console& console, NotificationCenter& notifications, const Clock& clock)
        : console_(console), notifications_(notifications), clock_(clock) {}

    // Console line "[OSCDiscoveryManager] " + message.
    void event(const std::string& title, const std::string& message);
    void event(const std::string& title, const std::string& message,
               const std::string& consoleLine);
    // A line a flood could repeat, limited per `key`.
    void flood(const std::string& key, const std::string& title, const std::string& message);
    // A console-only line a flood could repeat.
    void floodConsole(const std::string& key, const std::string& line);
    // Writes the summaries of bursts that have ended (all of them when `everything`).
    void flushSuppressed(bool everything = false);

    Console& console() { return console_; }

  private:
    void write(const std::vector<FloodLogLimiter::Line>& lines);

    Console& console_;
    NotificationCenter& notifications_;
    const Clock& clock_;
    std::mutex mutex_;
    FloodLogLimiter limiter_;
};

}  // namespace tessiva
