#include "autoassign/AutoAssignTarget.h"

#include <unordered_set>

#include "autoassign/AutoAssignName.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

std::optional<std::string> nonEmpty(const std::optional<std::string>& value) {
    if (value && !value->empty())
        return value;
    return std::nullopt;
}

}  // namespace

std::string autoAssignTargetIdentityKey(const AutoAssignTarget& target) {
    const bool group = target.kind == AutoAssignTarget::Kind::group && target.groupUUID &&
                       !target.groupUUID->empty();
    const std::string& uuid = group ? *target.groupUUID : target.bankUUID;
    if (!uuid.empty())
        return "uuid:" + text::lowercased(uuid);
    return "name:" + normalizedAutoAssignName(target.name);
}

std::vector<AutoAssignTarget> buildAutoAssignTargets(const RemoteWorkspaceSnapshot& workspace) {
    std::vector<AutoAssignTarget> banks;
    std::vector<AutoAssignTarget> groups;
    std::unordered_set<std::string> seenGroups;
    for (const auto& section : workspace.sections) {
        for (const auto& bank : section.banks) {
            AutoAssignTarget target;
            target.kind = AutoAssignTarget::Kind::bank;
            target.name = bank.name;
            target.bankUUID = bank.uuid;
            target.groupUUID = nonEmpty(bank.groupUUID);
            target.groupName = target.groupUUID ? bank.groupName : std::nullopt;
            target.sectionName = bank.sectionName.empty() ? section.name : bank.sectionName;
            target.workspaceUUID = workspace.workspaceUUID;
            target.workspaceName = workspace.workspaceName;
            if (target.groupUUID && nonEmpty(target.groupName) &&
                seenGroups.insert(*target.groupUUID).second) {
                AutoAssignTarget group = target;
                group.kind = AutoAssignTarget::Kind::group;
                group.name = *target.groupName;
                groups.push_back(std::move(group));
            }
            banks.push_back(std::move(target));
        }
    }
    std::vector<AutoAssignTarget> targets;
    targets.reserve(banks.size() + groups.size());
    std::unordered_set<std::string> keys;
    for (auto* list : {&banks, &groups}) {
        for (auto& target : *list) {
            if (keys.insert(autoAssignTargetIdentityKey(target)).second)
                targets.push_back(std::move(target));
        }
    }
    return targets;
}

}  // namespace tessiva
