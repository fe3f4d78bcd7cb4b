#include "autoassign/AutoAssignGroupContextResolver.h"

#include <algorithm>
#include <set>
#include <vector>

#include "autoassign/AutoAssignName.h"

namespace tessiva {

namespace AutoAssignGroupContextResolver {

namespace {

struct PreparedGroup {
    const Candidate* candidate;
    std::vector<std::string> computedTokens;  // when the candidate came without tokens

    const std::vector<std::string>& tokens() const {
        return candidate->tokens.empty() ? computedTokens : candidate->tokens;
    }
    bool holds(const std::string& token) const {
        const auto& all = tokens();
        return std::find(all.begin(), all.end(), token) != all.end();
    }
};

bool canIdentify(const std::vector<std::string>& rowTokens) {
    return std::any_of(rowTokens.begin(), rowTokens.end(),
                       [](const std::string& token) { return !isDeskVoiceSuffix(token); });
}

}  // namespace

VisibleRows tokenizedRows(const RowMap& rows) {
    VisibleRows tokenized;
    for (const auto& [index, name] : rows) {
        VisibleRow row{name, autoAssignTokens(name), 0};
        std::vector<std::string_view> distinct(row.tokens.begin(), row.tokens.end());
        std::sort(distinct.begin(), distinct.end());
        row.distinctTokenCount = static_cast<std::size_t>(
            std::unique(distinct.begin(), distinct.end()) - distinct.begin());
        tokenized.emplace(index, std::move(row));
    }
    return tokenized;
}

std::optional<Resolution> resolve(int trackIndex, std::size_t trackTokenCount,
                                  const std::vector<Candidate>& candidates,
                                  const VisibleRows& rows) {
    if (trackTokenCount < kMinimumTrackTokens || candidates.empty())
        return std::nullopt;
    std::vector<PreparedGroup> groups;
    groups.reserve(candidates.size());
    for (const auto& candidate : candidates) {
        if (candidate.id.empty() || !candidate.groupName)
            continue;
        const bool seen = std::any_of(groups.begin(), groups.end(), [&](const auto& group) {
            return group.candidate->id == candidate.id;
        });
        if (seen)
            continue;
        groups.push_back({&candidate, candidate.tokens.empty()
                                          ? autoAssignTokens(*candidate.groupName)
                                          : std::vector<std::string>()});
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
            // More distinct words than the group's name has cannot all be in it.
            if (row.distinctTokenCount > group.tokens().size())
                continue;
            const bool all = std::all_of(row.tokens.begin(), row.tokens.end(),
                                         [&](const auto& t) { return group.holds(t); });
            if (all)
                identified.push_back(&group);
        }
        if (identified.size() > 1) {
            std::erase_if(identified, [&](const PreparedGroup* group) {
                return group->tokens() != row.tokens;
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
