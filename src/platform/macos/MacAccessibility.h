#pragma once

#include <memory>

#include "platform/ax/AccessibilityPort.h"

namespace tessiva {

class Clock;

// The Accessibility port over ApplicationServices and NSWorkspace: the real Logic Pro.
// Attribute reads and writes go straight to AXUIElement calls (thread-safe; the selection queue
// reads, the main queue writes); every element and the system-wide element carry a messaging
// time-out so a wedged Logic answers "cannot complete" instead of freezing us. Observers run on a
// run-loop thread of the adapter's own and post to the queue they were made for.
// SimulatedLogic stands in for it on Linux and in tests.
std::unique_ptr<AccessibilityPort> makeMacAccessibility(double messagingTimeoutSeconds);

// The time-out for one Accessibility message to Logic. Logic answers in well under 0.1 s when
// idle; a bounce or a plug-in scan can hold its main thread for seconds.
inline constexpr double kLogicMessagingTimeoutSeconds = 1.0;

}  // namespace tessiva
