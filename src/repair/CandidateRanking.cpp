#include "repair/CandidateRanking.h"

#include <algorithm>

namespace tessiva::repair {

std::string listedCandidates(const std::vector<Candidate>& candidates, bool withKind) {
    std::string text;
    for (std::size_t i = 0; i < candidates.size() && i < 4; ++i) {
        if (i > 0)
            text += " | ";
        if (withKind)
            text += std::string(name(candidates[i].repair.kind)) + ":";
        text += std::to_string(candidates[i].score) + " " + candidates[i].detail;
    }
    return text;
}

std::optional<std::string> rankAndFindHold(std::vector<Candidate>& candidates,
                                           const SameRepair& sameRepair) {
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) {
                         if (a.score != b.score)
                             return a.score > b.score;
                         return a.repair.summary < b.repair.summary;
                     });
    if (sameRepair) {
        std::vector<Candidate> unique;
        for (Candidate& candidate : candidates) {
            const bool duplicate =
                std::any_of(unique.begin(), unique.end(),
                            [&](const Candidate& kept) { return sameRepair(kept, candidate); });
            if (!duplicate)
                unique.push_back(std::move(candidate));
        }
        candidates = std::move(unique);
    }
    if (candidates.empty())
        return "No structural candidate survived scoring.";
    const int best = candidates.front().score;
    const int runnerUp = candidates.size() > 1 ? candidates[1].score : 0;
    if (best < Engine::kMinimumWinningScore) {
        return "Best structural candidate was too weak: score=" + std::to_string(best) + ". " +
               candidates.front().detail;
    }
    if (best - runnerUp < Engine::kMinimumLead)
        return "Structural edit remained ambiguous. candidates=" +
               listedCandidates(candidates, true);
    return std::nullopt;
}

}  // namespace tessiva::repair
