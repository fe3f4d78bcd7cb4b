#pragma once

#include <array>
#include <cstddef>

namespace tessiva {

// Outcome of one Accessibility call. The numeric codes are the ones the system reports, so a
// logged "AXObserverCreate failed: -25204" reads the same on every adapter.
enum class AXError {
    success,
    failure,
    illegalArgument,
    invalidUIElement,
    invalidUIElementObserver,
    cannotComplete,
    attributeUnsupported,
    actionUnsupported,
    notificationUnsupported,
    notImplemented,
    notificationAlreadyRegistered,
    notificationNotRegistered,
    apiDisabled,
    noValue,
    count
};

inline constexpr std::array<int, static_cast<std::size_t>(AXError::count)> kAXErrorCodes = {
    0,      -25200, -25201, -25202, -25203, -25204, -25205,
    -25206, -25207, -25208, -25209, -25210, -25211, -25212};
static_assert(kAXErrorCodes.size() == static_cast<std::size_t>(AXError::count));

constexpr int axErrorCode(AXError error) {
    return kAXErrorCodes[static_cast<std::size_t>(error)];
}

// A value or the reason there is none.
template <typename T>
struct AXResult {
    AXError error = AXError::success;
    T value{};

    bool ok() const { return error == AXError::success; }
};

}  // namespace tessiva
