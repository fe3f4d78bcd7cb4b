#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "midi/DestinationStatusStore.h"
#include "midi/LegacyMIDIDestinationChoice.h"
#include "midi/LegacyMIDIDestinationStatusStore.h"
#include "midi/MIDIDestinationStatusStore.h"
#include "midi/MIDIRelay.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

using Published = std::vector<std::tuple<std::string, bool, std::string>>;

struct RelayFixture {
    RelayFixture() {
        for (const char* name :
             {kLegacyMIDIDestinationChangedNotification, kMIDIDestinationChangedNotification}) {
            tokens.push_back(center.addObserver(name, [this](const Notification& n) {
                published.emplace_back(n.name, n.userInfo.boolean("available").value_or(false),
                                       n.userInfo.string("name").value_or("?"));
            }));
        }
    }
    std::vector<std::vector<int>> sentTo(const std::string& destination) const {
        std::vector<std::vector<int>> result;
        for (const auto& sent : midi.sentMessages()) {
            if (sent.destinationName == destination)
                result.emplace_back(sent.bytes.begin(), sent.bytes.end());
        }
        return result;
    }

    VirtualScheduler scheduler;
    NotificationCenter center{scheduler.mainQueue()};
    CapturingConsole console;
    SimulatedMIDIService midi;
    MIDIRelay relay{midi, center, console};
    std::vector<ObserverToken> tokens;
    Published published;
};

TEST(MIDIRelay, SendsTheExactBytesToThePreferredDestination) {
    RelayFixture f;
    f.midi.addDestination("IAC Bus 1");
    f.midi.addDestination("Network Session 1");
    ASSERT_TRUE(f.relay.start());
    EXPECT_EQ(f.midi.clientNames(), (std::vector<std::string>{"Tessiva Focus"}));
    f.relay.refreshDestinations();
    f.relay.sendProgramChange(5, 3);
    f.relay.sendProgramChange(128, 1);  // out of range: nothing
    f.relay.sendProgramChange(-1, 1);
    f.relay.sendProgramChange(9, 0);   // channel 0 -> 1
    f.relay.sendProgramChange(9, 17);  // channel 17 -> 16
    f.relay.sendNoteOn(60, 2, 200);
    f.relay.sendNoteOn(128, 2, 100);  // out of range: nothing
    f.relay.sendNoteOff(60, 2, -4);
    f.relay.sendProgramChange(7);  // the default channel

    EXPECT_EQ(f.sentTo("Network Session 1"),
              (std::vector<std::vector<int>>{
                  {0xC2, 5}, {0xC0, 9}, {0xCF, 9}, {0x91, 60, 127}, {0x81, 60, 0}, {0xC0, 7}}));
    EXPECT_TRUE(f.sentTo("IAC Bus 1").empty());
    EXPECT_FALSE(f.console.contains("failed"));
}

TEST(MIDIRelay, PublishesDestinationStatusOnlyWhenItChanges) {
    RelayFixture f;
    ASSERT_TRUE(f.relay.start());

    SCOPED_TRACE("nothing there yet");
    f.relay.refreshDestinations();
    EXPECT_TRUE(f.console.contains("[MIDIRelay] No legacy MIDI destinations found yet."));
    EXPECT_EQ(f.published, (Published{{"tessivaLegacyMIDIDestinationChanged", false, "(none)"},
                                      {"tessiva.midiDestinationChanged", false, "(none)"}}));
    f.relay.sendProgramChange(1, 1);
    EXPECT_FALSE(f.console.contains("MIDISend failed"));  // nowhere to send: not tried

    SCOPED_TRACE("a destination appears; a second refresh that finds it again posts nothing");
    f.published.clear();
    const auto iac = f.midi.addDestination("IAC Bus 1");
    f.relay.refreshDestinations();
    f.relay.refreshDestinations();
    EXPECT_EQ(f.published, (Published{{"tessivaLegacyMIDIDestinationChanged", true, "IAC Bus 1"},
                                      {"tessiva.midiDestinationChanged", true, "IAC Bus 1"}}));
    EXPECT_EQ(f.console.count("[MIDIRelay] Using legacy destination: IAC Bus 1"), 2u);

    SCOPED_TRACE("a better destination changes the name");
    f.published.clear();
    f.midi.addDestination("Network Session 1");
    f.relay.refreshDestinations();
    EXPECT_EQ(f.published,
              (Published{{"tessivaLegacyMIDIDestinationChanged", true, "Network Session 1"},
                         {"tessiva.midiDestinationChanged", true, "Network Session 1"}}));

    SCOPED_TRACE("everything goes away: unavailable again");
    f.published.clear();
    f.midi.removeDestination(iac);
    f.midi.removeDestination(f.relay.cachedDestination()->id);
    f.relay.refreshDestinations();
    EXPECT_FALSE(f.relay.cachedDestination());
    EXPECT_EQ(f.published, (Published{{"tessivaLegacyMIDIDestinationChanged", false, "(none)"},
                                      {"tessiva.midiDestinationChanged", false, "(none)"}}));
}

TEST(MIDIRelay, FailuresAreConsoleLinesAndLaterAttemptsRetry) {
    RelayFixture f;
    SCOPED_TRACE("client creation");
    f.midi.setFailure(SimulatedMIDIOperation::createClient, -10839);
    EXPECT_FALSE(f.relay.start());
    EXPECT_EQ(f.console.lines(),
              (std::vector<std::string>{"[MIDIRelay] MIDIClientCreate failed: -10839"}));
    f.midi.addDestination("IAC Bus 1");
    f.relay.refreshDestinations();  // still failing: no destination
    EXPECT_FALSE(f.relay.cachedDestination());

    SCOPED_TRACE("then port creation");
    f.midi.setFailure(SimulatedMIDIOperation::createClient, 0);
    f.midi.setFailure(SimulatedMIDIOperation::createOutputPort, -10831);
    f.relay.refreshDestinations();
    EXPECT_TRUE(f.console.contains("[MIDIRelay] MIDIOutputPortCreate failed: -10831"));
    EXPECT_FALSE(f.relay.isStarted());
    f.relay.sendProgramChange(1, 1);  // a destination but no port: nothing
    f.midi.setFailure(SimulatedMIDIOperation::createOutputPort, 0);
    f.relay.refreshDestinations();  // the service came up: the refresh starts the relay
    EXPECT_TRUE(f.relay.isStarted());
    f.relay.sendProgramChange(1, 1);

    SCOPED_TRACE("then sending: reported per message, the next send is tried again");
    f.midi.setFailure(SimulatedMIDIOperation::send, -10838);
    f.relay.sendNoteOn(60, 1, 100);
    f.relay.sendNoteOff(60, 1, 0);
    EXPECT_EQ(f.console.count("[MIDIRelay] MIDISend failed: -10838"), 2u);
    f.midi.setFailure(SimulatedMIDIOperation::send, 0);
    f.relay.sendNoteOn(61, 1, 100);
    EXPECT_EQ(f.sentTo("IAC Bus 1"), (std::vector<std::vector<int>>{{0xC0, 1}, {0x90, 61, 100}}));
}

TEST(DestinationStatusStore, EachStoreFollowsItsOwnNotificationAndReportsChanges) {
    RelayFixture f;
    MIDIDestinationStatusStore general(f.center, f.console);
    LegacyMIDIDestinationStatusStore legacy(f.center, f.console);
    int generalChanges = 0;
    int legacyChanges = 0;
    general.setChangeHandler([&] { ++generalChanges; });
    legacy.setChangeHandler([&] { ++legacyChanges; });
    EXPECT_EQ(general.destinationName(), "(none)");
    EXPECT_FALSE(general.isAvailable());
    auto post = [&](const char* notification, const char* name) {
        f.center.post(notification, {{"available", true}, {"name", std::string(name)}});
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
    f.center.post("tessiva.midiDestinationChanged", {{"available", std::string("yes")}});
    EXPECT_EQ(general.destinationName(), "IAC Bus 1");
    EXPECT_TRUE(general.isAvailable());
    EXPECT_TRUE(f.console.contains(
        "[MIDIDestinationStatusStore] Ignoring tessiva.midiDestinationChanged without"));
    EXPECT_EQ(generalChanges, 1);
}

std::string chosen(std::vector<std::string> names) {
    std::vector<MIDIDestination> list;
    std::uint64_t id = 1;
    for (auto& name : names)
        list.push_back(MIDIDestination{id++, std::move(name)});
    auto choice = chooseLegacyMIDIDestination(list);
    return choice ? choice->displayName : "<nothing>";
}

TEST(LegacyMIDIDestinationChoice, PrefersSessionOneThenNetworkThenTheFirst) {
    EXPECT_EQ(chosen({}), "<nothing>");
    EXPECT_EQ(chosen({"IAC Bus 1", "Network Session 1"}), "Network Session 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "My Network Port"}), "My Network Port");
    EXPECT_EQ(chosen({"IAC Bus 1"}), "IAC Bus 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "IAC Bus 2"}), "IAC Bus 1");

    SCOPED_TRACE("containment, ignoring case");
    EXPECT_EQ(chosen({"IAC Bus 1", "session 10"}), "session 10");
    EXPECT_EQ(chosen({"IAC Bus 1", "NETWORK"}), "NETWORK");
    EXPECT_EQ(chosen({"reader:Network Session 1"}), "reader:Network Session 1");

    SCOPED_TRACE("the first pass beats an earlier Network match, and order decides ties");
    EXPECT_EQ(chosen({"Network Port", "Studio Session 1"}), "Studio Session 1");
    EXPECT_EQ(chosen({"A Session 1", "B Session 1"}), "A Session 1");
    EXPECT_EQ(chosen({"Network A", "Network B"}), "Network A");

    SCOPED_TRACE("Sessions 2 or 1x without the space do not count as session 1");
    EXPECT_EQ(chosen({"IAC Bus 1", "Session 2", "Session1"}), "IAC Bus 1");

    SCOPED_TRACE("an unnamed destination reads unknown and keeps its identity");
    const std::vector<MIDIDestination> list{{7, ""}, {8, "IAC Bus 1"}};
    const auto unnamed = chooseLegacyMIDIDestination(list);
    ASSERT_TRUE(unnamed);
    EXPECT_EQ(std::tuple(unnamed->displayName, unnamed->destination.id, unnamed->destination.name),
              std::tuple("<Unknown>", 7u, ""));
}

}  // namespace
}  // namespace tessiva
