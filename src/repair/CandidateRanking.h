#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "repair/RepairInputs.h"

namespace tessiva::repair {

// The winning rule every scored family shares. Pure; main queue.

// Sorts best first (equal scores by summary, ascending), drops every candidate that `sameRepair`
// calls a duplicate of a better one, and returns the hold text when the best score is below 100
// or less than 15 points ahead of the runner-up (0 when alone); absent when the first wins.
using SameRepair = std::function<bool(const Candidate&, const Candidate&)>;
std::optional<std::string> rankAndFindHold(std::vector<Candidate>& candidates,
                                           const SameRepair& sameRepair = {});

// The first four candidates as "score detail" (with `withKind`, "kind:score detail"), joined by
// " | ".
std::string listedCandidates(const std::vector<Candidate>& candidates, bool withKind);

}  // namespace tessiva::repair
