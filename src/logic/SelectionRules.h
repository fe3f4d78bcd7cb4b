#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "logic/TrackSelection.h"

namespace tessiva {

// What result handling does with one read of the selection.
enum class SelectionResultDecision { noTrack, sameTrackDropped, backgroundDropped, emit, count };
inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(SelectionResultDecision::count)>
    kSelectionResultDecisionNames = {"no-track", "same-track-dropped", "background-dropped",
                                     "emit"};
static_assert(kSelectionResultDecisionNames.size() ==
              static_cast<std::size_t>(SelectionResultDecision::count));

// The timing and repeat rules of selection detection, as pure functions of their inputs.
// Interval comparisons allow for the rounding of absolute times, so "0.02 s apart" counts as
// 0.02 s and "0.3 s after" as 0.3 s.
struct SelectionRules {
    static constexpr double kTimeTolerance = 1e-9;

    double minEventInterval = 0.02;
    double suppressFocusedAfterEmissionWindow = 0.3;

    // A notification this close to the last one handed to the selection path is dropped.
    bool isDuplicateNotification(double now, double lastHandledTime, bool captureActive) const {
        return !captureActive && now - lastHandledTime < minEventInterval - kTimeTolerance;
    }

    // A focused-element change this soon after an emission is Logic echoing the click.
    bool suppressesFocusedElement(double now, int lastEmittedIndex, double lastEmittedTime) const {
        return lastEmittedIndex >= 0 &&
               now - lastEmittedTime <= suppressFocusedAfterEmissionWindow + kTimeTolerance;
    }

    // Triggers that report a repeat click on the selected track and so re-emit it on purpose.
    static bool reemitsSameTrack(std::string_view trigger) {
        return trigger == "AXFocusedUIElementChanged" || trigger == "AXSelectedChildrenChanged" ||
               trigger == "AXSelectedRowsChanged";
    }

    static SelectionResultDecision decide(const std::optional<TrackSelection>& read,
                                          const std::optional<TrackSelection>& lastSelection,
                                          std::string_view trigger, bool logicFrontmost,
                                          bool captureActive) {
        if (!read)
            return SelectionResultDecision::noTrack;
        if (lastSelection && lastSelection->index == read->index && !reemitsSameTrack(trigger))
            return SelectionResultDecision::sameTrackDropped;
        if (!logicFrontmost && !captureActive)
            return SelectionResultDecision::backgroundDropped;
        return SelectionResultDecision::emit;
    }

    // A polling read may stop: it found a track that is new.
    static bool isFreshRead(const std::optional<TrackSelection>& read,
                            const std::optional<TrackSelection>& lastSelection) {
        return read && (!lastSelection || lastSelection->index != read->index);
    }
};

}  // namespace tessiva
