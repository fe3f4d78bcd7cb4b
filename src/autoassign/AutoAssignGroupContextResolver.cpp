#include "autoassign/AutoAssignGroupContextResolver.h"

#include <algorithm>
#include <set>

#include "autoassign/AutoAssignName.h"

namespace tessiva {

namespace AutoAssignGroupContextResolver {

namespace {

struct PreparedGroup {
    const Candidate* candidate;
    std::set<std::string> tokens;
    std::string normalizedName;
};

bool canIdentify(const std::vector<std::string>& rowTokens) {
    return std::any_of(rowTokens.begin(), rowTokens.end(),
                       [](const std::string& token) { return !isDeskVoiceSuffix(token); });
}

}  // namespace

VisibleRows tokenizedRows(const RowMap& rows) {
    VisibleRows tokenized;
    for (const auto& [index, name] : rows)
        tokenized.emplace(index, VisibleRow{name, autoAssignTokens(name)});
    return tokenized;
}

std::optional<Resolution> resolve(int trackIndex, std::size_t trackTokenCount,
                                  const std::vector<Candidate>& candidates,
                                  const VisibleRows& rows) {
    if (trackTokenCount < kMinimumTrackTokens || candidates.empty())
        return std::nullopt;
    std::vector<PreparedGroup> groups;
    std::set<std::string> seen;
    for (const auto& candidate : candidates) {
        if (candidate.id.empty() || !candidate.groupName || !seen.insert(candidate.id).second)
            continue;
        std::vector<std::string> tokens = autoAssignTokens(*candidate.groupName);
        groups.push_back(
            {&candidate, {tokens.begin(), tokens.end()}, joinAutoAssignTokens(tokens)});
    }
    std::size_t looked = 0;
    for (auto it = rows.lower_bound(trackIndex); it != rows.begin() && looked < kRowsLookedAbove;
         ++looked) {
        --it;
        const VisibleRow& row = it->second;
        if (!canIdentify(row.tokens))
            continue;
        std::vector<const PreparedGroup*> identified;
        for (const auto& group : groups) {
            const bool all = std::all_of(row.tokens.begin(), row.tokens.end(),
                                         [&](const auto& t) { return group.tokens.count(t) > 0; });
            if (all)
                identified.push_back(&group);
        }
        if (identified.size() > 1) {
            const std::string rowName = joinAutoAssignTokens(row.tokens);
            std::erase_if(identified, [&](const PreparedGroup* group) {
                return group->normalizedName != rowName;
            });
        }
        if (identified.size() == 1) {
            const Candidate& found = *identified.front()->candidate;
            return Resolution{found.id, *found.groupName, it->first, row.name};
        }
    }
    return std::nullopt;
}

std::optional<Resolution> resolve(int trackIndex, const std::string& trackName,
                                  const std::vector<Candidate>& candidates, const RowMap& rows) {
    return resolve(trackIndex, autoAssignTokens(trackName).size(), candidates, tokenizedRows(rows));
}

std::string describe(const Resolution& resolution) {
    return resolution.anchorTrackName + " identified group " + resolution.groupName;
}

}  // namespace AutoAssignGroupContextResolver

}  // namespace tessiva
