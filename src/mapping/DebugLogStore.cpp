#include "mapping/DebugLogStore.h"

#include "runtime/DebugEvent.h"
#include "runtime/Queue.h"
#include "runtime/UUID.h"

namespace tessiva {

DebugLogStore::DebugLogStore(Queue& mainQueue, const Clock& clock)
    : mainQueue_(mainQueue), clock_(clock) {}

DebugLogStore::~DebugLogStore() = default;

void DebugLogStore::log(std::string title, std::optional<std::string> detail) {
    Entry entry{makeUUID(), clock_.date(), std::move(title), std::move(detail)};
    if (mainQueue_.isCurrent()) {
        append(std::move(entry));
        return;
    }
    std::weak_ptr<bool> alive = alive_;
    mainQueue_.post([this, alive, entry = std::move(entry)]() mutable {
        if (alive.lock())
            append(std::move(entry));
    });
}

void DebugLogStore::clear() {
    entries_.modify([](std::vector<Entry>& entries) {
        if (entries.empty())
            return false;
        entries.clear();
        return true;
    });
}

void DebugLogStore::append(Entry entry) {
    entries_.modify([&entry](std::vector<Entry>& entries) {
        entries.push_back(std::move(entry));
        if (entries.size() > kTrimThreshold) {
            entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(
                                                                 entries.size() - kTrimTarget));
        }
        return true;
    });
}

ObserverToken DebugLogStore::observeDebugEvents(NotificationCenter& center) {
    return center.addObserver(kDebugEventNotification, [this](const Notification& notification) {
        const auto& info = notification.userInfo;
        log(info.string(kDebugEventTitleKey).value_or("(untitled event)"),
            info.string(kDebugEventDetailKey));
    });
}

}  // namespace tessiva
