#pragma once

#include <optional>
#include <string>

#include "runtime/NotificationCenter.h"

namespace tessiva {

// Components without direct access to the event log post "tessiva.debugEvent"; the coordinator
// appends each one to DebugLogStore on the main queue, in posting order.
inline constexpr const char* kDebugEventNotification = "tessiva.debugEvent";
inline constexpr const char* kDebugEventTitleKey = "title";
inline constexpr const char* kDebugEventDetailKey = "detail";

inline void postDebugEvent(NotificationCenter& center, std::string title,
                           std::optional<std::string> detail = std::nullopt) {
    UserInfo info;
    info.set(kDebugEventTitleKey, std::move(title));
    if (detail)
        info.set(kDebugEventDetailKey, std::move(*detail));
    center.post(kDebugEventNotification, std::move(info));
}

}  // namespace tessiva
