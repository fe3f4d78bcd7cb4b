#include "repair/OffsetCandidates.h"

#include <algorithm>
#include <string>

#include "repair/CheckedArithmetic.h"

namespace tessiva::repair {
namespace {

struct Tally {
    int confirmed = 0;
    int contradicted = 0;
    int hidden = 0;

    void add(RowFinding finding) {
        switch (finding) {
            case RowFinding::confirmed:
                ++confirmed;
                break;
            case RowFinding::contradicted:
                ++contradicted;
                break;
            case RowFinding::hidden:
                ++hidden;
                break;
        }
    }
    Tally operator+(const Tally& other) const {
        return {confirmed + other.confirmed, contradicted + other.contradicted,
                hidden + other.hidden};
    }
};

// Findings of rows that keep their place (prefix sums) and of rows that move by `offset`
// (suffix sums), so any split point is read in constant time.
struct SplitTallies {
    SplitTallies(const RepairInputs& inputs, const std::vector<std::pair<int, int>>& rows,
                 int offset)
        : entries(&rows), stay(rows.size() + 1), moved(rows.size() + 1) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            stay[i + 1] = stay[i];
            stay[i + 1].add(inputs.find(rows[i].first, rows[i].second));
        }
        for (std::size_t i = rows.size(); i-- > 0;) {
            moved[i] = moved[i + 1];
            moved[i].add(inputs.find(checkedAdd(rows[i].first, offset), rows[i].second));
        }
    }
    // Index of the first entry on a row >= `row`.
    std::size_t firstAtOrAfter(int row) const {
        return static_cast<std::size_t>(
            std::lower_bound(entries->begin(), entries->end(), std::pair{row, -1000}) -
            entries->begin());
    }

    const std::vector<std::pair<int, int>>* entries;
    std::vector<Tally> stay;
    std::vector<Tally> moved;
};

std::string boolText(bool value) {
    return value ? "true" : "false";
}

int furtherConfirmations(const RepairInputs& inputs, const Tally& baseline, int explainedCurrent,
                         const Tally& mapped, const Tally& ownership) {
    int count = 0;
    count += baseline.hidden == 0 ? 1 : 0;
    count += explainedCurrent == inputs.currentAnchorCount ? 1 : 0;
    count += mapped.confirmed > 0 && mapped.contradicted == 0 ? 1 : 0;
    count += !inputs.ownership.empty() && ownership.confirmed > 0 ? 1 : 0;
    return count;
}

bool terminalConfirmedAt(const RepairInputs& inputs, int offset) {
    if (inputs.terminalIndex <= 0)
        return false;
    return inputs.currentAt(checkedAdd(inputs.terminalIndex, offset)) == inputs.terminalNameId;
}

// Rows of the ownership view, projected by a split at `pivot` moving later rows by `offset`;
// rows in [dropFirst, dropEnd) are removed first.
RowMap projectedRows(const RowMap& rows, int pivot, int offset, int dropFirst, int dropEnd) {
    RowMap projected;
    for (const auto& [row, name] : rows) {
        if (row >= dropFirst && row < dropEnd)
            continue;
        projected.emplace(row < pivot ? row : checkedAdd(row, offset), name);
    }
    return projected;
}

}  // namespace

std::vector<Candidate> insertionCandidates(const RepairInputs& inputs, int k) {
    std::vector<Candidate> candidates;
    const int maxRow = inputs.trustedMax;
    if (maxRow < 1)
        return candidates;
    const int endPivot = checkedAdd(maxRow, 1);
    const SplitTallies baseline(inputs, inputs.baseline, k);
    const SplitTallies ownership(inputs, inputs.ownership, k);
    const SplitTallies mapped(inputs, inputs.mapped, k);
    const bool terminalConfirmed = terminalConfirmedAt(inputs, k);

    std::vector<int> pivots;
    for (int p = 1; p <= endPivot; ++p)
        pivots.push_back(p);
    if (inputs.hasHint && inputs.hintIndex > endPivot)
        pivots.push_back(inputs.hintIndex);

    for (const int p : pivots) {
        const std::size_t b = baseline.firstAtOrAfter(p);
        const std::size_t o = ownership.firstAtOrAfter(p);
        const std::size_t m = mapped.firstAtOrAfter(p);
        const Tally before = baseline.stay[b];
        const Tally after = baseline.moved[b];
        const Tally all = before + after;
        const Tally owned = ownership.stay[o] + ownership.moved[o];
        if (all.contradicted > 0 || owned.contradicted > 0)
            continue;
        const bool atEnd = p == endPivot;
        const int shifted = after.confirmed;
        const int stableBefore = before.confirmed;
        const int hiddenProjected = all.hidden;
        if (!inputs.hasHint && !atEnd && shifted == 0 && !terminalConfirmed)
            continue;
        // An append leaves the last baseline row in place, so it must still be seen there.
        const bool endOpen = atEnd && (hiddenProjected == 0 ||
                                       inputs.currentAt(maxRow) == inputs.baselineIdAt(maxRow));
        if (hiddenProjected > 0 && !endOpen &&
            !(shifted >= 2 && inputs.sparseVisibility && terminalConfirmed))
            continue;

        const int lastInserted = checkedAdd(p, k - 1);
        const int explained =
            checkedAdd(all.confirmed, inputs.currentAnchorsBetween(p, lastInserted));
        // A shown track the projection does not account for means more happened than this edit.
        if (explained != inputs.currentAnchorCount)
            continue;
        const int further =
            furtherConfirmations(inputs, all, explained, mapped.stay[m] + mapped.moved[m], owned);
        int score = 70 + std::min(18 * shifted, 80) + std::min(4 * stableBefore, 30) + 4 * further;
        score += terminalConfirmed ? 35 : 0;
        score += atEnd ? 15 : 0;
        if (inputs.hasHint) {
            const int h = inputs.hintIndex;
            const bool agrees =
                inputs.hintNameId >= 0 &&
                ((h < p && inputs.baselineIdAt(h) == inputs.hintNameId) ||
                 (h > lastInserted && inputs.baselineIdAt(checkedSub(h, k)) == inputs.hintNameId));
            score += agrees ? 28 : 0;
            score += h >= p && h <= lastInserted ? 20 : 0;
        }
        if (!inputs.sparseVisibility)
            score -= checkedMul(8, hiddenProjected);

        Candidate candidate;
        candidate.repair.kind = Engine::AppliedRepair::Kind::insertionOffset;
        candidate.repair.summary = "Inserted " + std::to_string(k) + " Logic row(s) at row " +
                                   std::to_string(p) +
                                   "; shifted mappings at/after that row upward.";
        candidate.score = score;
        candidate.repair.confidence = score;
        candidate.detail = "pivot=" + std::to_string(p) + " shifted=" + std::to_string(shifted) +
                           " stableBefore=" + std::to_string(stableBefore) +
                           " hiddenProjected=" + std::to_string(hiddenProjected) +
                           " sparseVisibility=" + boolText(inputs.sparseVisibility);
        candidate.offsetStart = p;
        candidate.exact = hiddenProjected == 0 && explained == inputs.currentAnchorCount;
        candidate.mayWin = !(atEnd && inputs.mappedBeyondTrustedMax);
        candidates.push_back(std::move(candidate));
    }
    return candidates;
}

std::vector<Candidate> deletionCandidates(const RepairInputs& inputs, int k) {
    std::vector<Candidate> candidates;
    const int maxRow = inputs.trustedMax;
    if (maxRow < 1 || k > maxRow)
        return candidates;
    const SplitTallies baseline(inputs, inputs.baseline, -k);
    const SplitTallies ownership(inputs, inputs.ownership, -k);
    const SplitTallies mapped(inputs, inputs.mapped, -k);
    const bool terminalConfirmed = terminalConfirmedAt(inputs, -k);
    const int pastCurrentEnd = checkedAdd(inputs.currentMax, 1);
    const int lastStart = checkedAdd(checkedSub(maxRow, k), 1);

    for (int s = 1; s <= lastStart; ++s) {
        const int afterBlock = checkedAdd(s, k);
        const std::size_t bFirst = baseline.firstAtOrAfter(s);
        const std::size_t bAfter = baseline.firstAtOrAfter(afterBlock);
        const std::size_t oFirst = ownership.firstAtOrAfter(s);
        const std::size_t oAfter = ownership.firstAtOrAfter(afterBlock);
        const std::size_t mFirst = mapped.firstAtOrAfter(s);
        const std::size_t mAfter = mapped.firstAtOrAfter(afterBlock);
        const Tally before = baseline.stay[bFirst];
        const Tally after = baseline.moved[bAfter];
        const Tally all = before + after;
        const Tally owned = ownership.stay[oFirst] + ownership.moved[oAfter];
        if (all.contradicted > 0 || owned.contradicted > 0)
            continue;
        const bool atEnd = s == pastCurrentEnd;
        const int shifted = after.confirmed;
        const int stableBefore = before.confirmed;
        const int hiddenProjected = all.hidden;
        if (shifted == 0 && !atEnd && !terminalConfirmed)
            continue;
        // Rows cut from the end leave the highest shown row in place, so it must be seen there.
        const bool endOpen =
            atEnd && (hiddenProjected == 0 || inputs.currentAt(inputs.currentMax) ==
                                                  inputs.baselineIdAt(inputs.currentMax));
        if (hiddenProjected > 0 && !endOpen &&
            !(shifted >= 2 && inputs.sparseVisibility && terminalConfirmed))
            continue;

        if (all.confirmed != inputs.currentAnchorCount)
            continue;
        const int ownershipDeleted = static_cast<int>(oAfter - oFirst);
        const bool exactOwnershipBlock = ownershipDeleted == k;
        const int further = furtherConfirmations(inputs, all, all.confirmed,
                                                 mapped.stay[mFirst] + mapped.moved[mAfter], owned);
        int score = 72 + std::min(20 * shifted, 90) + std::min(4 * stableBefore, 30) + 4 * further;
        score += terminalConfirmed ? 35 : 0;
        score += atEnd ? 15 : 0;
        if (inputs.hasHint && inputs.hintNameId >= 0 &&
            inputs.currentAt(inputs.hintIndex) == inputs.hintNameId) {
            const int h = inputs.hintIndex;
            if (h == s && inputs.baselineIdAt(afterBlock) == inputs.hintNameId)
                score += 60;
            else if (h > s && inputs.baselineIdAt(checkedAdd(h, k)) == inputs.hintNameId)
                score += 18;
            else if (h < s && inputs.baselineIdAt(h) == inputs.hintNameId)
                score += 6;
        }
        score += std::min(12 * ownershipDeleted, 24);
        if (!inputs.sparseVisibility)
            score -= checkedMul(8, hiddenProjected);

        Candidate candidate;
        candidate.repair.kind = Engine::AppliedRepair::Kind::deletionOffset;
        candidate.repair.summary =
            "Deleted " + std::to_string(k) + " Logic row(s) from row " + std::to_string(s) +
            "; removed affected mappings and shifted later mappings downward.";
        candidate.score = score;
        candidate.repair.confidence = score;
        candidate.detail = "deletedStart=" + std::to_string(s) +
                           " shifted=" + std::to_string(shifted) +
                           " stableBefore=" + std::to_string(stableBefore) +
                           " hiddenProjected=" + std::to_string(hiddenProjected) +
                           " sparseVisibility=" + boolText(inputs.sparseVisibility) +
                           " exactOwnershipBlock=" + boolText(exactOwnershipBlock);
        candidate.offsetStart = s;
        candidate.exact = hiddenProjected == 0 && all.confirmed == inputs.currentAnchorCount;
        candidate.mayWin = !(atEnd && mFirst < inputs.mapped.size());
        candidates.push_back(std::move(candidate));
    }
    return candidates;
}

bool offsetsMoveMappingsAlike(const RepairInputs& inputs, const Candidate& a, const Candidate& b,
                              int k, bool deletion) {
    if (a.offsetStart == b.offsetStart)
        return true;
    const int low = std::min(a.offsetStart, b.offsetStart);
    int high = std::max(a.offsetStart, b.offsetStart);
    if (deletion)
        high = checkedAdd(high, k);
    const auto first =
        std::lower_bound(inputs.mapped.begin(), inputs.mapped.end(), std::pair{low, -1000});
    return first == inputs.mapped.end() || first->first >= high;
}

Engine::AppliedRepair completedInsertion(const RepairInputs& inputs, const Candidate& winner,
                                         int k) {
    Engine::AppliedRepair repair = winner.repair;
    const int p = winner.offsetStart;
    for (const auto& [row, nameId] : inputs.mapped) {
        if (row >= p)
            repair.mappingRemap.emplace(row, checkedAdd(row, k));
    }
    for (int row = p; row < checkedAdd(p, k); ++row)
        repair.insertedIndices.push_back(row);
    repair.newVisibleBaseline = inputs.currentAnchors;
    repair.newOwnershipBaseline = projectedRows(inputs.state.ownershipBaseline, p, k, 0, 0);
    for (const int row : repair.insertedIndices) {
        const auto shown = inputs.currentAnchors.find(row);
        if (shown != inputs.currentAnchors.end())
            repair.newOwnershipBaseline[row] = shown->second;
    }
    repair.newMaxObservedIndex = checkedAdd(inputs.trustedMax, k);
    return repair;
}

Engine::AppliedRepair completedDeletion(const RepairInputs& inputs, const Candidate& winner,
                                        int k) {
    Engine::AppliedRepair repair = winner.repair;
    const int s = winner.offsetStart;
    const int afterBlock = checkedAdd(s, k);
    for (const auto& [row, nameId] : inputs.mapped) {
        if (row >= afterBlock)
            repair.mappingRemap.emplace(row, checkedSub(row, k));
    }
    for (int row = s; row < afterBlock; ++row)
        repair.deletedIndices.push_back(row);
    repair.newVisibleBaseline = inputs.currentAnchors;
    repair.newOwnershipBaseline =
        projectedRows(inputs.state.ownershipBaseline, afterBlock, -k, s, afterBlock);
    repair.newMaxObservedIndex = checkedSub(inputs.trustedMax, k);
    return repair;
}

}  // namespace tessiva::repair
