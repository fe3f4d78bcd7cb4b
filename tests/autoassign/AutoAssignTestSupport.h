#pragma once

#include <string>
#include <vector>

#include "autoassign/AutoAssignTarget.h"
#include "osc/RemoteWorkspaceSnapshot.h"

namespace tessiva {

// A bank target with a UUID derived from its name (and group), for matching tables.
inline AutoAssignTarget bankTarget(const std::string& name, const std::string& uuid = {},
                                   std::optional<std::string> groupUUID = std::nullopt,
                                   std::optional<std::string> groupName = std::nullopt) {
    AutoAssignTarget target;
    target.name = name;
    target.bankUUID = uuid.empty() ? "bank-" + name : uuid;
    target.groupUUID = std::move(groupUUID);
    target.groupName = std::move(groupName);
    return target;
}

inline RemoteWorkspaceBank workspaceBank(const std::string& uuid, const std::string& name,
                                         std::optional<std::string> groupUUID = std::nullopt,
                                         std::optional<std::string> groupName = std::nullopt) {
    RemoteWorkspaceBank bank;
    bank.uuid = uuid;
    bank.name = name;
    bank.groupUUID = std::move(groupUUID);
    bank.groupName = std::move(groupName);
    return bank;
}

}  // namespace tessiva
