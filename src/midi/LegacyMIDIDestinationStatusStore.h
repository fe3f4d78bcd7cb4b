#pragma once

#include "midi/DestinationStatusStore.h"

namespace tessiva {

// The legacy relay's destination status ("tessivaLegacyMIDIDestinationChanged") shown by the
// legacy MIDI controls. Main queue. Tests use the real store.
class LegacyMIDIDestinationStatusStore final : public DestinationStatusStore {
  public:
    LegacyMIDIDestinationStatusStore(NotificationCenter& center, Console& console)
        : DestinationStatusStore(center, kLegacyMIDIDestinationChangedNotification,
                                 "[LegacyMIDIDestinationStatusStore]", console) {}
};

}  // namespace tessiva
