#pragma once

#include <memory>

namespace tessiva {

class ActivationEventSource;

// Feeds the activation source from AppKit: NSWorkspaceDidWakeNotification (the Mac woke) and
// NSApplicationDidBecomeActiveNotification (the user came back to us). AppKit posts them on the
// main thread while its event loop runs. Destroying the watch removes both observers. Tests and
// scenarios fire the source by hand instead.
std::shared_ptr<void> makeMacActivationWatch(ActivationEventSource& source);

}  // namespace tessiva
