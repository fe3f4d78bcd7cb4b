// Unit-level block moves: the exact rotation and the general scored block move.
#include <algorithm>

#include "repair/BlockMoveDetectors.h"
#include "repair/BlockMoveScore.h"
#include "repair/CheckedArithmetic.h"
#include "repair/TrackAnchors.h"

namespace tessiva::repair {
namespace {

// A candidate explanation costs one comparison per unit; past this many the search stops and the
// change counts as ambiguous (only long runs of one repeated name get here).
constexpr long kComparisonBudget = 4'000'000;

struct Search {
    const RepairInputs& inputs;
    std::vector<Unit> units;
    std::vector<std::pair<int, int>> current;  // current anchors (row, id)
    long comparisons = 0;

    int unitCount() const { return static_cast<int>(units.size()); }
    int baseId(int unit) const { return inputs.baseline[static_cast<std::size_t>(unit)].second; }

    // Calls visit(unitIndex, newStart) for each unit of [first, end) in its new order.
    template <typename Visit>
    bool forEachPlaced(const BlockMove& move, Visit&& visit) {
        int next = units[static_cast<std::size_t>(move.first)].start;
        const auto place = [&](int from, int to) {
            for (int u = from; u < to; ++u) {
                ++comparisons;
                if (!visit(u, next))
                    return false;
                const Unit& unit = units[static_cast<std::size_t>(u)];
                next = checkedAdd(next, unit.endExclusive - unit.start);
            }
            return true;
        };
        return place(move.split, move.end) && place(move.first, move.split);
    }

    bool exactlyMatches(const BlockMove& move) {
        int position = move.first;
        return forEachPlaced(move, [&](int unit, int newStart) {
            const auto& [row, id] = current[static_cast<std::size_t>(position++)];
            return row == newStart && id == baseId(unit);
        });
    }

    bool meetsNoContradiction(const BlockMove& move) {
        return forEachPlaced(move, [&](int unit, int newStart) {
            return inputs.find(newStart, baseId(unit)) != RowFinding::contradicted;
        });
    }

    Candidate describe(const BlockMove& move, bool exact, bool& valid) {
        const MovedBlock moved = movedBlockOf(units, move);
        const std::string oldRange = rowRangeText(moved.oldFirst, moved.oldLast);
        const std::string newRange = rowRangeText(moved.newFirst, moved.newLast);
        const std::string destination = std::to_string(moved.newFirst);
        auto candidate =
            exact
                ? scoredBlockMove(inputs, denseRemapOf(units, move), moved,
                                  "Moved Logic block rows " + oldRange + " to row " + destination +
                                      " after the visible anchor sequence rotated exactly.",
                                  "exactRotation old=" + oldRange + " new=" + newRange)
                : scoredBlockMove(inputs, denseRemapOf(units, move), moved,
                                  "Moved Logic block rows " + oldRange + " to row " + destination +
                                      "; remapped affected mapping rows 1:1.",
                                  "generalBlockMove rows=" + oldRange + " to=" + destination);
        valid = candidate.has_value();
        return valid ? std::move(*candidate) : Candidate{};
    }
};

}  // namespace

std::vector<Candidate> exactRotationCandidates(const RepairInputs& inputs) {
    Search search{inputs, baselineUnits(inputs), {}, 0};
    for (const auto& [row, name] : inputs.currentAnchors)
        search.current.emplace_back(row, inputs.idOf(name));
    const int n = search.unitCount();
    if (n < 2 || static_cast<int>(search.current.size()) != n)
        return {};
    const auto same = [&](int u) {
        return search.units[static_cast<std::size_t>(u)].start ==
                   search.current[static_cast<std::size_t>(u)].first &&
               search.baseId(u) == search.current[static_cast<std::size_t>(u)].second;
    };
    int prefix = 0;
    while (prefix < n && same(prefix))
        ++prefix;
    int suffix = 0;
    while (suffix < n - prefix && same(n - 1 - suffix))
        ++suffix;
    const int windowEnd = n - suffix;
    if (prefix >= windowEnd)
        return {};

    std::vector<Candidate> found;
    for (int first = std::max(0, prefix - kBoundarySlack); first <= prefix; ++first) {
        for (int end = windowEnd; end <= std::min(n, windowEnd + kBoundarySlack); ++end) {
            const int leadId = search.current[static_cast<std::size_t>(first)].second;
            const int tailId = search.current[static_cast<std::size_t>(end - 1)].second;
            for (int split = first + 1; split < end; ++split) {
                if (search.baseId(split) != leadId || search.baseId(split - 1) != tailId)
                    continue;
                const BlockMove move{first, split, end};
                if (!search.exactlyMatches(move))
                    continue;
                bool valid = false;
                Candidate candidate = search.describe(move, true, valid);
                if (valid)
                    found.push_back(std::move(candidate));
                if (search.comparisons > kComparisonBudget) {
                    // Unfinished: only a proven ambiguity may be reported.
                    found = withoutDuplicateRemaps(std::move(found));
                    return found.size() > 1 ? std::move(found) : std::vector<Candidate>{};
                }
            }
        }
    }
    return withoutDuplicateRemaps(std::move(found));
}

std::vector<Candidate> generalBlockMoveCandidates(const RepairInputs& inputs) {
    Search search{inputs, baselineUnits(inputs), {}, 0};
    const int n = search.unitCount();
    int firstUnstable = -1;
    int lastUnstable = -1;
    for (int u = 0; u < n; ++u) {
        const auto& [row, id] = inputs.baseline[static_cast<std::size_t>(u)];
        if (inputs.find(row, id) != RowFinding::confirmed) {
            if (firstUnstable < 0)
                firstUnstable = u;
            lastUnstable = u;
        }
    }
    if (firstUnstable < 0 || lastUnstable - firstUnstable + 1 > kGeneralWindowLimit)
        return {};
    const int windowEnd = lastUnstable + 1;
    std::vector<Candidate> found;
    for (int first = std::max(0, firstUnstable - kBoundarySlack); first <= firstUnstable; ++first) {
        for (int end = windowEnd; end <= std::min(n, windowEnd + kBoundarySlack); ++end) {
            for (int split = first + 1; split < end; ++split) {
                const BlockMove move{first, split, end};
                if (!search.meetsNoContradiction(move))
                    continue;
                bool valid = false;
                Candidate candidate = search.describe(move, false, valid);
                if (valid)
                    found.push_back(std::move(candidate));
                if (search.comparisons > kComparisonBudget)
                    return {};
            }
        }
    }
    return withoutDuplicateRemaps(std::move(found));
}

}  // namespace tessiva::repair
