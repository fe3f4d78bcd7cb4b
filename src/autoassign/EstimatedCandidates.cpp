#include "autoassign/EstimatedCandidates.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <set>

#include "autoassign/AutoAssignName.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

struct Draft {
    std::size_t target;
    int points;
    // The reasons of the rules that hit, in rule order; they outlive the drafts.
    std::array<std::string_view, 8> reasons;
    std::size_t reasonCount;
};

// Collects rule hits, merging hits on one target.
class Drafts {
  public:
    Drafts(const AutoAssignTrack& track, const AutoAssignTargetIndex& targets)
        : track_(track), targets_(targets), positions_(targets.size(), kNone) {}

    void add(std::size_t target, int points, std::string_view reason) {
        const PreparedAutoAssignTarget& prepared = targets_[target];
        if (prepared.normalizedName.empty() || prepared.normalizedName == track_.normalizedName)
            return;
        std::size_t& position = positions_[target];
        if (position == kNone) {
            position = drafts_.size();
            drafts_.push_back({target, points, {reason}, 1});
            return;
        }
        Draft& draft = drafts_[position];
        draft.points = std::min(kMergeCapPoints, draft.points + kMergeBonusPoints);
        if (draft.reasonCount < draft.reasons.size())
            draft.reasons[draft.reasonCount++] = reason;
    }
    // Keeps a reason built for this track alive until the candidates are made.
    std::string_view own(std::string reason) { return owned_.emplace_back(std::move(reason)); }
    void addAll(const std::vector<std::size_t>& targets, int points, std::string_view reason) {
        for (std::size_t target : targets)
            add(target, points, reason);
    }

    std::vector<EstimatedAutoAssignCandidate> finish() {
        std::stable_sort(drafts_.begin(), drafts_.end(),
                         [](const Draft& a, const Draft& b) { return a.points > b.points; });
        const std::size_t offered = std::min(drafts_.size(), kMaxEstimatedCandidates);
        std::vector<EstimatedAutoAssignCandidate> candidates;
        candidates.reserve(offered);
        for (std::size_t i = 0; i < offered; ++i) {
            const Draft& draft = drafts_[i];
            std::string reason;
            for (std::size_t r = 0; r < draft.reasonCount; ++r) {
                if (r > 0)
                    reason += "; ";
                reason += draft.reasons[r];
            }
            candidates.push_back({makeUUID(), targets_[draft.target].target, draft.points / 100.0,
                                  std::move(reason)});
        }
        return candidates;
    }

  private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    const AutoAssignTrack& track_;
    const AutoAssignTargetIndex& targets_;
    std::vector<Draft> drafts_;
    std::vector<std::size_t> positions_;
    std::deque<std::string> owned_;
};

void addContainmentHits(const AutoAssignTrack& track, const AutoAssignTargetIndex& targets,
                        Drafts& drafts) {
    std::vector<std::string_view> distinct(track.tokens.begin(), track.tokens.end());
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    std::vector<std::uint16_t> held(targets.size(), 0);
    std::vector<std::size_t> touched;
    for (const auto token : distinct) {
        for (std::size_t target : targets.holding(token)) {
            if (held[target]++ == 0)
                touched.push_back(target);
        }
    }
    std::erase_if(touched, [&](std::size_t target) {
        return held[target] != targets.distinctTokenCount(target);
    });
    std::sort(touched.begin(), touched.end());
    for (std::size_t target : touched) {
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
        track.index, track.tokens.size(), targets.groupsOfFamily(*track.principal), visibleRows);
    const std::string_view contextReason =
        context ? drafts.own("same principal instrument; nearby stack header " +
                             AutoAssignGroupContextResolver::describe(*context) +
                             " matches the bank context")
                : std::string_view();
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
        if (target.groupUUID && seen.insert(*target.groupUUID).second) {
            groups.push_back(
                {*target.groupUUID, target.groupName, targets.groupTokens(*target.groupUUID)});
        }
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
