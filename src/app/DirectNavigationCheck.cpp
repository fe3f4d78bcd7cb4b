#include "app/DirectNavigationCheck.h"

#include <algorithm>

#include "app/SelectionDedupe.h"

namespace tessiva {

DirectNavigationCheck checkDirectNavigation(std::optional<int> pendingRow,
                                            std::optional<int> echoRow, double echoDeadline,
                                            int selectedRow, double now) {
    DirectNavigationCheck check;
    if (pendingRow && *pendingRow == selectedRow) {
        check.verdict = DirectNavigationVerdict::confirmPending;
        return check;
    }
    if (echoRow && *echoRow == selectedRow && now <= echoDeadline) {
        check.verdict = DirectNavigationVerdict::consumeEcho;
        check.remainingMs = wholeMilliseconds(std::max(0.0, echoDeadline - now));
        return check;
    }
    check.clearEcho = echoDeadline < now;
    return check;
}

}  // namespace tessiva
