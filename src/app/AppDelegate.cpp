#include "app/AppDelegate.h"

#include "midi/LegacyMIDIDestinationStatusStore.h"
#include "midi/MIDIDestinationStatusStore.h"
#include "runtime/Console.h"

namespace tessiva {

AppDelegate::AppDelegate(Dispatcher& dispatcher, NotificationCenter& notifications,
                         Console& console, PlatformServices services, CoordinatorOptions options)
    : midiStatus_(std::make_unique<MIDIDestinationStatusStore>(notifications, console)),
      legacyMIDIStatus_(std::make_unique<LegacyMIDIDestinationStatusStore>(notifications, console)),
      menuBarController_(std::make_unique<MenuBarController>(dispatcher, notifications, console,
                                                             services, std::move(options))) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    menuBarController_->start();
}

void AppDelegate::applicationWillTerminate() {
    menuBarController_->shutDown();
}

}  // namespace tessiva
