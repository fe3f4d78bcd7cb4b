#pragma once

#include <optional>
#include <string>

#include "runtime/Clock.h"

namespace tessiva {

// One row's iPad target: the bank, or a group inside it, that "/tessiva/bank/focus" shows when
// the row is selected in Logic. A plain value kept by MappingStore and written into profiles.
struct OSCBankFocusMapping {
    std::string id;  // upper-case UUID, made when the mapping is created
    int trackIndex = 0;
    std::string trackName;
    std::optional<std::string> trackIdentity;
    std::string bankUUID;
    std::string bankName;
    std::optional<std::string> groupUUID;
    std::optional<std::string> groupName;
    std::optional<std::string> sectionName;
    std::optional<std::string> workspaceUUID;
    std::optional<std::string> workspaceName;
    Date updatedAt = 0.0;  // seconds since 1 January 2001 UTC

    // A mapping with a non-empty group focuses the group rather than the whole bank.
    bool targetsGroup() const { return groupUUID.has_value() && !groupUUID->empty(); }
    const std::string& targetUUID() const { return targetsGroup() ? *groupUUID : bankUUID; }

    bool operator==(const OSCBankFocusMapping&) const = default;
};

}  // namespace tessiva
