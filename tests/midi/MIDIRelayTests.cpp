#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "midi/DestinationStatusStore.h"
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
    EXPECT_TRUE(f.midi.sentMessages().empty());

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
    f.relay.sendProgramChange(1, 1);
    EXPECT_TRUE(f.midi.sentMessages().empty());

    SCOPED_TRACE("then port creation");
    f.midi.setFailure(SimulatedMIDIOperation::createClient, 0);
    f.midi.setFailure(SimulatedMIDIOperation::createOutputPort, -10831);
    f.relay.refreshDestinations();
    EXPECT_TRUE(f.console.contains("[MIDIRelay] MIDIOutputPortCreate failed: -10831"));
    EXPECT_FALSE(f.relay.isStarted());
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

}  // namespace
}  // namespace tessiva
