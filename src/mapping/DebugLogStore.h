#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mapping/Published.h"
#include "runtime/Clock.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

class Queue;

// The user-visible event log ("Show Events…"): every refusal, send, repair and file action, with
// a short title and an optional detail. Entries are published oldest first on the main queue;
// log() from any other thread hops there, in call order. Tests use the real class on a
// VirtualScheduler's main queue.
class DebugLogStore {
  public:
    struct Entry {
        std::string id;  // UUID, made with the entry
        Date timestamp = 0.0;
        std::string title;
        std::optional<std::string> detail;

        bool operator==(const Entry&) const = default;
    };

    // Past kTrimThreshold entries the oldest go so that kTrimTarget remain: the observed array is
    // rewritten once per thousand entries, not on every append.
    static constexpr std::size_t kTrimThreshold = 5000;
    static constexpr std::size_t kTrimTarget = 4000;

    DebugLogStore(Queue& mainQueue, const Clock& clock);
    ~DebugLogStore();
    DebugLogStore(const DebugLogStore&) = delete;
    DebugLogStore& operator=(const DebugLogStore&) = delete;

    // Any thread. The entry's id and timestamp are taken at the call.
    void log(std::string title, std::optional<std::string> detail = std::nullopt);
    // Main queue.
    void clear();

    const Published<std::vector<Entry>>& entries() const { return entries_; }

    // Appends every "tessiva.debugEvent" posted to `center` for as long as the token lives.
    [[nodiscard]] ObserverToken observeDebugEvents(NotificationCenter& center);

  private:
    void append(Entry entry);

    Queue& mainQueue_;
    const Clock& clock_;
    Published<std::vector<Entry>> entries_;
    // Hops to the main queue check this so a log call racing destruction does nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tessiva
