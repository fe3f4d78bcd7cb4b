#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "osc/RemoteWorkspaceSnapshot.h"

namespace tessiva {

// One bank or group of the iPad's workspace that a Logic row can be linked to. A plain value.
struct AutoAssignTarget {
    enum class Kind { bank, group };

    Kind kind = Kind::bank;
    std::string name;      // the bank's or the group's display name
    std::string bankUUID;  // the bank to focus; for a group, the bank that represents it
    std::optional<std::string> groupUUID;  // the bank's group, or the group itself
    std::optional<std::string> groupName;
    std::optional<std::string> sectionName;
    std::optional<std::string> workspaceUUID;
    std::optional<std::string> workspaceName;

    bool operator==(const AutoAssignTarget&) const = default;
};

inline constexpr std::array<std::string_view, 2> kAutoAssignTargetKindNames{"bank", "group"};
static_assert(kAutoAssignTargetKindNames.size() ==
              static_cast<std::size_t>(AutoAssignTarget::Kind::group) + 1);

inline std::string_view autoAssignTargetKindName(AutoAssignTarget::Kind kind) {
    return kAutoAssignTargetKindNames[static_cast<std::size_t>(kind)];
}

// "uuid:" + the lower-cased UUID of what the target focuses (the bank for a bank, the group for a
// group, so a group never collapses into the bank that represents it), else "name:" + the
// normalised name. Two targets with one key are one target.
std::string autoAssignTargetIdentityKey(const AutoAssignTarget& target);

// Every bank of every section in workspace order, then every named group in order of its first
// bank, de-duplicated by identity key with the first occurrence kept. Pure; any thread.
std::vector<AutoAssignTarget> buildAutoAssignTargets(const RemoteWorkspaceSnapshot& workspace);

}  // namespace tessiva
