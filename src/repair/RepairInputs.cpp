#include "repair/RepairInputs.h"

#include <algorithm>

#include "repair/CheckedArithmetic.h"
#include "repair/TrackAnchors.h"

namespace tessiva::repair {

RepairInputs::RepairInputs(const Engine::State& engineState, const Engine::Evidence& engineEvidence,
                           const RowMap& baselineAnchorRows, const RowMap& currentAnchorRows)
    : state(engineState),
      evidence(engineEvidence),
      baselineAnchors(baselineAnchorRows),
      currentAnchors(currentAnchorRows) {
    for (const auto& [row, name] : baselineAnchors)
        baseline.emplace_back(row, intern(name));
    for (const auto& [row, name] : anchorsOf(state.ownershipBaseline))
        ownership.emplace_back(row, intern(name));

    currentMax = highestRow(currentAnchors).value_or(0);
    currentAnchorCount = static_cast<int>(currentAnchors.size());
    // Only rows up to the highest shown row are stored; blank rows beyond it cannot confirm.
    current_.assign(static_cast<std::size_t>(checkedAdd(currentMax, 1)), kAbsent);
    for (const auto& [row, name] : evidence.currentVisibleSnapshot) {
        if (row >= 1 && row <= currentMax)
            current_[static_cast<std::size_t>(row)] = kBlank;
    }
    for (const auto& [row, name] : currentAnchors)
        current_[static_cast<std::size_t>(row)] = intern(name);
    currentAnchorPrefix_.assign(current_.size() + 1, 0);
    for (std::size_t row = 0; row < current_.size(); ++row)
        currentAnchorPrefix_[row + 1] = currentAnchorPrefix_[row] + (current_[row] >= 0 ? 1 : 0);

    trustedMax = state.maxObservedIndex.value_or(highestRow(baselineAnchors).value_or(0));
    sparseVisibility = 2 * currentAnchors.size() < baselineAnchors.size();

    for (int row : evidence.mappedIndices) {
        const auto recorded = evidence.mappedNamesByIndex.find(row);
        const std::string name = recorded == evidence.mappedNamesByIndex.end()
                                     ? ""
                                     : normalizedTrackName(recorded->second);
        mapped.emplace_back(row, name.empty() ? kNoName : idOf(name));
        if (row > trustedMax)
            mappedBeyondTrustedMax = true;
    }

    if (state.terminalAnchorIndex && state.terminalAnchorName) {
        const std::string name = normalizedTrackName(*state.terminalAnchorName);
        if (!name.empty()) {
            terminalIndex = *state.terminalAnchorIndex;
            terminalNameId = idOf(name);
        }
    }
    if (evidence.selectedHint && evidence.selectedHint->index > 0) {
        hasHint = true;
        hintIndex = evidence.selectedHint->index;
        const std::string name = normalizedTrackName(evidence.selectedHint->name);
        hintNameId = name.empty() ? kNoName : idOf(name);
    }
}

int RepairInputs::intern(const std::string& normalizedName) {
    const auto [found, inserted] =
        ids_.try_emplace(normalizedName, static_cast<int>(names_.size()));
    if (inserted)
        names_.push_back(normalizedName);
    return found->second;
}

int RepairInputs::idOf(const std::string& normalizedName) const {
    const auto found = ids_.find(normalizedName);
    return found == ids_.end() ? kNoName : found->second;
}

int RepairInputs::baselineIdAt(int row) const {
    const auto found = std::lower_bound(baseline.begin(), baseline.end(), std::pair{row, -1000});
    return found != baseline.end() && found->first == row ? found->second : kNoName;
}

int RepairInputs::currentAnchorsBetween(int first, int last) const {
    const int size = static_cast<int>(current_.size());
    first = std::clamp(first, 0, size);
    last = std::clamp(checkedAdd(last, 1), 0, size);
    if (last <= first)
        return 0;
    return currentAnchorPrefix_[static_cast<std::size_t>(last)] -
           currentAnchorPrefix_[static_cast<std::size_t>(first)];
}

}  // namespace tessiva::repair
