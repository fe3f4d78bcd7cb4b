#include "autoassign/EstimatedCandidates.h"

#include <algorithm>
#include <set>
#include <unordered_map>

#include "autoassign/AutoAssignName.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

struct Draft {
    std::size_t target;
    int points;
    std::string reason;
};

// Collects rule hits, merging hits on one target.
class Drafts {
  public:
    Drafts(const AutoAssignTrack& track, const AutoAssignTargetIndex& targets)
        : track_(track), targets_(targets) {}

    void add(std::size_t target, int points, std::string reason) {
        const PreparedAutoAssignTarget& prepared = targets_[target];
        if (prepared.normalizedName.empty() || prepared.normalizedName == track_.normalizedName)
            return;
        const auto [found, inserted] = positions_.try_emplace(target, drafts_.size());
        if (inserted) {
            drafts_.push_back({target, points, std::move(reason)});
            return;
        }
        Draft& draft = drafts_[found->second];
        draft.points = std::min(kMergeCapPoints, draft.points + kMergeBonusPoints);
        draft.reason += "; " + reason;
    }
    void addAll(const std::vector<std::size_t>& targets, int points, const std::string& reason) {
        for (std::size_t target : targets)
            add(target, points, reason);
    }

    std::vector<EstimatedAutoAssignCandidate> finish() {
        std::stable_sort(drafts_.begin(), drafts_.end(),
                         [](const Draft& a, const Draft& b) { return a.points > b.points; });
        std::vector<EstimatedAutoAssignCandidate> candidates;
        candidates.reserve(drafts_.size());
        for (auto& draft : drafts_) {
            candidates.push_back({makeUUID(), targets_[draft.target].target, draft.points / 100.0,
                                  std::move(draft.reason)});
        }
        return candidates;
    }

  private:
    const AutoAssignTrack& track_;
    const AutoAssignTargetIndex& targets_;
    std::vector<Draft> drafts_;
    std::unordered_map<std::size_t, std::size_t> positions_;
};

void addContainmentHits(const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
                        Drafts& drafts) {
    const std::set<std::string> distinct(track.tokens.begin(), track.tokens.end());
    std::unordered_map<std::size_t, std::size_t> held;
    for (const auto& token : distinct) {
        for (std::size_t target : targets.holding(token))
            ++held[target];
    }
    std::vector<std::size_t> containedTargets;
    for (const auto& [target, count] : held) {
        if (count == targets.distinctTokenCount(target))
            containedTargets.push_back(target);
    }
    std::sort(containedTargets.begin(), containedTargets.end());
    for (std::size_t target : containedTargets) {
        if (targets[target].tokens.size() > 1) {
            drafts.add(target, 88, "track name contains the full bank/group name");
        } else {
            drafts.add(target, 78, "track name contains this bank/group token");
        }
    }
}

void addPrincipalInstrumentHits(const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
                                const AutoAssignGroupContextResolver::VisibleRows& visibleRows,
                                Drafts& drafts) {
    if (!track.principal)
        return;
    const std::vector<std::size_t>& family = targets.ofFamily(*track.principal);
    if (family.empty())
        return;
    const auto context = AutoAssignGroupContextResolver::resolve(
        track.index, track.tokens.size(), groupCandidates(targets, family), visibleRows);
    const std::string contextReason = context
                                          ? "same principal instrument; nearby stack header " +
                                                AutoAssignGroupContextResolver::describe(*context) +
                                                " matches the bank context"
                                          : std::string();
    for (std::size_t target : family) {
        const auto& groupUUID = targets[target].target.groupUUID;
        if (context && groupUUID == context->groupID) {
            drafts.add(target, 96, contextReason);
        } else {
            drafts.add(target, 86, "same principal instrument");
        }
    }
}

}  // namespace

std::vector<AutoAssignGroupContextResolver::Candidate> groupCandidates(
    const AutoAssignTargetIndex& targets, const std::vector<std::size_t>& ids) {
    std::vector<AutoAssignGroupContextResolver::Candidate> groups;
    std::set<std::string> seen;
    for (std::size_t id : ids) {
        const AutoAssignTarget& target = targets[id].target;
        if (target.groupUUID && seen.insert(*target.groupUUID).second)
            groups.push_back({*target.groupUUID, target.groupName});
    }
    return groups;
}

std::vector<EstimatedAutoAssignCandidate> estimatedAutoAssignCandidates(
    const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
    const AutoAssignGroupContextResolver::VisibleRows& visibleRows) {
    Drafts drafts(track, targets);
    if (track.normalizedName.empty())
        return {};
    if (track.tokens.size() > 1 && isDeskVoiceSuffix(track.tokens.back())) {
        const std::string stem =
            joinAutoAssignTokens({track.tokens.begin(), track.tokens.end() - 1});
        drafts.addAll(targets.named(stem), 94, "track name only adds a trailing desk/voice suffix");
    }
    drafts.addAll(targets.namedWithSuffix(track.normalizedName), 92,
                  "bank/group name only adds a trailing desk/voice suffix");
    drafts.addAll(targets.prefixesOf(track.normalizedName), 86,
                  "track name starts with the bank/group name");
    drafts.addAll(targets.startingWith(track.normalizedName), 84,
                  "bank/group name starts with the track name");
    addContainmentHits(track, targets, drafts);
    addPrincipalInstrumentHits(track, targets, visibleRows, drafts);
    return drafts.finish();
}

std::vector<EstimatedAutoAssignCandidate> estimatedAutoAssignCandidates(
    std::string_view trackName, const std::vector<AutoAssignTarget>& targets) {
    const AutoAssignTargetIndex index(targets);
    return estimatedAutoAssignCandidates(AutoAssignTrack::make(0, trackName), index, {});
}

}  // namespace tessiva
