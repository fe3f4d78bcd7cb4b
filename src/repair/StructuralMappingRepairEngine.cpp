#include "repair/StructuralMappingRepairEngine.h"

#include <algorithm>

#include "repair/BlockMoveDetectors.h"
#include "repair/CandidateRanking.h"
#include "repair/CheckedArithmetic.h"
#include "repair/OffsetCandidates.h"
#include "repair/RepairInputs.h"
#include "repair/TrackAnchors.h"

namespace tessiva {

using repair::Candidate;

namespace {

// The combined names the visibility-only test checks against: ownership anchors (or the visible
// baseline when there are none) overlaid with the visible-baseline anchors.
RowMap knownNames(const StructuralMappingRepairEngine::State& state, const RowMap& baseline) {
    RowMap known = repair::anchorsOf(state.ownershipBaseline);
    if (known.empty())
        known = baseline;
    for (const auto& [row, name] : baseline)
        known[row] = name;
    return known;
}

}  // namespace

void StructuralMappingRepairEngine::replaceVisibleBaseline(RowMap anchors) {
    state.visibleBaseline = std::move(anchors);
    if (state.visibleBaseline.empty())
        return;
    const auto& [row, name] = *state.visibleBaseline.rbegin();
    const std::string normalized = repair::normalizedTrackName(name);
    if (!normalized.empty()) {
        state.terminalAnchorIndex = row;
        state.terminalAnchorName = normalized;
    }
}

void StructuralMappingRepairEngine::acceptBaseline(const RowMap& snapshot,
                                                   const std::set<int>& mappedIndices,
                                                   std::string_view reason) {
    RowMap anchors = repair::anchorsOf(snapshot);
    if (anchors.empty())
        return;
    if (repair::shouldReplaceOwnershipBaseline(repair::anchorsOf(state.ownershipBaseline), anchors,
                                               mappedIndices, reason))
        state.ownershipBaseline = anchors;
    state.maxObservedIndex = anchors.rbegin()->first;
    replaceVisibleBaseline(std::move(anchors));
}

StructuralMappingRepairEngine::Decision StructuralMappingRepairEngine::evaluate(
    const Evidence& evidence) {
    const RowMap current = repair::anchorsOf(evidence.currentVisibleSnapshot);
    if (current.empty())
        return Decision::hold("Current Logic visible-anchor snapshot is empty.");
    if (!state.maxObservedIndex || state.visibleBaseline.empty()) {
        acceptBaseline(current, evidence.mappedIndices, "first structural evidence");
        return Decision::noChange(
            "Accepted first structural evidence as the reconciliation baseline.");
    }
    // The trusted baseline is kept as anchors; normalise only a state set from elsewhere.
    RowMap normalizedBaseline;
    const bool baselineIsAnchors = repair::isAnchorMap(state.visibleBaseline);
    if (!baselineIsAnchors)
        normalizedBaseline = repair::anchorsOf(state.visibleBaseline);
    const RowMap& baseline = baselineIsAnchors ? state.visibleBaseline : normalizedBaseline;
    if (baseline.empty())
        return Decision::hold("Trusted visible-anchor baseline is empty.");
    if (repair::sameAnchors(baseline, current)) {
        state.maxObservedIndex = current.rbegin()->first;
        replaceVisibleBaseline(current);
        return Decision::noChange(
            "Settled Logic snapshot matches the trusted reconciliation baseline.");
    }

    const int delta = repair::checkedSub(current.rbegin()->first, *state.maxObservedIndex);
    const repair::RepairInputs inputs(state, evidence, baseline, current);
    std::vector<Candidate> candidates;
    if (delta == 0) {
        if (repair::isVisibilityOnlyChange(baseline, current, evidence.mappedIndices,
                                           evidence.mappedNamesByIndex,
                                           knownNames(state, baseline))) {
            state.maxObservedIndex = current.rbegin()->first;
            replaceVisibleBaseline(current);
            return Decision::noChange("Accepted AX visibility-only structural baseline refresh.");
        }
        std::vector<Candidate> rotations = repair::exactRotationCandidates(inputs);
        if (rotations.size() > 1) {
            return Decision::hold("Exact visible block rotation remained ambiguous. candidates=" +
                                  repair::listedCandidates(rotations, false));
        }
        std::optional<Candidate> exact;
        if (rotations.size() == 1)
            exact = std::move(rotations.front());
        if (!exact)
            exact = repair::crossedOverSwap(inputs);
        if (!exact)
            exact = repair::mappedRangeRotation(inputs);
        if (exact) {
            return applied(std::move(exact->repair));
        }
        candidates = repair::generalBlockMoveCandidates(inputs);
    } else if (delta > 0) {
        candidates = repair::insertionCandidates(inputs, delta);
    } else {
        candidates = repair::deletionCandidates(inputs, repair::checkedSub(0, delta));
    }

    if (candidates.empty()) {
        const char* word = delta > 0 ? "insertion" : delta < 0 ? "deletion" : "reorder/block move";
        return Decision::hold(
            std::string("No watertight ") + word +
            " candidate explained the visible anchors. delta=" + std::to_string(delta) + ".");
    }
    // Offsets that move every mapping the same way are one repair (a same-named copy next to its
    // original can be either row); the check for disagreeing exact rivals still sees them all.
    const int k = delta >= 0 ? delta : repair::checkedSub(0, delta);
    const std::vector<Candidate> all = delta != 0 ? candidates : std::vector<Candidate>{};
    repair::SameRepair sameRepair;
    if (delta != 0) {
        sameRepair = [&](const Candidate& a, const Candidate& b) {
            return repair::offsetsMoveMappingsAlike(inputs, a, b, k, delta < 0);
        };
    }
    if (auto held = repair::rankAndFindHold(candidates, sameRepair))
        return Decision::hold(std::move(*held));
    const Candidate& winner = candidates.front();
    if (!winner.mayWin) {
        return Decision::hold("Structural edit remained ambiguous. candidates=" +
                              repair::listedCandidates(candidates, true));
    }
    if (delta != 0) {
        for (const Candidate& rival : all) {
            if (rival.exact &&
                !repair::offsetsMoveMappingsAlike(inputs, winner, rival, k, delta < 0)) {
                return Decision::hold("Structural edit remained ambiguous. candidates=" +
                                      repair::listedCandidates(candidates, true));
            }
        }
    }
    AppliedRepair repair =
        delta > 0   ? repair::completedInsertion(inputs, winner, delta)
        : delta < 0 ? repair::completedDeletion(inputs, winner, repair::checkedSub(0, delta))
                    : winner.repair;
    return applied(std::move(repair));
}

StructuralMappingRepairEngine::Decision StructuralMappingRepairEngine::applied(
    AppliedRepair repair) {
    state.ownershipBaseline = repair.newOwnershipBaseline;
    state.maxObservedIndex = repair.newMaxObservedIndex;
    replaceVisibleBaseline(repair.newVisibleBaseline);
    return Decision::apply(std::move(repair));
}

}  // namespace tessiva
