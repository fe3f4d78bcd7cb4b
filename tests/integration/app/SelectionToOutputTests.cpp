#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "app/LearnModeStore.h"
#include "app/ProjectKeyProvider.h"
#include "app/SelectionStageRecorder.h"
#include "app/StructuralRepairState.h"
#include "app/TrackSelectionRouter.h"
#include "logic/LogicObserver.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "platform/net/UdpTransport.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

// Structural repair that never has a repair pending: these runs make no structural edits.
class NoStructuralRepair final : public StructuralRepairState {
  public:
    void noteSelection(const TrackSelection&,
                       const std::optional<std::map<int, std::string>>&) override {}
    std::optional<int> pendingRepairDelta() const override { return std::nullopt; }
};

using Bytes = std::vector<std::uint8_t>;

// The iPad: a plain UDP socket on 127.0.0.1 with an ephemeral port.
class FakeIPadSocket {
  public:
    FakeIPadSocket() {
        fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = 0;
        if (fd_ < 0 || ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            ADD_FAILURE() << "cannot bind a loopback socket";
            return;
        }
        socklen_t length = sizeof address;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~FakeIPadSocket() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FakeIPadSocket(const FakeIPadSocket&) = delete;
    FakeIPadSocket& operator=(const FakeIPadSocket&) = delete;

    std::uint16_t port() const { return port_; }

    // The next datagram, running the scheduler's due work while waiting on the socket (the
    // sender's queue is virtual, its network thread real). Nothing within 5 s: absent.
    std::optional<Bytes> receive(VirtualScheduler& scheduler) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (std::chrono::steady_clock::now() < deadline) {
            scheduler.runUntilIdle();
            pollfd descriptor{fd_, POLLIN, 0};
            if (::poll(&descriptor, 1, 10) > 0) {
                Bytes buffer(2048);
                const ssize_t size = ::recv(fd_, buffer.data(), buffer.size(), 0);
                if (size < 0)
                    return std::nullopt;
                buffer.resize(static_cast<std::size_t>(size));
                return buffer;
            }
        }
        return std::nullopt;
    }

  private:
    int fd_ = -1;
    std::uint16_t port_ = 0;
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

class FixedPeer final : public PeerEndpointProvider {
  public:
    explicit FixedPeer(std::uint16_t port) : port_(port) {}
    std::optional<PeerEndpoint> activePeerEndpoint() const override {
        return PeerEndpoint{"127.0.0.1", port_};
    }

  private:
    std::uint16_t port_;
};

// The routing with real parts around it: a UDP socket on 127.0.0.1 as the iPad, the Asio
// transport, the in-memory MIDI port with a network session among its destinations.
class SelectionToOutput : public ::testing::Test {
  protected:
    SelectionToOutput() {
        (void)store.open(folder.path());
        midi.addDestination("IAC Bus 1");
        midi.addDestination("Network Session 1");
        EXPECT_TRUE(relay.start());
        relay.refreshDestinations();
    }

    // Row 7 "Bass" sends PC 42 on channel 3 and focuses "Low End"; row 8 "Pad" sends PC 9 and
    // focuses "Pads".
    void mapBassAndPad(std::optional<std::string> section) {
        MIDIMapping bass;
        bass.programChange = 42;
        bass.channel = 3;
        bass.trackName = "Bass";
        ASSERT_TRUE(store.setMIDIMapping(7, bass).ok());
        MIDIMapping pad;
        pad.programChange = 9;
        pad.trackName = "Pad";
        ASSERT_TRUE(store.setMIDIMapping(8, pad).ok());
        OSCBankFocusMapping lowEnd;
        lowEnd.trackName = "Bass";
        lowEnd.bankUUID = "6F1C2A4E-0000-4000-8000-00000000B055";
        lowEnd.bankName = "Low End";
        lowEnd.sectionName = std::move(section);
        ASSERT_TRUE(store.setBankMapping(7, lowEnd).ok());
        OSCBankFocusMapping pads = lowEnd;
        pads.trackName = "Pad";
        pads.bankUUID = "6F1C2A4E-0000-4000-8000-0000000000AD";
        pads.bankName = "Pads";
        ASSERT_TRUE(store.setBankMapping(8, pads).ok());
        midi.clearRecords();
    }

    // Row 7's "/tessiva/bank/focus", written out by hand.
    static Bytes bassFocus(const std::string& section) {
        Bytes expected;
        appendPadded(expected, "/tessiva/bank/focus");
        appendPadded(expected, ",ssssis");
        appendPadded(expected, "bank");
        appendPadded(expected, "6F1C2A4E-0000-4000-8000-00000000B055");
        appendPadded(expected, "Bass");
        appendPadded(expected, "Low End");
        appendInt32(expected, 7);
        appendPadded(expected, section);
        return expected;
    }

    VirtualScheduler scheduler;
    CapturingConsole console;
    NotificationCenter center{scheduler.mainQueue()};
    DebugLogStore log{scheduler.mainQueue(), scheduler.clock()};
    TempFolder folder{"tessiva-e2e"};
    MappingStore store{{scheduler.mainQueue(), scheduler.clock(), console, log}};
    LearnModeStore learn;
    SimulatedMIDIService midi;
    MIDIRelay relay{midi, center, console};
    std::unique_ptr<UdpTransport> transport = makeUdpTransport();
    OSCManager osc{scheduler, *transport, console, center};
    FakeIPadSocket iPad;
    FixedPeer peer{iPad.port()};
    LoadedProfileProjectKeyProvider projectKeys{[] { return std::optional<std::string>("Song"); }};
    NoStructuralRepair repair;
    SelectionStageRecorder stages{scheduler.clock()};
    TrackSelectionRouter router{{scheduler.mainQueue(), scheduler.clock(), console, center, log,
                                 store, learn, relay, osc, peer, projectKeys, repair, stages}};
};

TEST_F(SelectionToOutput, SelectionReachesTheIPadSocketAndTheMIDIPort) {
    mapBassAndPad("Rhythm");

    router.routeSelection(TrackSelection{7, "Bass"});
    const auto datagram = iPad.receive(scheduler);
    ASSERT_TRUE(datagram.has_value());
    EXPECT_EQ(*datagram, bassFocus("Rhythm"));
    auto sent = midi.sentMessages();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].destinationName, "Network Session 1");
    EXPECT_EQ(sent[0].bytes, (Bytes{0xC2, 42}));

    // The same row again 0.2 s later: nothing goes out, and the stage says why.
    midi.clearRecords();
    scheduler.advance(0.2);
    router.routeSelection(TrackSelection{7, "Bass"});
    EXPECT_EQ(stages.last()->line(), "router/deduplicated row=7 name=Bass windowMs=500 ageMs=200");
    EXPECT_TRUE(midi.sentMessages().empty());

    // Proof that nothing went to the iPad in between: the next datagram is the next row's.
    router.routeSelection(TrackSelection{8, "Pad"});
    const auto next = iPad.receive(scheduler);
    ASSERT_TRUE(next.has_value());
    const std::string text(next->begin(), next->end());
    EXPECT_NE(text.find("Pads"), std::string::npos);
    EXPECT_EQ(text.find("Low End"), std::string::npos);
    sent = midi.sentMessages();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, (Bytes{0xC0, 9}));
}

// From a click in Logic to the wire: the simulated Logic Pro and the real observer in front.
TEST_F(SelectionToOutput, ClickingTrackSevenInLogicReachesTheIPadAndTheMIDIPort) {
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
    mapBassAndPad(std::nullopt);

    logic.clickTrack(7);
    scheduler.advance(0.5);
    const auto datagram = iPad.receive(scheduler);
    ASSERT_TRUE(datagram.has_value());
    EXPECT_EQ(*datagram, bassFocus("<none>"));
    const auto sent = midi.sentMessages();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, (Bytes{0xC2, 42}));
    observer.stop();
}

}  // namespace
}  // namespace tessiva
