#include <gtest/gtest.h>

#include "LinkRig.h"
#include "osc/BankMappingLookup.h"
#include "osc/MirroredMIDISink.h"
#include "osc/RemoteWorkspaceSnapshot.h"
#include "osc/StoredPeerEndpoint.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"

namespace tessiva {
namespace {

using testing::LinkRig;

constexpr const char* kHost = "127.0.0.1";
constexpr std::uint16_t kIPad = 53000;
constexpr std::uint16_t kOther = 53001;
const std::string kSender = "127.0.0.1:53000";

// A rig with an active, connected iPad at 127.0.0.1:53000 and nothing logged yet.
struct ActiveRig : LinkRig {
    ActiveRig() {
        started();
        deliver(kHost, kIPad, "/ping", {OSCArgument::int32(kIPad)});
        scheduler.runUntilIdle();
        transport.clearSent();
        events.clear();
    }
    void from(std::uint16_t port, std::string_view address,
              std::initializer_list<OSCArgument> arguments) {
        deliver(kHost, port, address, arguments);
        scheduler.runUntilIdle();
    }
    void send(std::string_view address, std::initializer_list<OSCArgument> arguments) {
        from(kIPad, address, arguments);
    }
};

OSCArgument s(std::string text) {
    return OSCArgument::string(std::move(text));
}
OSCArgument i(std::int32_t value) {
    return OSCArgument::int32(value);
}

const char* kSnapshot = R"({"workspaceName": "Strings", "sections": [{"name": "Violins", "banks": [
    {"uuid": "B-1", "name": "Legato", "sectionName": "Violins", "articulationCount": 1,
     "articulationNames": ["Legato"]}]}]})";

TEST(InboundDispatch, DatagramsThatCannotBeReadAreDroppedWithTheirSender) {
    ActiveRig rig;
    rig.transport.deliver(kHost, kIPad, std::vector<std::uint8_t>{'/', 'p', 'i'});
    rig.scheduler.runUntilIdle();
    EXPECT_TRUE(rig.console.contains(
        "Could not decode OSC address from datagram bytes=3 from 127.0.0.1:53000"));

    rig.send("/tessiva/unknown", {});
    EXPECT_TRUE(rig.logged("OSC message ignored",
                           "Ignoring unknown OSC address /tessiva/unknown from 127.0.0.1:53000"));

    SCOPED_TRACE("a ping whose first argument is a string is answered at the source port");
    rig.transport.clearSent();
    rig.send("/ping", {s("12111")});
    auto pongs = rig.sent("/pong");
    ASSERT_EQ(pongs.size(), 1u);
    EXPECT_EQ(pongs[0].port, kIPad);

    SCOPED_TRACE("a ping with a reply port out of range is answered at the source port");
    LinkRig fresh;
    fresh.started();
    fresh.deliver(kHost, kIPad, "/ping", {i(70000)});
    fresh.scheduler.runUntilIdle();
    ASSERT_EQ(fresh.sent("/pong").size(), 1u);
    EXPECT_EQ(fresh.sent("/pong")[0].port, kIPad);
}

TEST(InboundDispatch, DeviceNameIsValidatedAndStored) {
    ActiveRig rig;
    rig.send("/tessiva/device/name", {i(3)});
    EXPECT_TRUE(rig.logged("Tessiva device name skipped",
                           "Could not decode /tessiva/device/name from " + kSender));
    rig.send("/tessiva/device/name", {s("  ")});
    EXPECT_TRUE(
        rig.logged("Tessiva device name skipped",
                   "Received /tessiva/device/name with an empty device name from " + kSender));
    rig.send("/tessiva/device/name", {s(" Stage iPad ")});
    EXPECT_TRUE(rig.logged("Tessiva device name received",
                           "Received iPad device name \"Stage iPad\" from " + kSender));
    EXPECT_EQ(rig.manager->peerDeviceName(), "Stage iPad");
    EXPECT_EQ(rig.manager->peers().activePeer()->deviceName, "Stage iPad");
}

class TableLookup final : public BankMappingLookup {
  public:
    std::optional<MappedTrack> mappedTrack(const std::string& bankUUID) const override {
        if (bankUUID == "B-1")
            return MappedTrack{7, "Bass"};
        return std::nullopt;
    }
};

TEST(InboundDispatch, MappingQueriesAreAnsweredToTheSender) {
    ActiveRig rig;
    TableLookup lookup;
    rig.manager->setBankMappingLookup(&lookup);
    const std::string skipped = "OSC focus mapping query skipped";
    rig.send("/tessiva/focus/mapping/query", {});
    EXPECT_TRUE(rig.logged(skipped,
                           "Could not decode a bank UUID string argument from "
                           "/tessiva/focus/mapping/query."));
    rig.send("/tessiva/focus/mapping/query", {s("")});
    EXPECT_TRUE(
        rig.logged(skipped, "Received /tessiva/focus/mapping/query with an empty bank UUID."));
    rig.from(0, "/tessiva/focus/mapping/query", {s("B-1")});  // no reply port
    EXPECT_TRUE(rig.logged("OSC inactive peer contact ignored",
                           "Ignoring mapping query for bank UUID B-1 from inactive iPad peer "
                           "127.0.0.1:0. Active peer is 127.0.0.1:53000"));
    EXPECT_TRUE(rig.sent("/tessiva/focus/mapping/result").empty());

    rig.send("/tessiva/focus/mapping/query", {s("B-1")});
    rig.send("/tessiva/focus/mapping/query", {s("B-2")});
    auto results = rig.sent("/tessiva/focus/mapping/result");
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].port, kIPad);
    EXPECT_EQ(results[0].arguments, (std::vector<OSCArgument>{s("B-1"), i(1), i(7), s("Bass")}));
    EXPECT_EQ(results[1].arguments, (std::vector<OSCArgument>{s("B-2"), i(0), i(0), s("")}));
    EXPECT_TRUE(rig.logged("OSC focus mapping query received",
                           "Bank UUID B-1, mapped=true, reply=127.0.0.1:53000, track=7 \"Bass\""));
}

TEST(InboundDispatch, RequestsForLaterFeaturesAreValidatedAndPostedByName) {
    ActiveRig rig;
    auto& direct = rig.observe("OSCDiscoveryManager.DirectNavigationRequested");
    auto& learn = rig.observe("OSCDiscoveryManager.BankLearnRequested");
    auto& acks = rig.observe("OSCDiscoveryManager.ArticulationSetImportAckReceived");
    auto& schedules = rig.observe("OSCDiscoveryManager.MIDIRunScheduleReceived");
    auto& cancels = rig.observe("OSCDiscoveryManager.MIDIRunCancelReceived");

    SCOPED_TRACE("direct select");
    rig.send("/tessiva/navigation/direct/select", {s("R-1")});
    EXPECT_TRUE(
        rig.logged("Direct navigation skipped", "Could not decode request ID and bank UUID."));
    rig.send("/tessiva/navigation/direct/select", {s("R-1"), s(" ")});
    EXPECT_TRUE(rig.logged("Direct navigation skipped", "Request ID or bank UUID was empty."));
    rig.send("/tessiva/navigation/direct/select", {s("R-1"), i(4), s("B-1"), s("Legato")});
    ASSERT_EQ(direct.size(), 1u);
    EXPECT_EQ(direct[0].string("requestID"), "R-1");
    EXPECT_EQ(direct[0].string("bankUUID"), "B-1");
    EXPECT_EQ(direct[0].string("bankName"), "Legato");
    rig.from(kOther, "/tessiva/navigation/direct/select", {s("R-2"), s("B-1")});
    EXPECT_TRUE(rig.logged("Direct navigation ignored",
                           "Ignoring request from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_EQ(direct.size(), 1u);

    SCOPED_TRACE("learn");
    rig.send("/tessiva/bank/focus/learn", {s("B-1"), s("Legato")});
    EXPECT_TRUE(
        rig.logged("OSC bank learn skipped",
                   "Could not decode enough string arguments from /tessiva/bank/focus/learn."));
    rig.send("/tessiva/bank/focus/learn", {s(""), s("Legato"), s("Violins")});
    EXPECT_TRUE(rig.logged("OSC bank learn skipped",
                           "Received /tessiva/bank/focus/learn with an empty bank UUID."));
    rig.send("/tessiva/bank/focus/learn", {s("B-1"), s("Legato"), s("Violins"), s("G-1"), s("")});
    ASSERT_EQ(learn.size(), 1u);
    EXPECT_EQ(learn[0].string("sectionName"), "Violins");
    EXPECT_EQ(learn[0].string("groupUUID"), "G-1");
    EXPECT_FALSE(learn[0].contains("groupName"));

    SCOPED_TRACE("articulation-set acknowledgement");
    rig.send("/tessiva/articulationset/import/ack", {i(1)});
    EXPECT_TRUE(rig.logged("Articulation set ACK skipped",
                           "Could not decode /tessiva/articulationset/import/ack from " + kSender));
    rig.send("/tessiva/articulationset/import/ack", {s(" "), s("true")});
    EXPECT_TRUE(rig.logged("Articulation set ACK skipped",
                           "Received ACK with an empty transferID from " + kSender));
    rig.send("/tessiva/articulationset/import/ack", {s("T-1"), s("Success"), s("ok")});
    rig.send("/tessiva/articulationset/import/ack", {s("T-2"), s("false"), s("disk full")});
    ASSERT_EQ(acks.size(), 2u);
    EXPECT_EQ(acks[0].boolean("success"), true);
    EXPECT_EQ(acks[1].boolean("success"), false);
    EXPECT_EQ(acks[1].string("message"), "disk full");

    SCOPED_TRACE("scheduled runs");
    rig.send("/tessiva/midi/run/schedule", {i(1)});
    EXPECT_TRUE(rig.logged("MIDI run skipped",
                           "Could not decode /tessiva/midi/run/schedule from " + kSender));
    rig.scheduler.advance(3.0);  // the repeated-refusal throttle lets the next line through
    rig.send("/tessiva/midi/run/schedule", {s(R"({"runID": "X"})")});
    EXPECT_TRUE(rig.logged("MIDI run skipped", "The /tessiva/midi/run/schedule payload from " +
                                                   kSender + " has no \"version\"."));
    rig.send("/tessiva/midi/run/schedule",
             {s(R"({"version":1,"runID":"R","startDelayNanoseconds":0,"intervalNanoseconds":1,
                   "gateNanoseconds":1,"overlapNanoseconds":0,"legato":false,"channelOneBased":1,
                   "velocity":100,"notes":[60,62]})")});
    ASSERT_EQ(schedules.size(), 1u);
    EXPECT_EQ(schedules[0].string("runID"), "R");
    rig.send("/tessiva/midi/run/cancel", {s(R"({"runID":"R","channelOneBased":1,"notes":[60]})")});
    ASSERT_EQ(cancels.size(), 1u);
}

TEST(InboundDispatch, NavigationExportIsReassembledOrReportedFailed) {
    ActiveRig rig;
    auto& received = rig.observe("OSCDiscoveryManager.NavigationExportReceived");
    auto& failed = rig.observe("OSCDiscoveryManager.NavigationExportFailed");
    auto request = [&](const std::string& id) {
        rig.manager->requestNavigationExport(id);
        rig.scheduler.runUntilIdle();
    };

    rig.send("/tessiva/navigation/export/start", {s("R-1")});
    EXPECT_TRUE(rig.logged("Navigation export start skipped",
                           "Could not decode /tessiva/navigation/export/start from " + kSender));
    rig.send("/tessiva/navigation/export/chunk", {s("R-1"), i(0)});
    EXPECT_TRUE(rig.logged("Navigation export chunk skipped",
                           "Could not decode /tessiva/navigation/export/chunk from " + kSender));
    rig.send("/tessiva/navigation/export/end", {});
    EXPECT_TRUE(rig.logged("Navigation export end skipped",
                           "Could not decode /tessiva/navigation/export/end from " + kSender));

    SCOPED_TRACE("an export nobody asked for writes nothing");
    rig.send("/tessiva/navigation/export/start", {s("R-0"), i(1)});
    rig.send("/tessiva/navigation/export/chunk", {s("R-0"), i(0), i(1), s("x")});
    rig.send("/tessiva/navigation/export/end", {s("R-0")});
    EXPECT_TRUE(rig.logged("Navigation export start skipped",
                           "Ignoring navigation export start for R-0 from " + kSender +
                               ": this Mac did not request that export."));
    EXPECT_TRUE(received.empty());

    SCOPED_TRACE("requested: chunks in any order");
    request("R-1");
    ASSERT_EQ(rig.sent("/tessiva/navigation/export/request").size(), 1u);
    rig.send("/tessiva/navigation/export/start", {s("R-1"), i(2), s("nav.json")});
    rig.send("/tessiva/navigation/export/chunk", {s("R-1"), i(1), i(2), s("world")});
    rig.send("/tessiva/navigation/export/chunk", {s("R-1"), i(0), i(2), s("hello ")});
    rig.send("/tessiva/navigation/export/end", {s("R-1")});
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].string("text"), "hello world");
    EXPECT_EQ(received[0].string("fileName"), "nav.json");

    request("R-2");
    rig.send("/tessiva/navigation/export/start", {s("R-2"), i(2)});
    rig.send("/tessiva/navigation/export/chunk", {s("R-2"), i(0), i(2), s("half")});
    rig.send("/tessiva/navigation/export/end", {s("R-2")});
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].string("message"),
              "Navigation export R-2 ended before all chunks arrived.");
    request("R-3");
    rig.send("/tessiva/navigation/export/error", {s("R-3"), s("No assignments")});
    ASSERT_EQ(failed.size(), 2u);
    EXPECT_EQ(failed[1].string("message"), "No assignments");

    request("R-4");
    rig.from(kOther, "/tessiva/navigation/export/start", {s("R-4"), i(1)});
    rig.from(kOther, "/tessiva/navigation/export/chunk", {s("R-4"), i(0), i(1), s("x")});
    rig.from(kOther, "/tessiva/navigation/export/end", {s("R-4")});
    rig.from(kOther, "/tessiva/navigation/export/error", {s("R-4"), s("x")});
    EXPECT_TRUE(rig.logged("Navigation export start ignored",
                           "Ignoring export start from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_TRUE(rig.logged("Navigation export chunk ignored",
                           "Ignoring export chunk from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_TRUE(rig.logged("Navigation export end ignored",
                           "Ignoring export end from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_TRUE(rig.logged("Navigation export error ignored",
                           "Ignoring export error from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_EQ(received.size(), 1u);
    EXPECT_EQ(failed.size(), 2u);
}

TEST(InboundDispatch, AnExportTheIPadStopsSendingFailsAfterItsSilence) {
    ActiveRig rig;
    auto& failed = rig.observe("OSCDiscoveryManager.NavigationExportFailed");
    rig.manager->requestNavigationExport("R-1");
    rig.manager->requestNavigationExport("R-2");
    rig.scheduler.runUntilIdle();
    rig.send("/tessiva/navigation/export/start", {s("R-2"), i(3)});
    rig.scheduler.advance(6.0);
    // Each part restarts the wait: R-2 is still alive at 12 s, R-1 (never answered) is not.
    rig.send("/tessiva/navigation/export/chunk", {s("R-2"), i(0), i(3), s("a")});
    rig.scheduler.advance(6.0);
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].string("requestID"), "R-1");
    EXPECT_EQ(failed[0].string("message"),
              "The iPad did not answer navigation export request R-1 within 10 s. Nothing was "
              "saved.");
    rig.scheduler.advance(4.1);
    ASSERT_EQ(failed.size(), 2u);
    EXPECT_EQ(failed[1].string("message"),
              "The iPad stopped sending navigation export R-2: nothing arrived for 10 s. Nothing "
              "was saved.");
    // A late chunk of the given-up export is refused, not reassembled.
    rig.send("/tessiva/navigation/export/chunk", {s("R-2"), i(1), i(3), s("b")});
    EXPECT_TRUE(rig.logged("Navigation export chunk skipped",
                           "Ignoring navigation export chunk for R-2 from " + kSender +
                               ": this Mac did not request that export."));
}

TEST(InboundDispatch, WorkspaceSnapshotsAreDecodedPublishedOrRefused) {
    ActiveRig rig;
    std::vector<RemoteWorkspaceSnapshot> published;
    auto token = rig.store.addObserver(
        [&](const RemoteWorkspaceSnapshot& snapshot) { published.push_back(snapshot); });

    SCOPED_TRACE("single message: no string, bad UTF-8, bad JSON, good");
    rig.send("/tessiva/workspace/snapshot", {i(1)});
    const std::string noString =
        "Could not decode JSON string argument from /tessiva/workspace/snapshot. bytes=36";
    EXPECT_TRUE(rig.logged("OSC workspace snapshot skipped: " + noString, noString));
    rig.send("/tessiva/workspace/snapshot", {s(R"({"sections": []})")});
    EXPECT_EQ(published.size(), 1u);
    rig.send("/tessiva/workspace/snapshot", {s("{\"sections\": [{\"name\": \"S\"}]}")});
    EXPECT_TRUE(
        rig.logged("OSC workspace snapshot decode failed", "sections[0]: missing key \"banks\""));
    EXPECT_TRUE(
        rig.console.contains("OSC workspace snapshot skipped: sections[0]: missing key \"banks\""));
    rig.send("/tessiva/workspace/snapshot", {s(kSnapshot)});
    ASSERT_EQ(published.size(), 2u);
    EXPECT_EQ(published[1].workspaceName, "Strings");
    EXPECT_TRUE(rig.logged("OSC workspace snapshot decoded",
                           "Workspace \"Strings\" with 1 sections and 1 banks from " + kSender));
    EXPECT_TRUE(rig.manager->snapshotThrottle().lastReceivedDate().has_value());

    SCOPED_TRACE("three chunks out of order are reassembled and published once");
    auto parts = splitIntoChunks(kSnapshot, 3);
    ASSERT_EQ(parts.size(), 3u);
    for (int index : {2, 0, 1}) {
        WorkspaceSnapshotChunk chunk{"T-9", index, 3, parts[static_cast<std::size_t>(index)]};
        auto arguments = chunk.arguments();
        rig.transport.deliver(kHost, kIPad,
                              encodeMessage("/tessiva/workspace/snapshot/chunk", arguments));
        rig.scheduler.runUntilIdle();
        EXPECT_EQ(published.size(), index == 1 ? 3u : 2u);
    }
    EXPECT_TRUE(rig.logged("OSC workspace snapshot decoded",
                           "Reassembled workspace contains 1 sections and 1 banks. "
                           "workspace=\"Strings\" from " +
                               kSender));
    rig.send("/tessiva/workspace/snapshot/chunk", {s("T"), s("0"), i(1), s("x")});
    EXPECT_TRUE(rig.logged("OSC workspace snapshot chunk skipped",
                           "Could not decode /tessiva/workspace/snapshot/chunk from " + kSender));
    rig.send("/tessiva/workspace/snapshot/chunk", {s("H"), i(0), i(5000), s("x")});
    EXPECT_TRUE(
        rig.logged("OSC workspace snapshot chunk refused",
                   "Refused chunked transfer H: chunk count 5000 exceeds the limit of 4096."));

    SCOPED_TRACE("a chunk cut inside a UTF-8 sequence cannot be read");
    rig.scheduler.advance(3.0);
    rig.send("/tessiva/workspace/snapshot/chunk", {s("U"), i(0), i(2), s("{\"a\":\"\xC3")});
    EXPECT_TRUE(rig.logged("OSC workspace snapshot chunk skipped",
                           "Could not decode /tessiva/workspace/snapshot/chunk from " + kSender));

    SCOPED_TRACE("snapshots from another, connected iPad are ignored");
    rig.from(kOther, "/tessiva/workspace/snapshot", {s(kSnapshot)});
    EXPECT_TRUE(rig.logged("OSC inactive peer contact ignored",
                           "Ignoring snapshot from inactive iPad peer 127.0.0.1:53001"));
    EXPECT_EQ(published.size(), 3u);
}

TEST(InboundDispatch, SnapshotFromAnAlternateEndpointOfThePendingPeerMovesTheActiveEndpoint) {
    LinkRig rig;
    StoredPeerEndpoint{kHost, 50000}.save(rig.defaults);
    auto& manager = rig.started();  // pinging the stored endpoint, nobody active yet
    std::vector<RemoteWorkspaceSnapshot> published;
    auto token = rig.store.addObserver(
        [&](const RemoteWorkspaceSnapshot& snapshot) { published.push_back(snapshot); });

    rig.deliver(kHost, kIPad, "/tessiva/workspace/snapshot", {s(kSnapshot)});
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(published.size(), 1u);
    EXPECT_EQ(manager.activePeerID(), kSender);
    EXPECT_TRUE(rig.logged("Active iPad endpoint updated",
                           "Accepted workspace snapshot from alternate endpoint 127.0.0.1:53000 "
                           "for pending active peer 127.0.0.1:50000. Active peer is now "
                           "127.0.0.1:53000"));
    EXPECT_EQ(rig.defaults.integer(StoredPeerEndpoint::kPortKey), kIPad);

    SCOPED_TRACE("once the handshake is confirmed, another endpoint is just inactive");
    rig.deliver(kHost, kIPad, "/pong", {});
    rig.scheduler.runUntilIdle();
    ASSERT_TRUE(manager.isHandshakeConnected());
    rig.deliver(kHost, kOther, "/tessiva/workspace/snapshot", {s(kSnapshot)});
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(published.size(), 1u);
    EXPECT_EQ(manager.activePeerID(), kSender);
}

class RecordingSink final : public MirroredMIDISink {
  public:
    void mirroredMIDIEvent(const MirroredMIDIEventArguments& event,
                           std::string_view sender) override {
        events.push_back({std::string(event.typeName), event.channel, event.data1, event.data2});
        senders.push_back(std::string(sender));
    }
    struct Event {
        std::string type;
        std::int32_t channel, data1, data2;
        bool operator==(const Event&) const = default;
    };
    std::vector<Event> events;
    std::vector<std::string> senders;
};

TEST(InboundDispatch, MirroredMIDIGoesToTheSinkAndKeepsTheLinkAlive) {
    ActiveRig rig;
    RecordingSink sink;
    rig.manager->setMirroredMIDISink(&sink);

    rig.send("/tessiva/midi/event", {s("Note_On"), i(1), i(60), i(100)});
    rig.send("/tessiva/midi/event", {s("pitchbend"), i(20), i(200), i(-5)});
    ASSERT_EQ(sink.events.size(), 2u);
    // Values pass through untouched: normalisation belongs to the MIDI side.
    EXPECT_EQ(sink.events[0], (RecordingSink::Event{"Note_On", 1, 60, 100}));
    EXPECT_EQ(sink.events[1], (RecordingSink::Event{"pitchbend", 20, 200, -5}));
    EXPECT_EQ(sink.senders[0], kSender);
    EXPECT_EQ(rig.manager->mirroredOSCEventCount(), 2);
    EXPECT_TRUE(rig.console.contains(
        "[OSCDiscoveryManager] Mirrored MIDI decoded: 1 events. latest type=Note_On channel=1 "
        "data1=60 data2=100"));

    SCOPED_TRACE("three arguments or a wrong tag are refused");
    rig.send("/tessiva/midi/event", {s("noteon"), i(1), i(60)});
    EXPECT_TRUE(rig.logged("Mirrored MIDI skipped",
                           "Could not decode /tessiva/midi/event from " + kSender));
    EXPECT_EQ(sink.events.size(), 2u);
    // Four tags, but the datagram ends before the last argument.
    auto cut = encodeMessage("/tessiva/midi/event", {s("noteon"), i(1), i(60), i(100)});
    cut.resize(cut.size() - 4);
    rig.transport.deliver(kHost, kIPad, cut);
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(sink.events.size(), 2u);

    SCOPED_TRACE("another iPad's MIDI is dropped");
    rig.from(kOther, "/tessiva/midi/event", {s("noteon"), i(1), i(60), i(1)});
    EXPECT_TRUE(rig.logged("OSC inactive peer contact ignored",
                           "Ignoring mirrored MIDI from inactive iPad peer 127.0.0.1:53001. Active "
                           "peer is 127.0.0.1:53000"));
    EXPECT_EQ(sink.events.size(), 2u);

    SCOPED_TRACE("MIDI alone keeps the handshake up past 20 s");
    for (int second = 0; second < 30; ++second) {
        rig.scheduler.advance(1.0);
        rig.send("/tessiva/midi/event", {s("cc"), i(1), i(1), i(1)});
    }
    EXPECT_TRUE(rig.manager->isHandshakeConnected());
    rig.scheduler.advance(19.9);
    EXPECT_TRUE(rig.manager->isHandshakeConnected());
    rig.scheduler.advance(0.2);
    EXPECT_FALSE(rig.manager->isHandshakeConnected());
}

}  // namespace
}  // namespace tessiva
