#pragma once

#include <map>
#include <optional>
#include <string>

#include "logic/TrackSelection.h"

namespace tessiva {

// The selection path's view of structural repair: it reports each handled selection with the
// latest Logic track names (a click can reveal that rows shifted, and the repair then schedules
// itself), and asks whether a repair is pending, which holds MIDI output back. The settled-capture
// orchestration is the real implementation; NoPendingStructuralRepair stands in until it lands.
class StructuralRepairState {
  public:
    virtual ~StructuralRepairState() = default;
    virtual void noteSelection(const TrackSelection& selection,
                               const std::optional<std::map<int, std::string>>& trackNames) = 0;
    // The signed track-count delta of the pending repair; absent when none is pending.
    virtual std::optional<int> pendingRepairDelta() const = 0;
};

class NoPendingStructuralRepair final : public StructuralRepairState {
  public:
    void noteSelection(const TrackSelection&,
                       const std::optional<std::map<int, std::string>>&) override {}
    std::optional<int> pendingRepairDelta() const override { return std::nullopt; }
};

}  // namespace tessiva
