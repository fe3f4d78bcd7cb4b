#pragma once

#include <map>
#include <optional>
#include <string>

#include "logic/TrackSelection.h"

namespace tessiva {

// The selection path's view of structural repair: it reports each handled selection with the
// latest Logic track names (a click can reveal that rows shifted, and the repair then schedules
// itself), and asks whether a repair is pending, which holds MIDI output back. The coordinator
// implements it over StructuralRepairOrchestrator; routing tests use a scripted stand-in.
class StructuralRepairState {
  public:
    virtual ~StructuralRepairState() = default;
    virtual void noteSelection(const TrackSelection& selection,
                               const std::optional<std::map<int, std::string>>& trackNames) = 0;
    // The signed track-count delta of the pending repair; absent when none is pending.
    virtual std::optional<int> pendingRepairDelta() const = 0;
};

}  // namespace tessiva
