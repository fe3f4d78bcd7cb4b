#include "autoassign/AutoAssignTargetIndex.h"

#include <algorithm>
#include <set>

#include "autoassign/AutoAssignName.h"

namespace tessiva {

AutoAssignTargetIndex::AutoAssignTargetIndex(std::vector<AutoAssignTarget> targets)
    : byFamily_(kInstrumentFamilyNames.size()), groupsByFamily_(kInstrumentFamilyNames.size()) {
    targets_.reserve(targets.size());
    for (auto& target : targets) {
        PreparedAutoAssignTarget prepared;
        prepared.tokens = autoAssignTokens(target.name);
        prepared.normalizedName = joinAutoAssignTokens(prepared.tokens);
        prepared.principal = principalInstrument(prepared.tokens);
        prepared.target = std::move(target);
        targets_.push_back(std::move(prepared));
    }
    distinctTokenCounts_.reserve(targets_.size());
    sortedNames_.reserve(targets_.size());
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        const PreparedAutoAssignTarget& t = targets_[i];
        if (t.target.groupUUID && t.target.groupName &&
            !groupTokens_.contains(*t.target.groupUUID)) {
            groupTokens_.emplace(*t.target.groupUUID, autoAssignTokens(*t.target.groupName));
        }
        const std::set<std::string> distinct(t.tokens.begin(), t.tokens.end());
        distinctTokenCounts_.push_back(distinct.size());
        if (t.normalizedName.empty())
            continue;  // nothing can match a target without a name
        byName_[t.normalizedName].push_back(i);
        if (t.tokens.size() > 1 && isDeskVoiceSuffix(t.tokens.back())) {
            byStem_[joinAutoAssignTokens({t.tokens.begin(), t.tokens.end() - 1})].push_back(i);
        }
        for (const auto& token : distinct)
            byToken_[token].push_back(i);
        if (t.principal)
            byFamily_[static_cast<std::size_t>(*t.principal)].push_back(i);
        sortedNames_.emplace_back(t.normalizedName, i);
    }
    for (std::size_t f = 0; f < byFamily_.size(); ++f) {
        std::set<std::string_view> seen;
        for (std::size_t i : byFamily_[f]) {
            const AutoAssignTarget& target = targets_[i].target;
            if (target.groupUUID && seen.insert(*target.groupUUID).second) {
                groupsByFamily_[f].push_back(
                    {*target.groupUUID, target.groupName, groupTokens(*target.groupUUID)});
            }
        }
    }
    std::stable_sort(sortedNames_.begin(), sortedNames_.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
}

const std::vector<std::size_t>& AutoAssignTargetIndex::lookUp(const Lists& lists,
                                                              std::string_view key) {
    static const std::vector<std::size_t> kNone;
    const auto found = lists.find(key);
    return found == lists.end() ? kNone : found->second;
}

const std::vector<std::size_t>& AutoAssignTargetIndex::named(std::string_view name) const {
    return lookUp(byName_, name);
}

const std::vector<std::size_t>& AutoAssignTargetIndex::namedWithSuffix(
    std::string_view stem) const {
    return lookUp(byStem_, stem);
}

const std::vector<std::size_t>& AutoAssignTargetIndex::holding(std::string_view token) const {
    return lookUp(byToken_, token);
}

const std::vector<std::string>& AutoAssignTargetIndex::groupTokens(
    std::string_view groupUUID) const {
    static const std::vector<std::string> kNone;
    const auto found = groupTokens_.find(groupUUID);
    return found == groupTokens_.end() ? kNone : found->second;
}

const std::vector<std::size_t>& AutoAssignTargetIndex::ofFamily(InstrumentFamily family) const {
    return byFamily_[static_cast<std::size_t>(family)];
}

std::vector<std::size_t> AutoAssignTargetIndex::startingWith(std::string_view prefix) const {
    std::vector<std::size_t> found;
    auto it =
        std::lower_bound(sortedNames_.begin(), sortedNames_.end(), prefix,
                         [](const auto& entry, std::string_view p) { return entry.first < p; });
    for (; it != sortedNames_.end() && it->first.starts_with(prefix); ++it) {
        if (it->first.size() > prefix.size())
            found.push_back(it->second);
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::size_t> AutoAssignTargetIndex::prefixesOf(std::string_view name) const {
    std::vector<std::size_t> found;
    for (std::size_t length = 1; length < name.size(); ++length) {
        // Only whole code points: a cut inside one cannot equal a target's name.
        if ((static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
            continue;
        const auto& targets = named(name.substr(0, length));
        found.insert(found.end(), targets.begin(), targets.end());
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace tessiva
