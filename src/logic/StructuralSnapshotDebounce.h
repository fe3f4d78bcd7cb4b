#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

enum class StructuralSnapshotAction { skip, rescheduleForDrag, rescheduleForQuiet, capture, count };
inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(StructuralSnapshotAction::count)>
    kStructuralSnapshotActionNames = {"skip", "reschedule-for-drag", "reschedule-for-quiet",
                                      "capture"};
static_assert(kStructuralSnapshotActionNames.size() ==
              static_cast<std::size_t>(StructuralSnapshotAction::count));

// When a debounced structural capture runs: 1.0 s after a structural hint, 0.15 s after a drag
// that ended on a track, never while the user drags and not within 2.0 s of a selection. Pure.
struct StructuralSnapshotDebounce {
    double debounceDelay = 1.0;
    double afterDragDelay = 0.15;
    double selectionQuietWindow = 2.0;

    struct Decision {
        StructuralSnapshotAction action = StructuralSnapshotAction::skip;
        double delay = 0;
        std::string reason;
    };

    double delayFor(std::string_view reason) const {
        return reason.find("pointer-drag-ended/arrange-track") != std::string_view::npos
                   ? afterDragDelay
                   : debounceDelay;
    }

    // `lastSelectionTime` is the time of the last emitted selection's event, 0 when none.
    Decision onFire(double now, bool quarantined, bool logicFrontmost, bool pointerDragActive,
                    double lastSelectionTime,
                    const std::optional<std::string>& storedReason) const {
        if (quarantined || !logicFrontmost)
            return {StructuralSnapshotAction::skip, 0, {}};
        if (pointerDragActive) {
            return {StructuralSnapshotAction::rescheduleForDrag, delayFor("pointer-drag-active"),
                    "pointer-drag-active"};
        }
        const std::string reason = storedReason.value_or("debounced-structural");
        if (lastSelectionTime > 0 && now - lastSelectionTime < selectionQuietWindow - 1e-9) {
            return {StructuralSnapshotAction::rescheduleForQuiet,
                    selectionQuietWindow - (now - lastSelectionTime), reason};
        }
        return {StructuralSnapshotAction::capture, 0, reason};
    }
};

}  // namespace tessiva
