#include "repair/BlockMoveScore.h"

#include <algorithm>
#include <set>

#include "repair/CheckedArithmetic.h"

namespace tessiva::repair {
namespace {

int remapped(const std::map<int, int>& remap, int row) {
    const auto found = remap.find(row);
    return found == remap.end() ? row : found->second;
}

std::string boolText(bool value) {
    return value ? "true" : "false";
}

}  // namespace

std::vector<Unit> baselineUnits(const RepairInputs& inputs) {
    std::vector<Unit> units;
    units.reserve(inputs.baseline.size());
    for (std::size_t i = 0; i < inputs.baseline.size(); ++i) {
        const int start = inputs.baseline[i].first;
        const int end =
            i + 1 < inputs.baseline.size() ? inputs.baseline[i + 1].first : checkedAdd(start, 1);
        units.push_back({start, end, inputs.nameOf(inputs.baseline[i].second)});
    }
    return units;
}

std::map<int, int> denseRemapOf(const std::vector<Unit>& units, const BlockMove& move) {
    std::map<int, int> remap;
    int next = units[static_cast<std::size_t>(move.first)].start;
    const auto place = [&](int from, int to) {
        for (int u = from; u < to; ++u) {
            const Unit& unit = units[static_cast<std::size_t>(u)];
            for (int row = unit.start; row < unit.endExclusive; ++row)
                remap.emplace(row, checkedAdd(next, row - unit.start));
            next = checkedAdd(next, unit.endExclusive - unit.start);
        }
    };
    place(move.split, move.end);
    place(move.first, move.split);
    return remap;
}

MovedBlock movedBlockOf(const std::vector<Unit>& units, const BlockMove& move) {
    const bool firstRunMoves = move.split - move.first <= move.end - move.split;
    const int from = firstRunMoves ? move.first : move.split;
    const int to = firstRunMoves ? move.split : move.end;
    const Unit& head = units[static_cast<std::size_t>(from)];
    const Unit& tail = units[static_cast<std::size_t>(to - 1)];
    const auto remap = denseRemapOf(units, move);
    const int newFirst = remap.at(head.start);
    return {head.start, tail.endExclusive - 1, newFirst,
            checkedAdd(newFirst, tail.endExclusive - 1 - head.start)};
}

std::optional<Candidate> scoredBlockMove(const RepairInputs& inputs, std::map<int, int> denseRemap,
                                         const MovedBlock& moved, std::string summary,
                                         const std::string& detailPrefix, int toleratedFirst,
                                         int toleratedLast) {
    // Moving rows past the trusted maximum would also have to move the rows hidden behind the
    // last shown header, whose number is unknown.
    if (inputs.mappedBeyondTrustedMax) {
        for (const auto& [from, to] : denseRemap) {
            if (from == inputs.trustedMax && to != from)
                return std::nullopt;
        }
    }
    const auto inMoved = [&](int oldRow) {
        return oldRow >= moved.oldFirst && oldRow <= moved.oldLast;
    };
    int matches = 0, movedConfirmed = 0, visibleChanged = 0, hidden = 0, tolerated = 0;
    std::set<int> confirmedRows;
    int before = 0, after = 0;  // projected rows of the moved block's new neighbours
    int beforeId = RepairInputs::kNoName, afterId = RepairInputs::kNoName;
    for (const auto& [row, id] : inputs.baseline) {
        const int projected = remapped(denseRemap, row);
        switch (inputs.find(projected, id)) {
            case RowFinding::contradicted:
                if (row < toleratedFirst || row > toleratedLast)
                    return std::nullopt;
                ++tolerated;
                break;
            case RowFinding::hidden:
                // A moved track must be seen where it went: a hidden row there could as well
                // be a stack member that never moved.
                if (projected != row)
                    return std::nullopt;
                ++hidden;
                break;
            case RowFinding::confirmed:
                ++matches;
                confirmedRows.insert(projected);
                movedConfirmed += inMoved(row) ? 1 : 0;
                visibleChanged += projected != row ? 1 : 0;
                break;
        }
        if (!inMoved(row)) {
            if (projected < moved.newFirst && projected > before) {
                before = projected;
                beforeId = id;
            }
            if (projected > moved.newLast && (after == 0 || projected < after)) {
                after = projected;
                afterId = id;
            }
        }
    }
    int mappedConfirmed = 0;
    for (const auto& [row, id] : inputs.mapped) {
        if (inputs.find(remapped(denseRemap, row), id) == RowFinding::confirmed)
            ++mappedConfirmed;
    }
    const int edges =
        (before > 0 && inputs.find(before, beforeId) == RowFinding::confirmed ? 1 : 0) +
        (after > 0 && inputs.find(after, afterId) == RowFinding::confirmed ? 1 : 0);
    const int unexplained = inputs.currentAnchorCount - static_cast<int>(confirmedRows.size());
    const int partial = hidden + unexplained + tolerated;

    const bool collapsedOwnership =
        !inputs.ownership.empty() && inputs.ownership.size() < inputs.baseline.size();
    int ownershipHidden = 0;
    int ownershipMovedConfirmed = 0;
    int ownershipMoved = 0;
    for (const auto& [row, id] : inputs.ownership) {
        const RowFinding finding = inputs.find(remapped(denseRemap, row), id);
        if (finding == RowFinding::contradicted)
            return std::nullopt;
        ownershipHidden += finding == RowFinding::hidden ? 1 : 0;
        if (inMoved(row)) {
            ++ownershipMoved;
            ownershipMovedConfirmed += finding == RowFinding::confirmed ? 1 : 0;
        }
    }
    const bool exactOwnershipBlock =
        ownershipMoved > 0 && ownershipMovedConfirmed == ownershipMoved;

    int hint = 0;
    if (inputs.hasHint) {
        int projectedName = RepairInputs::kNoName;
        for (const auto& [row, id] : inputs.baseline) {
            if (remapped(denseRemap, row) == inputs.hintIndex)
                projectedName = id;
        }
        hint += inputs.hintNameId >= 0 && projectedName == inputs.hintNameId &&
                        inputs.currentAt(inputs.hintIndex) == inputs.hintNameId
                    ? 1
                    : 0;
        hint += inputs.hintIndex >= moved.newFirst && inputs.hintIndex <= moved.newLast ? 1 : 0;
    }

    int score = 78 + std::min(8 * matches, 90) + std::min(10 * movedConfirmed, 50) +
                std::min(4 * mappedConfirmed, 40) + std::min(16 * visibleChanged, 96) +
                std::min(24 * edges, 48) + std::min(16 * hint, 32) - std::min(30 * partial, 120);
    if (collapsedOwnership) {
        score += exactOwnershipBlock ? 30 : 0;
        score -= std::min(ownershipHidden, 40);
    }
    const bool terminalConfirmed =
        inputs.terminalIndex > 0 && inputs.find(remapped(denseRemap, inputs.terminalIndex),
                                                inputs.terminalNameId) == RowFinding::confirmed;
    if (terminalConfirmed)
        score += 35;
    else if (inputs.currentMax == inputs.trustedMax)
        score += 12;

    Candidate candidate;
    candidate.repair.kind = Engine::AppliedRepair::Kind::blockMove;
    candidate.repair.summary = std::move(summary);
    candidate.repair.confidence = score;
    candidate.score = score;
    candidate.detail = detailPrefix + " matches=" + std::to_string(matches) +
                       " partial=" + std::to_string(partial) +
                       " exactOwnershipBlock=" + boolText(exactOwnershipBlock) +
                       " visibleChanged=" + std::to_string(visibleChanged);
    for (const auto& [row, id] : inputs.mapped) {
        const auto found = denseRemap.find(row);
        if (found != denseRemap.end() && found->second != row)
            candidate.repair.mappingRemap.emplace(row, found->second);
    }
    candidate.repair.newVisibleBaseline = inputs.currentAnchors;
    for (const auto& [row, name] : inputs.state.ownershipBaseline)
        candidate.repair.newOwnershipBaseline.emplace(remapped(denseRemap, row), name);
    candidate.repair.newMaxObservedIndex = inputs.trustedMax;
    std::erase_if(denseRemap, [](const auto& entry) { return entry.first == entry.second; });
    candidate.denseRemap = std::move(denseRemap);
    return candidate;
}

std::vector<Candidate> withoutDuplicateRemaps(std::vector<Candidate> candidates) {
    std::vector<Candidate> unique;
    for (auto& candidate : candidates) {
        const bool seen = std::any_of(unique.begin(), unique.end(), [&](const Candidate& kept) {
            return kept.repair.mappingRemap == candidate.repair.mappingRemap;
        });
        if (!seen)
            unique.push_back(std::move(candidate));
    }
    return unique;
}

}  // namespace tessiva::repair
