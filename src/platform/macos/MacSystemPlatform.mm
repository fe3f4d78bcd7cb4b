#import <AppKit/AppKit.h>

#include <string>

#include "platform/macos/MacAccessibility.h"
#include "platform/macos/MacActivationWatch.h"
#include "platform/macos/MacConnectionSound.h"
#include "platform/macos/MacInputEvents.h"
#include "platform/macos/MacUserDefaults.h"
#include "platform/system/SystemPlatform.h"

namespace tessiva {

namespace {

void pumpAppKitEvents() {
    @autoreleasepool {
        for (;;) {
            NSEvent* event = [NSApp nextEventMatchingMask:NSEventMaskAny
                                                untilDate:nil
                                                   inMode:NSDefaultRunLoopMode
                                                  dequeue:YES];
            if (event == nil)
                break;
            [NSApp sendEvent:event];
        }
    }
}

}  // namespace

std::unique_ptr<SystemPlatform> makeSystemPlatform(Queue& mainQueue, const Clock& clock,
                                                   ActivationEventSource& activation,
                                                   Console& console) {
    // A menu-bar program: no Dock icon, no main window, even when started from a terminal.
    [NSApplication sharedApplication];
    [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
    auto platform = std::make_unique<SystemPlatform>();
    platform->accessibility = makeMacAccessibility(kLogicMessagingTimeoutSeconds);
    platform->input = makeMacInputEvents(clock);
    platform->defaults = makeMacUserDefaults(std::string(kTessivaBundleIdentifier));
    platform->sound = makeMacConnectionSoundPlayer(mainQueue, console);
    platform->activationWatch = makeMacActivationWatch(activation);
    platform->pumpMainThreadEvents = &pumpAppKitEvents;
    return platform;
}

}  // namespace tessiva
