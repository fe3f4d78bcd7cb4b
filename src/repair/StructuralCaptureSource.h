#pragma once

#include <functional>
#include <optional>

#include "mapping/RowMap.h"

namespace tessiva {

// Logic's visible track list as structural repair reads it: one capture on request, and whether
// Logic is showing a modal dialog (no capture is taken then). The coordinator adapts the Logic
// observer to it; tests use a scripted source. Called on the main queue; `done` runs there.
class StructuralCaptureSource {
  public:
    virtual ~StructuralCaptureSource() = default;
    // Reads the visible rows now; nothing when Logic could not be read or showed no rows.
    virtual void captureVisibleTrackList(std::function<void(std::optional<RowMap>)> done) = 0;
    virtual bool isQuarantined() const = 0;
};

}  // namespace tessiva
