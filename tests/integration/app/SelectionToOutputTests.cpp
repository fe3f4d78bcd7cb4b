#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "app/RoutingRig.h"
#include "logic/LogicObserver.h"
#include "platform/net/UdpTransport.h"
#include "platform/simulated/logic/SimulatedLogic.h"

namespace tessiva {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The iPad: a loopback listener on an ephemeral port whose datagrams land on the scheduler's queue.
class LoopbackIPad final : public PeerEndpointProvider {
  public:
    LoopbackIPad(UdpTransport& transport, VirtualScheduler& scheduler) : scheduler_(scheduler) {
        auto result = transport.listen(
            {0, "127.0.0.1", false}, scheduler.mainQueue(),
            [this](UdpDatagram datagram) { received_.push_back(std::move(datagram.bytes)); });
        EXPECT_TRUE(result.ok()) << result.error;
        listener_ = std::move(result.listener);
    }
    std::optional<PeerEndpoint> activePeerEndpoint() const override {
        return PeerEndpoint{"127.0.0.1", listener_ ? listener_->port() : std::uint16_t{0}};
    }

    // The next datagram, running the scheduler's due work while waiting (the sender's queue is
    // virtual, the network threads real). Nothing within 5 s: absent.
    std::optional<Bytes> receive() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (received_.empty() && std::chrono::steady_clock::now() < deadline) {
            scheduler_.runUntilIdle();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (received_.empty())
            return std::nullopt;
        Bytes next = std::move(received_.front());
        received_.erase(received_.begin());
        return next;
    }

  private:
    VirtualScheduler& scheduler_;
    std::vector<Bytes> received_;
    std::unique_ptr<UdpListener> listener_;
};

// OSC wire pieces written out by hand, independently of the codec.
void appendPadded(Bytes& out, const std::string& text) {
    out.insert(out.end(), text.begin(), text.end());
    do {
        out.push_back(0);
    } while (out.size() % 4 != 0);
}
void appendInt32(Bytes& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back((value >> shift) & 0xFF);
}

// The routing with real parts around it: a UDP socket on 127.0.0.1 as the iPad, the Asio
// transport, the in-memory MIDI port with a network session among its destinations.
class SelectionToOutput : public ::testing::Test, protected StoreRig {
  protected:
    SelectionToOutput() {
        midi.addDestination("IAC Bus 1");
        midi.addDestination("Network Session 1");
        EXPECT_TRUE(relay.start());
        relay.refreshDestinations();
    }

    // Row 7 "Bass" sends PC 42 on channel 3 and focuses "Low End"; row 8 "Pad" sends PC 9 and
    // focuses "Pads".
    void mapBassAndPad() {
        mapPC(store, 7, "Bass", 42, 3);
        mapBank(store, 7, "Bass", "6F1C2A4E-0000-4000-8000-00000000B055", "Low End");
        mapPC(store, 8, "Pad", 9);
        mapBank(store, 8, "Pad", "6F1C2A4E-0000-4000-8000-0000000000AD", "Pads");
        midi.clearRecords();
    }

    // Row 7's "/tessiva/bank/focus", written out by hand.
    static Bytes bassFocus() {
        Bytes expected;
        appendPadded(expected, "/tessiva/bank/focus");
        appendPadded(expected, ",ssssis");
        appendPadded(expected, "bank");
        appendPadded(expected, "6F1C2A4E-0000-4000-8000-00000000B055");
        appendPadded(expected, "Bass");
        appendPadded(expected, "Low End");
        appendInt32(expected, 7);
        appendPadded(expected, "<none>");
        return expected;
    }

    LearnModeStore learn;
    SimulatedMIDIService midi;
    MIDIRelay relay{midi, center, console};
    std::unique_ptr<UdpTransport> transport = makeUdpTransport();
    OSCManager osc{scheduler, *transport, console, center};
    LoopbackIPad iPad{*transport, scheduler};
    LoadedProfileProjectKeyProvider projectKeys{[] { return std::optional<std::string>("Song"); }};
    ScriptedRepairState repair;  // never a repair pending: no structural edits here
    SelectionStageRecorder stages{scheduler.clock()};
    TrackSelectionRouter router{{scheduler.mainQueue(), scheduler.clock(), console, center, log,
                                 store, learn, relay, osc, iPad, projectKeys, repair, stages}};
};

// From a click in Logic to the wire: the simulated Logic Pro and the real observer in front.
TEST_F(SelectionToOutput, ClickingTrackSevenInLogicReachesTheIPadSocketAndTheMIDIPort) {
    SimulatedLogic logic(scheduler.clock(), SimulatedLogicOptions::tableOutlineProfile());
    for (const char* name : {"Piano", "Organ", "Guitar", "Drums", "Perc", "Vox", "Bass", "Pad"}) {
        logic.addTrack(name);
    }
    LogicObserver observer({scheduler, logic, logic.input(), center, console});
    observer.onTrackSelection = [&](const TrackSelection& selection) {
        router.routeSelection(selection);
    };
    observer.start();
    scheduler.advance(1.0);
    mapBassAndPad();

    logic.clickTrack(7);
    scheduler.advance(0.5);
    EXPECT_EQ(iPad.receive(), bassFocus());
    auto sent = midi.sentMessages();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].destinationName, "Network Session 1");
    EXPECT_EQ(sent[0].bytes, (Bytes{0xC2, 42}));
    observer.stop();

    router.routeSelection(TrackSelection{8, "Pad"});
    const auto pads = iPad.receive();
    ASSERT_TRUE(pads.has_value());
    EXPECT_NE(std::string(pads->begin(), pads->end()).find("Pads"), std::string::npos);
    EXPECT_EQ(midi.sentMessages().back().bytes, (Bytes{0xC0, 9}));

    // The same row again 0.2 s later: nothing goes out, and the stage says why.
    midi.clearRecords();
    scheduler.advance(0.2);
    router.routeSelection(TrackSelection{8, "Pad"});
    EXPECT_EQ(stages.last()->line(), "router/deduplicated row=8 name=Pad windowMs=500 ageMs=200");
    EXPECT_TRUE(midi.sentMessages().empty());

    // Proof that nothing went to the iPad in between: the next datagram is the next row's.
    router.routeSelection(TrackSelection{7, "Bass"});
    EXPECT_EQ(iPad.receive(), bassFocus());
    sent = midi.sentMessages();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, (Bytes{0xC2, 42}));
}

}  // namespace
}  // namespace tessiva
