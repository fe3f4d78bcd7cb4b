#include "repair/SettledCapturePolicy.h"

#include "repair/TrackAnchors.h"

namespace tessiva {

bool SettledCapturePolicy::isTransientMaximumCollapse(
    int trustedMaximum, const RowMap& captured, int baselineRows, std::optional<int> terminalIndex,
    const std::optional<std::string>& terminalName) {
    const auto capturedMaximum = repair::highestRow(captured);
    if (!capturedMaximum || *capturedMaximum >= trustedMaximum)
        return false;
    if (3 * static_cast<int>(captured.size()) >= baselineRows)
        return false;
    if (!terminalIndex || !terminalName)
        return true;
    const int shifted = *terminalIndex - (trustedMaximum - *capturedMaximum);
    auto found = captured.find(shifted);
    return found == captured.end() || !repair::namesEquivalent(found->second, *terminalName);
}

}  // namespace tessiva
