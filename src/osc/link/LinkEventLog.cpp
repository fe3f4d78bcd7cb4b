#include "osc/link/LinkEventLog.h"

#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

namespace {
// Console-only lines carry this title in the limiter and never reach the event log.
constexpr const char* kConsoleOnlyTitle = "";
}  // namespace

void LinkEventLog::event(const std::string& title, const std::string& message) {
    event(title, message, "[OSCDiscoveryManager] " + message);
}

void LinkEventLog::event(const std::string& title, const std::string& message,
                         const std::string& consoleLine) {
    console_.line(consoleLine);
    postDebugEvent(notifications_, title, message);
}

void LinkEventLog::flood(const std::string& key, const std::string& title,
                         const std::string& message) {
    std::vector<FloodLogLimiter::Line> lines;
    {
        std::lock_guard lock(mutex_);
        lines = limiter_.note(key, title, message, clock_.now());
    }
    write(lines);
}

void LinkEventLog::floodConsole(const std::string& key, const std::string& line) {
    flood(key, kConsoleOnlyTitle, line);
}

void LinkEventLog::flushSuppressed(bool everything) {
    std::vector<FloodLogLimiter::Line> lines;
    {
        std::lock_guard lock(mutex_);
        lines = limiter_.flush(clock_.now(), everything);
    }
    write(lines);
}

void LinkEventLog::write(const std::vector<FloodLogLimiter::Line>& lines) {
    for (const auto& line : lines) {
        if (line.title.empty())
            console_.line(line.message);
        else
            event(line.title, line.message);
    }
}

}  // namespace tessiva
