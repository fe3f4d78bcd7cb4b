#include <gtest/gtest.h>

#include "midi/DestinationStatusStore.h"
#include "midi/LegacyMIDIDestinationStatusStore.h"
#include "midi/MIDIDestinationStatusStore.h"
#include "runtime/Console.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

TEST(DestinationStatusStore, EachStoreFollowsItsOwnNotificationAndReportsChanges) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    CapturingConsole console;
    MIDIDestinationStatusStore general(center, console);
    LegacyMIDIDestinationStatusStore legacy(center, console);
    int generalChanges = 0;
    int legacyChanges = 0;
    general.setChangeHandler([&] { ++generalChanges; });
    legacy.setChangeHandler([&] { ++legacyChanges; });
    EXPECT_EQ(general.destinationName(), "(none)");
    EXPECT_FALSE(general.isAvailable());
    auto post = [&](const char* notification, const char* name) {
        center.post(notification, {{"available", true}, {"name", std::string(name)}});
    };

    post("tessivaLegacyMIDIDestinationChanged", "Network Session 1");
    EXPECT_TRUE(legacy.isAvailable());
    EXPECT_EQ(legacy.destinationName(), "Network Session 1");
    EXPECT_FALSE(general.isAvailable());
    EXPECT_EQ(legacyChanges, 1);
    EXPECT_EQ(generalChanges, 0);

    SCOPED_TRACE("the same status again is not a change");
    post("tessivaLegacyMIDIDestinationChanged", "Network Session 1");
    EXPECT_EQ(legacyChanges, 1);
    SCOPED_TRACE("another destination that is just as available is a change");
    post("tessivaLegacyMIDIDestinationChanged", "Network Session 2");
    EXPECT_EQ(legacy.destinationName(), "Network Session 2");
    EXPECT_EQ(legacyChanges, 2);

    post("tessiva.midiDestinationChanged", "IAC Bus 1");
    EXPECT_EQ(general.destinationName(), "IAC Bus 1");
    EXPECT_EQ(generalChanges, 1);

    SCOPED_TRACE("malformed status is ignored with a message and leaves the status intact");
    center.post("tessiva.midiDestinationChanged", {{"available", std::string("yes")}});
    EXPECT_EQ(general.destinationName(), "IAC Bus 1");
    EXPECT_TRUE(general.isAvailable());
    EXPECT_TRUE(console.contains(
        "[MIDIDestinationStatusStore] Ignoring tessiva.midiDestinationChanged without"));
    EXPECT_EQ(generalChanges, 1);
}

}  // namespace
}  // namespace tessiva
