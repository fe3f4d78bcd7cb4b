#pragma once

#include <memory>

#include "app/MenuBarController.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

class LegacyMIDIDestinationStatusStore;
class MIDIDestinationStatusStore;

// The application's entry object: creates the two MIDI destination status stores before anything
// can publish to them, then the coordinator, and starts it. Main queue. The menu-bar shell and
// the headless program both build one; tests build one on virtual time.
class AppDelegate {
  public:
    AppDelegate(Dispatcher& dispatcher, NotificationCenter& notifications, Console& console,
                PlatformServices services, CoordinatorOptions options);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    MenuBarController& menuBarController() { return *menuBarController_; }

  private:
    std::unique_ptr<MIDIDestinationStatusStore> midiStatus_;
    std::unique_ptr<LegacyMIDIDestinationStatusStore> legacyMIDIStatus_;
    std::unique_ptr<MenuBarController> menuBarController_;
};

}  // namespace tessiva
