#include "midi/DestinationStatusStore.h"

#include "runtime/Console.h"

namespace tessiva {

DestinationStatusStore::DestinationStatusStore(NotificationCenter& center,
                                               std::string notificationName,
                                               std::string_view logPrefix, Console& console)
    : logPrefix_(logPrefix), console_(console) {
    observerToken_ = center.addObserver(std::move(notificationName),
                                        [this](const Notification& n) { apply(n); });
}

void DestinationStatusStore::apply(const Notification& notification) {
    const auto available = notification.userInfo.boolean(kMIDIDestinationAvailableKey);
    const auto name = notification.userInfo.string(kMIDIDestinationNameKey);
    if (!available || !name) {
        console_.line(logPrefix_ + " Ignoring " + notification.name +
                      " without a boolean \"available\" and a string \"name\"");
        return;
    }
    if (*available == isAvailable_ && *name == destinationName_)
        return;
    isAvailable_ = *available;
    destinationName_ = *name;
    if (changeHandler_)
        changeHandler_();
}

}  // namespace tessiva
