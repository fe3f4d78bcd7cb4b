#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "runtime/NotificationCenter.h"

namespace tessiva {

class Console;

// The MIDI destination status notifications and their user-info keys.
inline constexpr const char* kMIDIDestinationChangedNotification = "tessiva.midiDestinationChanged";
inline constexpr const char* kLegacyMIDIDestinationChangedNotification =
    "tessivaLegacyMIDIDestinationChanged";
inline constexpr const char* kMIDIDestinationAvailableKey = "available";
inline constexpr const char* kMIDIDestinationNameKey = "name";
// The name published while no destination is available.
inline constexpr const char* kNoMIDIDestinationName = "(none)";

// Holds the last MIDI destination status published on one notification, for the menu and the
// setup screens to show. Base of MIDIDestinationStatusStore and
// LegacyMIDIDestinationStatusStore. Main queue. Tests use it with a real NotificationCenter.
class DestinationStatusStore {
  public:
    DestinationStatusStore(const DestinationStatusStore&) = delete;
    DestinationStatusStore& operator=(const DestinationStatusStore&) = delete;
    virtual ~DestinationStatusStore() = default;

    const std::string& destinationName() const { return destinationName_; }
    bool isAvailable() const { return isAvailable_; }
    // Called after each change of name or availability.
    void setChangeHandler(std::function<void()> handler) { changeHandler_ = std::move(handler); }

  protected:
    DestinationStatusStore(NotificationCenter& center, std::string notificationName,
                           std::string_view logPrefix, Console& console);

  private:
    void apply(const Notification& notification);

    std::string destinationName_ = kNoMIDIDestinationName;
    bool isAvailable_ = false;
    std::string logPrefix_;
    Console& console_;
    std::function<void()> changeHandler_;
    ObserverToken observerToken_;
};

}  // namespace tessiva
