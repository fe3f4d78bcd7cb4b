#pragma once

#include <memory>

#include "platform/input/InputEventPort.h"

namespace tessiva {

class Clock;

// The input-event port over Quartz and AppKit: a listen-only session event tap for left and
// right mouse downs (it needs the Accessibility permission and sees a click before Logic
// handles it), and NSEvent's global monitor for the masked events afterwards. The tap delivers on
// a run-loop thread of the adapter's own; the monitor on the main thread, which must run
// AppKit's event loop (the app does; the headless program pumps it). Both post to the queue
// given, stamped with `clock`. SimulatedInputEvents stands in for it on Linux and in tests.
std::unique_ptr<InputEventPort> makeMacInputEvents(const Clock& clock);

}  // namespace tessiva
