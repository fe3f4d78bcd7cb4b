#pragma once

#include <array>
#include <optional>
#include <string>

#include "mapping/RowMap.h"

namespace tessiva {

// The timing and the checks of settled captures, as pure rules: when the first capture runs,
// how empty captures are retried, which captures are destructive enough to need a second,
// identical one, and the two guards that stop a capture before the engine sees it. Main queue;
// tests call the functions directly.
struct SettledCapturePolicy {
    // After a Logic command; on the fast path when the previous capture is still this fresh.
    static constexpr double kCommandCaptureDelay = 0.15;
    static constexpr double kFastCommandCaptureDelay = 0.05;
    static constexpr double kFreshCaptureAge = 1.0;
    // After a selection revealed a change, or a new published snapshot.
    static constexpr double kObservedChangeCaptureDelay = 0.15;
    // Waits before the successive attempts that follow an empty capture.
    static constexpr std::array<double, 4> kRetryDelays{0.35, 0.75, 1.25, 2.0};
    // The independent confirming capture waits as long as Logic takes to settle a change.
    static constexpr double kConfirmationDelay = 0.35;
    // The stable-sequence fallback takes its two captures this far apart.
    static constexpr double kFallbackDelay = 0.45;
    static constexpr double kFallbackSecondCaptureDelay = 0.35;

    // Confirmation is needed only with a trusted maximum of at least this.
    static constexpr int kConfirmationMinimumTrustedMaximum = 16;
    // A collapse counts as destructive only with a baseline of more rows than this.
    static constexpr int kCollapseMinimumBaselineRows = 7;

    // Whether a capture with highest row `capturedMaximum` and `visibleCount` rows must be
    // confirmed against a trusted maximum and a baseline of `baselineRows` rows: rows vanished,
    // or most rows vanished (a collapse). `forced` always confirms.
    static bool needsConfirmation(int trustedMaximum, int capturedMaximum, int visibleCount,
                                  int baselineRows, bool forced) {
        if (forced)
            return true;
        if (trustedMaximum < kConfirmationMinimumTrustedMaximum || capturedMaximum < 1)
            return false;
        if (capturedMaximum < trustedMaximum)
            return true;
        return baselineRows > kCollapseMinimumBaselineRows && 3 * visibleCount < baselineRows;
    }

    // "row:name|row:name": two captures are identical when their signatures are.
    static std::string signature(const RowMap& rows) {
        std::string text;
        for (const auto& [row, name] : rows) {
            if (!text.empty())
                text += '|';
            text += std::to_string(row) + ':' + name;
        }
        return text;
    }

    // The trusted maximum fell, the capture is sparse (three times its rows fewer than the
    // baseline's) and the session-end anchor is not where the shrink would have put it: Logic
    // most likely showed a half-built list. `terminalIndex`/`terminalName` describe the
    // session-end anchor, when there is one.
    static bool isTransientMaximumCollapse(int trustedMaximum, const RowMap& captured,
                                           int baselineRows, std::optional<int> terminalIndex,
                                           const std::optional<std::string>& terminalName);
};

}  // namespace tessiva
