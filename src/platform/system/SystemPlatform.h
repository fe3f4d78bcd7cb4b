#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/ax/AccessibilityPort.h"
#include "platform/input/InputEventPort.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

class ActivationEventSource;
class Clock;
class Console;
class Queue;

// The bundle identifier of the app, and the preferences domain of its user defaults.
inline constexpr std::string_view kTessivaBundleIdentifier = "com.tessiva.focus";

// The operating system's own adapters, for a program that watches the real Logic Pro.
struct SystemPlatform {
    std::unique_ptr<AccessibilityPort> accessibility;
    std::unique_ptr<InputEventPort> input;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<ConnectionSoundPlayer> sound;
    // Keeps wake and activation notifications flowing into the source given to the factory.
    std::shared_ptr<void> activationWatch;
    // Handles the system events waiting on the main thread and returns at once. A program whose
    // main thread runs Asio calls it often (AppKit posts workspace notifications, refreshes the
    // running-application list and feeds event monitors only while its loop turns); a GUI loop
    // makes it unnecessary.
    std::function<void()> pumpMainThreadEvents;
};

// Null where no Logic Pro can run (Linux): programs drive the simulated Logic there. Called on
// the main thread.
std::unique_ptr<SystemPlatform> makeSystemPlatform(Queue& mainQueue, const Clock& clock,
                                                   ActivationEventSource& activation,
                                                   Console& console);

}  // namespace tessiva
