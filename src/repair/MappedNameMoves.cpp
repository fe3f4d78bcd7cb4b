// Reorders proven by the names the mappings recorded: the crossed-over swap and the mapped-range
// rotation.
#include <algorithm>
#include <map>

#include "repair/BlockMoveDetectors.h"
#include "repair/BlockMoveScore.h"
#include "repair/CheckedArithmetic.h"
#include "repair/TrackAnchors.h"

namespace tessiva::repair {
namespace {

// A row whose next row is hidden carries collapsed stack members with it when it moves.
bool carriesHiddenRows(const RepairInputs& inputs, int row) {
    const int next = checkedAdd(row, 1);
    return next <= inputs.trustedMax && inputs.currentAt(next) == RepairInputs::kAbsent;
}

}  // namespace

std::optional<Candidate> crossedOverSwap(const RepairInputs& inputs) {
    std::vector<int> changed;
    for (const auto& [row, id] : inputs.baseline) {
        if (inputs.find(row, id) != RowFinding::confirmed)
            changed.push_back(row);
        if (changed.size() > 2)
            return std::nullopt;
    }
    if (changed.size() != 2)
        return std::nullopt;
    for (const auto& [row, name] : inputs.currentAnchors) {
        if (inputs.baselineIdAt(row) == RepairInputs::kNoName)
            return std::nullopt;  // a row the baseline did not show: not a plain swap
    }
    const int a = changed[0];
    const int b = changed[1];
    const auto recorded = [&](int row) {
        const auto found =
            std::lower_bound(inputs.mapped.begin(), inputs.mapped.end(), std::pair{row, -1000});
        return found != inputs.mapped.end() && found->first == row ? found->second
                                                                   : RepairInputs::kNoName;
    };
    const int shownAtA = inputs.currentAt(a);
    const int shownAtB = inputs.currentAt(b);
    if (shownAtA < 0 || shownAtB < 0)
        return std::nullopt;
    const bool baselineCrossed =
        shownAtA == inputs.baselineIdAt(b) && shownAtB == inputs.baselineIdAt(a);
    const bool mappingsCrossed = shownAtA == recorded(b) && shownAtB == recorded(a);
    if (!baselineCrossed || !mappingsCrossed)
        return std::nullopt;
    if (carriesHiddenRows(inputs, a) || carriesHiddenRows(inputs, b))
        return std::nullopt;
    return scoredBlockMove(inputs, {{a, b}, {b, a}}, MovedBlock{a, a, b, b},
                           "Swapped Logic rows " + std::to_string(a) + " and " + std::to_string(b) +
                               " after visible mapped names crossed over exactly.",
                           "mappedTwoRowSwap rows=" + std::to_string(a) + "," + std::to_string(b));
}

std::optional<Candidate> mappedRangeRotation(const RepairInputs& inputs) {
    // Mapped rows shown in the capture, with their recorded and their shown names.
    std::vector<int> rows;
    std::vector<int> recorded;
    std::vector<int> shown;
    for (const auto& [row, id] : inputs.mapped) {
        const int now = inputs.currentAt(row);
        if (now < 0)
            continue;
        rows.push_back(row);
        recorded.push_back(id);
        shown.push_back(now);
    }
    const int n = static_cast<int>(rows.size());
    int prefix = 0;
    while (prefix < n &&
           recorded[static_cast<std::size_t>(prefix)] == shown[static_cast<std::size_t>(prefix)])
        ++prefix;
    int suffix = 0;
    while (suffix < n - prefix && recorded[static_cast<std::size_t>(n - 1 - suffix)] ==
                                      shown[static_cast<std::size_t>(n - 1 - suffix)])
        ++suffix;
    const int windowEnd = n - suffix;
    if (prefix >= windowEnd)
        return std::nullopt;

    std::vector<std::map<int, int>> remaps;
    std::vector<BlockMove> moves;
    for (int first = std::max(0, prefix - kBoundarySlack); first <= prefix; ++first) {
        for (int end = windowEnd; end <= std::min(n, windowEnd + kBoundarySlack); ++end) {
            for (int split = first + 1; split < end; ++split) {
                // New order: recorded[split..end) then recorded[first..split).
                bool matches = true;
                for (int t = 0; t < end - first && matches; ++t) {
                    const int from = t < end - split ? split + t : first + (t - (end - split));
                    matches = recorded[static_cast<std::size_t>(from)] ==
                              shown[static_cast<std::size_t>(first + t)];
                }
                if (!matches)
                    continue;
                std::map<int, int> remap;
                for (int t = 0; t < end - first; ++t) {
                    const int from = t < end - split ? split + t : first + (t - (end - split));
                    remap.emplace(rows[static_cast<std::size_t>(from)],
                                  rows[static_cast<std::size_t>(first + t)]);
                }
                std::erase_if(remap, [](const auto& entry) { return entry.first == entry.second; });
                if (std::find(remaps.begin(), remaps.end(), remap) == remaps.end()) {
                    remaps.push_back(std::move(remap));
                    moves.push_back({first, split, end});
                }
            }
        }
    }
    if (remaps.size() != 1)
        return std::nullopt;
    const BlockMove move = moves.front();
    const int firstRow = rows[static_cast<std::size_t>(move.first)];
    const int lastRow = rows[static_cast<std::size_t>(move.end - 1)];
    if (inputs.currentMax != inputs.trustedMax)
        return std::nullopt;
    for (int row = firstRow; row <= lastRow; ++row) {
        if (inputs.currentAt(row) == RepairInputs::kAbsent)
            return std::nullopt;
    }
    if (carriesHiddenRows(inputs, lastRow))
        return std::nullopt;
    for (const auto& [row, id] : inputs.baseline) {
        if ((row < firstRow || row > lastRow) && inputs.find(row, id) != RowFinding::confirmed)
            return std::nullopt;
    }
    // The shorter run is the one said to have moved.
    const bool firstRunMoves = move.split - move.first <= move.end - move.split;
    const int from = firstRunMoves ? move.first : move.split;
    const int to = firstRunMoves ? move.split : move.end;
    const int oldFirst = rows[static_cast<std::size_t>(from)];
    const int oldLast = rows[static_cast<std::size_t>(to - 1)];
    const std::map<int, int>& remap = remaps.front();
    const auto newRow = [&](int row) {
        const auto found = remap.find(row);
        return found == remap.end() ? row : found->second;
    };
    const int newFirst = newRow(oldFirst);
    const int newLast = newRow(oldLast);
    const std::string oldRange = rowRangeText(oldFirst, oldLast);
    return scoredBlockMove(
        inputs, remap,
        MovedBlock{oldFirst, oldLast, std::min(newFirst, newLast), std::max(newFirst, newLast)},
        "Moved Logic mapped row block " + oldRange + " to row " + std::to_string(newFirst) +
            " after visible mapped names rotated exactly.",
        "mappedRangeBlockMove old=" + oldRange + " new=" + rowRangeText(newFirst, newLast),
        firstRow, lastRow);
}

}  // namespace tessiva::repair
