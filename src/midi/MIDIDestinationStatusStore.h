#pragma once

#include "midi/DestinationStatusStore.h"

namespace tessiva {

// The MIDI destination status ("tessiva.midiDestinationChanged") shown by the menu and the setup
// guide. Main queue. Tests use the real store.
class MIDIDestinationStatusStore final : public DestinationStatusStore {
  public:
    MIDIDestinationStatusStore(NotificationCenter& center, Console& console)
        : DestinationStatusStore(center, kMIDIDestinationChangedNotification,
                                 "[MIDIDestinationStatusStore]", console) {}
};

}  // namespace tessiva
