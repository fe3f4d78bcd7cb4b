#pragma once

#include <cstdint>
#include <optional>

namespace tessiva {

// How long the observer's own report of a row we just navigated to is swallowed as an echo.
inline constexpr double kDirectNavigationEchoWindowSeconds = 0.75;

enum class DirectNavigationVerdict {
    confirmPending,  // the selection confirms the pending navigation: consumed
    consumeEcho,     // the selection is the echo of a confirmed navigation: consumed
    continueRouting,
};

struct DirectNavigationCheck {
    DirectNavigationVerdict verdict = DirectNavigationVerdict::continueRouting;
    std::int64_t remainingMs = 0;  // for consumeEcho
    bool clearEcho = false;        // the echo window has lapsed: forget its row
};

// The check that runs before the router. Pure: takes the pending row, the echo row and deadline,
// and the selected row at `now`.
DirectNavigationCheck checkDirectNavigation(std::optional<int> pendingRow,
                                            std::optional<int> echoRow, double echoDeadline,
                                            int selectedRow, double now);

}  // namespace tessiva
