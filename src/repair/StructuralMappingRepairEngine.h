#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "mapping/RowMap.h"

namespace tessiva {

// Decides, from one settled visible Logic track-list capture and the trusted state it keeps
// between captures, whether mapping rows must be shifted, removed or moved after the user
// inserted, deleted, duplicated or reordered tracks. It changes nothing unless exactly one
// explanation of the visible rows is proven, strong (score >= 100) and clearly better than every
// other (15 points ahead); otherwise it holds, because a held repair only delays output while a
// wrong one sends the wrong bank.
//
// A pure value: no I/O, no store access. The coordinator owns exactly one on the main queue and
// applies its decisions; tests use the engine itself.
class StructuralMappingRepairEngine {
  public:
    struct State {
        RowMap visibleBaseline;
        RowMap ownershipBaseline;
        std::optional<int> maxObservedIndex;
        std::optional<int> terminalAnchorIndex;
        std::optional<std::string> terminalAnchorName;

        bool operator==(const State&) const = default;
    };

    struct SelectionHint {
        int index = 0;
        std::string name;
    };

    struct Evidence {
        RowMap currentVisibleSnapshot;
        std::set<int> mappedIndices;
        RowMap mappedNamesByIndex;
        std::optional<SelectionHint> selectedHint;
        std::string reason;
    };

    struct AppliedRepair {
        enum class Kind { insertionOffset, deletionOffset, blockMove, count };

        Kind kind = Kind::insertionOffset;
        std::string summary;
        int confidence = 0;
        std::map<int, int> mappingRemap;
        std::vector<int> insertedIndices;
        std::vector<int> deletedIndices;
        RowMap newVisibleBaseline;
        RowMap newOwnershipBaseline;
        std::optional<int> newMaxObservedIndex;

        bool operator==(const AppliedRepair&) const = default;
    };

    // noChange (the state may have been refreshed), apply (with the repair) or hold (nothing
    // could be proven; the state is unchanged).
    struct Decision {
        enum class Kind { noChange, apply, hold, count };

        Kind kind = Kind::hold;
        std::string text;                     // noChange and hold
        std::optional<AppliedRepair> repair;  // apply

        static Decision noChange(std::string text) { return {Kind::noChange, std::move(text), {}}; }
        static Decision hold(std::string text) { return {Kind::hold, std::move(text), {}}; }
        static Decision apply(AppliedRepair repair) { return {Kind::apply, {}, std::move(repair)}; }
    };

    // The winning score must reach this, and lead the runner-up by the margin.
    static constexpr int kMinimumWinningScore = 100;
    static constexpr int kMinimumLead = 15;

    // Decides on one settled capture; the only entry point that repairs.
    Decision evaluate(const Evidence& evidence);

    // Trusts a capture without repairing anything (first evidence, profile loaded, manual sync,
    // in-sync captures). A capture without anchors changes nothing.
    void acceptBaseline(const RowMap& snapshot, const std::set<int>& mappedIndices,
                        std::string_view reason);

    void reset() { state = {}; }

    State state;

  private:
    void replaceVisibleBaseline(RowMap anchors);
    // Trusts the repair's baselines and returns it as the decision.
    Decision applied(AppliedRepair repair);
};

inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(
                                StructuralMappingRepairEngine::AppliedRepair::Kind::count)>
    kAppliedRepairKindNames{"insertionOffset", "deletionOffset", "blockMove"};
static_assert(kAppliedRepairKindNames.size() == 3, "one name per repair kind");

inline std::string_view name(StructuralMappingRepairEngine::AppliedRepair::Kind kind) {
    return kAppliedRepairKindNames[static_cast<std::size_t>(kind)];
}

inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(
                                StructuralMappingRepairEngine::Decision::Kind::count)>
    kRepairDecisionKindNames{"noChange", "apply", "hold"};
static_assert(kRepairDecisionKindNames.size() == 3, "one name per decision kind");

inline std::string_view name(StructuralMappingRepairEngine::Decision::Kind kind) {
    return kRepairDecisionKindNames[static_cast<std::size_t>(kind)];
}

}  // namespace tessiva
