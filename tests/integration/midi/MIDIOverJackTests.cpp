#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <vector>

#include "JackMIDIReader.h"
#include "JackServerProcess.h"
#include "midi/DestinationStatusStore.h"
#include "midi/MIDIRelay.h"
#include "midi/MIDIRunScheduler.h"
#include "midi/MirroredMIDIEvent.h"
#include "midi/VirtualMIDIBridge.h"
#include "platform/rtmidi/RtMidiService.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

using Received = std::vector<std::vector<int>>;

// Each event as its reader port followed by its bytes.
Received portsAndBytes(const std::vector<test::JackMIDIReader::Event>& events) {
    Received all;
    for (const auto& event : events) {
        all.push_back(event.data());
        all.back().insert(all.back().begin(), event.port);
    }
    return all;
}

// Upper bounds on waits for the JACK graph: a sanitized build on a busy machine needs them long.
constexpr double kPatience = 30.0;

constexpr const char* kVirtualSource = "Tessiva Focus Virtual MIDI:Tessiva MIDI";

// The relay and the mirror on real MIDI ports: a private JACK server, the RtMidi backend choosing
// JACK on its own because a server runs, and a separate JACK client standing in for Logic.
class MIDIOverJack : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ::unsetenv("TESSIVA_MIDI_API");
        server_ = test::JackServerProcess::start(serverError_);
    }
    static void TearDownTestSuite() { server_.reset(); }
    void SetUp() override {
        ASSERT_NE(server_, nullptr)
            << "a private JACK server could not be started: " << serverError_;
    }

    std::unique_ptr<test::JackMIDIReader> openReader(const std::string& name,
                                                     const std::vector<std::string>& ports) {
        std::string error;
        auto reader = test::JackMIDIReader::open(name, ports, error);
        EXPECT_TRUE(reader) << error;
        return reader;
    }

    static inline std::unique_ptr<test::JackServerProcess> server_;
    static inline std::string serverError_;

    VirtualScheduler scheduler;
    NotificationCenter center{scheduler.mainQueue()};
    CapturingConsole console;
    RtMidiService midi;
};

TEST_F(MIDIOverJack, TheVirtualSourceIsSeenByNameAndCarriesExactlyTheMirroredBytes) {
    VirtualMIDIBridge bridge(midi, center, console);
    ASSERT_TRUE(bridge.start()) << testing::PrintToString(console.lines());
    auto reader = openReader("Logic stand-in", {"record"});
    ASSERT_TRUE(reader);
    ASSERT_TRUE(reader->connectFrom(kVirtualSource, 0)) << "no JACK source " << kVirtualSource;
    ASSERT_TRUE(reader->waitForCycles(3, kPatience));

    SCOPED_TRACE("a sequence of datagrams, decoded and sent on the mirrored-MIDI queue");
    auto queue = scheduler.makeSerialQueue("tessiva.focus.osc.mirrored-midi");
    auto datagram = [](const char* type, int channel, int data1, int data2) {
        return std::vector<OSCArgument>{OSCArgument::string(type), OSCArgument::int32(channel),
                                        OSCArgument::int32(data1), OSCArgument::int32(data2)};
    };
    const std::vector<std::vector<OSCArgument>> datagrams{
        datagram("note_on", 1, 60, 100),    datagram("Control-Change", 2, 64, 127),
        datagram("poly_pressure", 1, 1, 1), datagram("programchange", 20, 5, 9),
        datagram("aftertouch", 0, 200, 0),  datagram("pitch-bend", 16, 0, 64),
        datagram("noteoff", 1, 60, -5),
    };
    for (const auto& arguments : datagrams) {
        queue->post([&bridge, &arguments] {
            const auto decoded = decodeMirroredMIDIEvent(arguments, "127.0.0.1:50000");
            if (decoded.event)
                bridge.send(*decoded.event);
        });
    }
    scheduler.runUntilIdle();
    EXPECT_EQ(bridge.mirroredEventCount(), 6u);

    EXPECT_EQ(portsAndBytes(reader->take(6, kPatience)), (Received{{0, 0x90, 60, 100},
                                                                   {0, 0xB1, 64, 127},
                                                                   {0, 0xCF, 5},
                                                                   {0, 0xD0, 127},
                                                                   {0, 0xEF, 0, 64},
                                                                   {0, 0x80, 60, 0}}));
    EXPECT_TRUE(reader->waitForCycles(3, kPatience));
    EXPECT_TRUE(reader->take(7, 0.0).empty());  // nothing more, nothing twice
    EXPECT_EQ(reader->dropped(), 0u);
}

TEST_F(MIDIOverJack, TheRelayPrefersTheNetworkSessionAndSendsItsProgramChange) {
    auto reader = openReader("Studio", {"IAC Bus 1", "Network Session 1"});
    ASSERT_TRUE(reader);
    std::vector<std::string> published;
    auto token =
        center.addObserver(kLegacyMIDIDestinationChangedNotification, [&](const Notification& n) {
            published.push_back(n.userInfo.string("name").value_or(""));
        });

    MIDIRelay relay(midi, center, console);
    ASSERT_TRUE(relay.start()) << testing::PrintToString(console.lines());
    relay.refreshDestinations();
    EXPECT_TRUE(console.contains("[MIDIRelay] Using legacy destination: Studio:Network Session 1"))
        << testing::PrintToString(console.lines());
    EXPECT_EQ(published, (std::vector<std::string>{"Studio:Network Session 1"}));
    ASSERT_TRUE(reader->waitForCycles(3, kPatience));

    relay.sendProgramChange(5, 3);
    relay.sendProgramChange(128, 3);  // out of range: nothing leaves
    relay.sendProgramChange(42, 17);
    EXPECT_EQ(portsAndBytes(reader->take(2, kPatience)), (Received{{1, 0xC2, 5}, {1, 0xCF, 42}}));
    EXPECT_TRUE(reader->waitForCycles(3, kPatience));
    EXPECT_TRUE(reader->take(3, 0.0).empty());
    EXPECT_FALSE(console.contains("failed"));

    SCOPED_TRACE("a client whose own connection carries a virtual source still lists them");
    auto lister = midi.createClient("Lister");
    ASSERT_TRUE(lister.ok()) << lister.description;
    auto source = lister.object->createVirtualSource("Out");
    ASSERT_TRUE(source.ok()) << source.description;
    std::vector<std::string> listed;
    for (const auto& destination : lister.object->destinations())
        listed.push_back(destination.name);
    EXPECT_NE(std::find(listed.begin(), listed.end(), "Studio:Network Session 1"), listed.end())
        << testing::PrintToString(listed);

    SCOPED_TRACE("the session goes away: the relay falls back and says so");
    reader.reset();
    auto other = openReader("Synth", {"Keys In"});
    ASSERT_TRUE(other);
    relay.refreshDestinations();
    EXPECT_EQ(published.back(), "Synth:Keys In");
    ASSERT_TRUE(other->waitForCycles(3, kPatience));
    relay.sendProgramChange(1, 1);
    EXPECT_EQ(portsAndBytes(other->take(1, kPatience)), (Received{{0, 0xC0, 1}}));

    SCOPED_TRACE("the same destination restarts: a refresh connects to it again");
    other.reset();
    auto again = openReader("Synth", {"Keys In"});
    ASSERT_TRUE(again);
    relay.refreshDestinations();
    ASSERT_TRUE(again->waitForCycles(3, kPatience));
    relay.sendNoteOn(64, 2, 90);
    EXPECT_EQ(portsAndBytes(again->take(1, kPatience)), (Received{{0, 0x91, 64, 90}}));
}

// Real time, on the production queues: a run plays in order to the end, and a second run
// cancelled in the middle leaves no note sounding on the JACK side.
TEST_F(MIDIOverJack, AScheduledRunPlaysInTimeOrderAndACancelledOneLeavesNothingSounding) {
    AsioDispatcher dispatcher;
    VirtualMIDIBridge bridge(midi, center, console);
    ASSERT_TRUE(bridge.start());
    auto reader = openReader("Run recorder", {"record"});
    ASSERT_TRUE(reader);
    ASSERT_TRUE(reader->connectFrom(kVirtualSource, 0));
    ASSERT_TRUE(reader->waitForCycles(3, kPatience));
    MIDIRunScheduler runs(dispatcher, bridge, center, console);
    auto json = [](const std::string& id, const std::string& notes) {
        return R"({"version":1,"runID":")" + id +
               R"(","startDelayNanoseconds":20000000,"intervalNanoseconds":30000000,)"
               R"("gateNanoseconds":45000000,"overlapNanoseconds":0,"legato":false,)"
               R"("channelOneBased":2,"velocity":80,"notes":[)" +
               notes + "]}";
    };
    // Per note, note-ons minus note-offs; every event is one or the other on channel 2.
    auto balance = [](std::map<int, int>& open,
                      const std::vector<test::JackMIDIReader::Event>& events) {
        for (const auto& event : events) {
            EXPECT_TRUE(event.bytes[0] == 0x91 || event.bytes[0] == 0x81) << event.bytes[0];
            open[event.bytes[1]] += event.bytes[0] == 0x91 ? 1 : -1;
        }
    };

    runs.schedule(json("A", "60,61,62,63,64,65"), dispatcher.clock().now(), "iPad");
    const auto events = reader->take(12, kPatience);
    ASSERT_EQ(events.size(), 12u);
    std::map<int, int> sounding;
    balance(sounding, events);
    std::vector<int> onsInOrder;
    for (const auto& event : events) {
        if (event.bytes[0] == 0x91)
            onsInOrder.push_back(event.bytes[1]);
    }
    EXPECT_EQ(onsInOrder, (std::vector<int>{60, 61, 62, 63, 64, 65}));
    for (const auto& [note, count] : sounding)
        EXPECT_EQ(count, 0) << note;

    runs.schedule(json("B", "70,71,72,73,74,75,76,77,78,79"), dispatcher.clock().now(), "iPad");
    std::map<int, int> left;
    // take() counts every event so far: the 12 of run A, then 3 of B (it is playing).
    const auto first = reader->take(15, kPatience);
    ASSERT_EQ(first.size(), 3u);
    balance(left, first);
    runs.cancel(R"({"runID":"B","channelOneBased":2,"notes":[70,71]})", "iPad");
    EXPECT_EQ(runs.activeRunCount(), 0u);
    ASSERT_TRUE(
        reader->waitForCycles(80, kPatience));  // longer than the rest of the run would take
    balance(left, reader->take(55, 0.0));
    for (const auto& [note, open] : left)
        EXPECT_EQ(open, 0) << "note " << note << " left hanging";
    EXPECT_LT(left.size(), 10u) << "the cancel did not stop the run";
    EXPECT_EQ(reader->dropped(), 0u);
    EXPECT_TRUE(console.contains("Run B cancelled by iPad"));
}

}  // namespace
}  // namespace tessiva
