#include <gtest/gtest.h>

#include "LinkRig.h"
#include "osc/BankMappingLookup.h"
#include "osc/MirroredMIDISink.h"
#include "osc/RemoteWorkspaceSnapshot.h"
#include "osc/StoredPeerEndpoint.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/link/LinkRequest.h"

namespace tessiva {
namespace {

using namespace testing;

class RecordingSink final : public MirroredMIDISink {
  public:
    // "type channel data1 data2 sender"
    void mirroredMIDIEvent(const MirroredMIDIEventArguments& e, std::string_view sender) override {
        events.push_back(std::string(e.typeName) + " " + std::to_string(e.channel) + " " +
                         std::to_string(e.data1) + " " + std::to_string(e.data2) + " " +
                         std::string(sender));
    }
    std::vector<std::string> events;
};

class RecordingRequests final : public LinkRequestHandler {
  public:
    void handleLinkRequest(const LinkRequest& request) override { requests.push_back(request); }
    std::vector<LinkRequest> requests;
};

// A rig with an active, connected iPad at 127.0.0.1:53000, a MIDI sink, and nothing logged yet.
struct ActiveRig : LinkRig {
    ActiveRig() {
        connected().setMirroredMIDISink(&sink);
        manager->setLinkRequestHandler(&handler);
    }
    void send(std::string_view address, const std::vector<OSCArgument>& arguments) {
        from(kIPad, address, arguments);
    }
    RecordingSink sink;
    RecordingRequests handler;
};

const char* kSnapshot = R"({"workspaceName": "Strings", "sections": [{"name": "Violins", "banks": [
    {"uuid": "B-1", "name": "Legato", "sectionName": "Violins", "articulationCount": 1,
     "articulationNames": ["Legato"]}]}]})";

TEST(InboundDispatch, DatagramsThatCannotBeReadAreDroppedAndPingsAreAnsweredAtTheSourcePort) {
    ActiveRig rig;
    rig.transport.deliver(kHost, kIPad, std::vector<std::uint8_t>{'/', 'p', 'i'});
    rig.scheduler.runUntilIdle();
    EXPECT_TRUE(rig.console.contains(
        "Could not decode OSC address from datagram bytes=3 from 127.0.0.1:53000"));

    SCOPED_TRACE("a reply port out of range: the source port is used");
    rig.send("/ping", {i(70000)});
    ASSERT_EQ(rig.sent("/pong").size(), 1u);
    EXPECT_EQ(rig.sent("/pong")[0].port, kIPad);
    SCOPED_TRACE("reply port 0 is taken as asked: another peer while this one is active");
    rig.send("/ping", {i(0)});
    EXPECT_EQ(rig.sent("/pong").size(), 1u);
    EXPECT_TRUE(rig.console.contains("Rejected 127.0.0.1:0 because active peer"));
}

// Requests the Mac cannot read, did not ask for, or hears from an iPad that is not the active
// one: each is logged with its reason and changes nothing. No detail: "Could not decode
// <address> from 127.0.0.1:53000".
TEST(InboundDispatch, RefusedRequestsAreLoggedAndChangeNothing) {
    const std::string start = "/tessiva/navigation/export/start";
    const std::string chunk = "/tessiva/navigation/export/chunk";
    const std::string end = "/tessiva/navigation/export/end";
    const std::string snapshotChunk = "/tessiva/workspace/snapshot/chunk";
    const std::string noString =
        "Could not decode JSON string argument from /tessiva/workspace/snapshot. bytes=36";
    const std::string inactive = "OSC inactive peer contact ignored";
    const std::string fromOther = " from inactive iPad peer 127.0.0.1:53001";
    const struct {
        std::uint16_t port;
        std::string address;
        std::vector<OSCArgument> arguments;
        std::string title;
        std::string detail;
    } cases[] = {
        {kIPad, "/tessiva/unknown", args(), "OSC message ignored",
         "Ignoring unknown OSC address /tessiva/unknown from " + kSender},
        {kIPad, "/tessiva/device/name", args(i(3)), "Tessiva device name skipped", ""},
        {kIPad, "/tessiva/device/name", args(s("  ")), "Tessiva device name skipped",
         "Received /tessiva/device/name with an empty device name from " + kSender},
        {kIPad, "/tessiva/focus/mapping/query", args(), "OSC focus mapping query skipped",
         "Could not decode a bank UUID string argument from /tessiva/focus/mapping/query."},
        {kIPad, "/tessiva/focus/mapping/query", args(s("")), "OSC focus mapping query skipped",
         "Received /tessiva/focus/mapping/query with an empty bank UUID."},
        {kIPad, "/tessiva/navigation/direct/select", args(s("R-1")), "Direct navigation skipped",
         "Could not decode request ID and bank UUID."},
        {kIPad, "/tessiva/navigation/direct/select", args(s("R-1"), s(" ")),
         "Direct navigation skipped", "Request ID or bank UUID was empty."},
        {kIPad, "/tessiva/bank/focus/learn", args(s("B-1"), s("Legato")), "OSC bank learn skipped",
         "Could not decode enough string arguments from /tessiva/bank/focus/learn."},
        {kIPad, "/tessiva/bank/focus/learn", args(s(""), s("Legato"), s("Violins")),
         "OSC bank learn skipped", "Received /tessiva/bank/focus/learn with an empty bank UUID."},
        {kIPad, "/tessiva/articulationset/import/ack", args(i(1)), "Articulation set ACK skipped",
         ""},
        {kIPad, "/tessiva/articulationset/import/ack", args(s(" "), s("true")),
         "Articulation set ACK skipped", "Received ACK with an empty transferID from " + kSender},
        {kIPad, "/tessiva/midi/run/schedule", args(i(1)), "MIDI run skipped", ""},
        {kIPad, "/tessiva/midi/run/schedule", args(s(R"({"runID": "X"})")), "MIDI run skipped",
         "The /tessiva/midi/run/schedule payload from " + kSender + " has no \"version\"."},
        {kIPad, "/tessiva/midi/event", args(s("noteon"), i(1), i(60)), "Mirrored MIDI skipped", ""},
        {kIPad, start, args(s("R-4")), "Navigation export start skipped", ""},
        {kIPad, chunk, args(s("R-4"), i(0)), "Navigation export chunk skipped", ""},
        {kIPad, end, args(), "Navigation export end skipped", ""},
        {kIPad, start, args(s("R-0"), i(1)), "Navigation export start skipped",
         "Ignoring navigation export start for R-0 from " + kSender +
             ": this Mac did not request that export."},
        {kIPad, "/tessiva/workspace/snapshot", args(i(1)),
         "OSC workspace snapshot skipped: " + noString, noString},
        {kIPad, snapshotChunk, args(s("T"), s("0"), i(1), s("x")),
         "OSC workspace snapshot chunk skipped", ""},
        {kIPad, snapshotChunk, args(s("H"), i(0), i(5000), s("x")),
         "OSC workspace snapshot chunk refused",
         "Refused chunked transfer H: chunk count 5000 exceeds the limit of 4096."},
        // Another iPad (or one with no reply port) while 53000 is active.
        {0, "/tessiva/focus/mapping/query", args(s("B-1")), inactive,
         "Ignoring mapping query for bank UUID B-1 from inactive iPad peer 127.0.0.1:0. Active "
         "peer is 127.0.0.1:53000"},
        {kOther, "/tessiva/device/name", args(s("Other")), "Tessiva device name ignored",
         "Ignored device name \"Other\" from inactive iPad 127.0.0.1:53001. Active peer is "
         "127.0.0.1:53000"},
        {kOther, "/pong", args(), "OSC pong ignored", "Ignoring /pong" + fromOther},
        {kOther, "/tessiva/navigation/direct/select", args(s("R-2"), s("B-1")),
         "Direct navigation ignored", "Ignoring request" + fromOther},
        {kOther, start, args(s("R-4"), i(1)), "Navigation export start ignored",
         "Ignoring export start" + fromOther},
        {kOther, chunk, args(s("R-4"), i(0), i(1), s("x")), "Navigation export chunk ignored",
         "Ignoring export chunk" + fromOther},
        {kOther, end, args(s("R-4")), "Navigation export end ignored",
         "Ignoring export end" + fromOther},
        {kOther, "/tessiva/navigation/export/error", args(s("R-4"), s("x")),
         "Navigation export error ignored", "Ignoring export error" + fromOther},
        {kOther, "/tessiva/workspace/snapshot", args(s(kSnapshot)), inactive,
         "Ignoring snapshot" + fromOther},
        {kOther, "/tessiva/midi/event", args(s("noteon"), i(1), i(60), i(1)), inactive,
         "Ignoring mirrored MIDI" + fromOther + ". Active peer is 127.0.0.1:53000"},
    };
    for (const auto& c : cases) {
        const std::string detail =
            c.detail.empty() ? "Could not decode " + c.address + " from " + kSender : c.detail;
        SCOPED_TRACE(c.address + " " + detail);
        ActiveRig rig;
        rig.manager->requestNavigationExport("R-4");
        rig.scheduler.runUntilIdle();
        rig.transport.clearSent();
        rig.from(c.port, c.address, c.arguments);
        EXPECT_TRUE(rig.logged(c.title, detail)) << rig.eventsText();
        EXPECT_TRUE(rig.handler.requests.empty());  // so nothing was posted either
        EXPECT_TRUE(rig.transport.sent().empty());
        EXPECT_FALSE(rig.store.snapshot().has_value());
        EXPECT_TRUE(rig.sink.events.empty());
        EXPECT_EQ(rig.manager->peerDeviceName(), "Stage iPad");
        EXPECT_EQ(rig.manager->activePeerID(), kSender);
    }
}

class TableLookup final : public BankMappingLookup {
  public:
    std::optional<MappedTrack> mappedTrack(const std::string& bankUUID) const override {
        if (bankUUID == "B-1")
            return MappedTrack{7, "Bass"};
        return std::nullopt;
    }
};

TEST(InboundDispatch, RequestsAreAnsweredToTheSenderOrReachTheHandlerTypedAndPostedByName) {
    ActiveRig rig;
    TableLookup lookup;
    rig.manager->setBankMappingLookup(&lookup);
    rig.send("/tessiva/focus/mapping/query", {s("B-1")});
    rig.send("/tessiva/focus/mapping/query", {s("B-2")});
    EXPECT_EQ(rig.sentLines(), (std::vector<std::string>{
                                   "/tessiva/focus/mapping/result 53000 [s:B-1, i:1, i:7, s:Bass]",
                                   "/tessiva/focus/mapping/result 53000 [s:B-2, i:0, i:0, s:]"}));
    EXPECT_TRUE(rig.logged("OSC focus mapping query received",
                           "Bank UUID B-1, mapped=true, reply=127.0.0.1:53000, track=7 \"Bass\""));

    auto& direct = rig.observe("OSCDiscoveryManager.DirectNavigationRequested");
    auto& learn = rig.observe("OSCDiscoveryManager.BankLearnRequested");
    auto& acks = rig.observe("OSCDiscoveryManager.ArticulationSetImportAckReceived");
    auto& schedules = rig.observe("OSCDiscoveryManager.MIDIRunScheduleReceived");
    auto& cancels = rig.observe("OSCDiscoveryManager.MIDIRunCancelReceived");

    // The iPad also sends from 61000: that is still the active iPad, answered at 53000.
    rig.from(61000, "/ping", {i(kIPad)});
    rig.from(61000, "/tessiva/navigation/direct/select", {s("R-1"), i(4), s("B-1"), s("Legato")});
    rig.from(61000, "/tessiva/bank/focus/learn",
             {s("B-1"), s("Legato"), s("Violins"), s("G-1"), s("")});
    rig.send("/tessiva/navigation/direct/select", {s("R-2"), s("B-2")});
    rig.send("/tessiva/articulationset/import/ack", {s("T-1"), s("Success"), s("ok")});
    rig.send("/tessiva/articulationset/import/ack", {s("T-2"), s("false"), s("disk full")});
    const LinkRequestOrigin iPad{kSender, kHost, kIPad};
    EXPECT_EQ(rig.handler.requests,
              (std::vector<LinkRequest>{
                  {iPad, DirectNavigationRequest{"R-1", "B-1", "Legato"}},
                  {iPad, BankLearnRequest{"B-1", "Legato", "Violins", "G-1", {}, {}, {}}},
                  {iPad, DirectNavigationRequest{"R-2", "B-2", std::nullopt}},
                  {iPad, ArticulationSetImportAck{"T-1", true, "Success", "ok"}},
                  {iPad, ArticulationSetImportAck{"T-2", false, "false", "disk full"}}}));

    ASSERT_EQ(direct.size(), 2u);
    EXPECT_EQ(direct[0].string("requestID"), "R-1");
    EXPECT_EQ(direct[0].string("bankUUID"), "B-1");
    EXPECT_EQ(direct[0].string("bankName"), "Legato");
    EXPECT_EQ(direct[0].integer("port"), kIPad);
    ASSERT_EQ(learn.size(), 1u);
    EXPECT_EQ(learn[0].string("sectionName"), "Violins");
    EXPECT_EQ(learn[0].string("groupUUID"), "G-1");
    EXPECT_FALSE(learn[0].contains("groupName"));
    ASSERT_EQ(acks.size(), 2u);
    EXPECT_EQ(acks[0].boolean("success"), true);
    EXPECT_EQ(acks[1].boolean("success"), false);
    EXPECT_EQ(acks[1].string("message"), "disk full");

    rig.send("/tessiva/midi/run/schedule",
             {s(R"({"version":1,"runID":"R","startDelayNanoseconds":0,"intervalNanoseconds":1,
                   "gateNanoseconds":1,"overlapNanoseconds":0,"legato":false,"channelOneBased":1,
                   "velocity":100,"notes":[60,62]})")});
    ASSERT_EQ(schedules.size(), 1u);
    EXPECT_EQ(schedules[0].string("runID"), "R");
    rig.send("/tessiva/midi/run/cancel", {s(R"({"runID":"R","channelOneBased":1,"notes":[60]})")});
    ASSERT_EQ(cancels.size(), 1u);

    SCOPED_TRACE("a /pong or a snapshot request from 61000 is the active iPad's too");
    rig.from(61000, "/pong", {s("Renamed iPad")});
    rig.from(61000, "/tessiva/workspace/snapshot/request", {});
    EXPECT_EQ(rig.manager->peerDeviceName(), "Renamed iPad");
    ASSERT_EQ(rig.sent("/tessiva/workspace/snapshot/request").size(), 1u);
    EXPECT_EQ(rig.sent("/tessiva/workspace/snapshot/request")[0].port, kIPad);
    EXPECT_EQ(rig.countTitle("OSC inactive peer contact ignored"), 0u) << rig.eventsText();
    // A port of that host the iPad never sent from is still another iPad.
    rig.from(kOther, "/tessiva/device/name", {s("Other")});
    EXPECT_EQ(rig.countTitle("Tessiva device name ignored"), 1u);
    EXPECT_EQ(rig.manager->peerDeviceName(), "Renamed iPad");
}

TEST(InboundDispatch, NavigationExportIsReassembledOrReportedFailed) {
    ActiveRig rig;
    auto& received = rig.observe("OSCDiscoveryManager.NavigationExportReceived");
    auto& failed = rig.observe("OSCDiscoveryManager.NavigationExportFailed");
    auto request = [&](const std::string& id) {
        rig.manager->requestNavigationExport(id);
        rig.scheduler.runUntilIdle();
    };

    SCOPED_TRACE("chunks in any order");
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
    EXPECT_EQ(received.size(), 1u);

    SCOPED_TRACE("an export the iPad stops sending fails after 10 s of silence");
    rig.manager->requestNavigationExport("R-4");
    request("R-5");
    rig.send("/tessiva/navigation/export/start", {s("R-5"), i(3)});
    rig.scheduler.advance(6.0);
    // Each part restarts the wait: R-5 is still alive at 12 s, R-4 (never answered) is not.
    rig.send("/tessiva/navigation/export/chunk", {s("R-5"), i(0), i(3), s("a")});
    rig.scheduler.advance(6.0);
    ASSERT_EQ(failed.size(), 3u);
    EXPECT_EQ(failed[2].string("requestID"), "R-4");
    EXPECT_EQ(failed[2].string("message"),
              "The iPad did not answer navigation export request R-4 within 10 s. Nothing was "
              "saved.");
    rig.scheduler.advance(4.1);
    ASSERT_EQ(failed.size(), 4u);
    EXPECT_EQ(failed[3].string("message"),
              "The iPad stopped sending navigation export R-5: nothing arrived for 10 s. Nothing "
              "was saved.");
    // A late chunk of the given-up export is refused, not reassembled.
    rig.send("/tessiva/navigation/export/chunk", {s("R-5"), i(1), i(3), s("b")});
    EXPECT_TRUE(rig.logged("Navigation export chunk skipped",
                           "Ignoring navigation export chunk for R-5 from " + kSender +
                               ": this Mac did not request that export."));
}

TEST(InboundDispatch, WorkspaceSnapshotsAreDecodedAndPublished) {
    ActiveRig rig;

    rig.send("/tessiva/workspace/snapshot", {s(R"({"sections": [{"name": "S"}]})")});
    EXPECT_TRUE(rig.console.contains("OSC workspace snapshot skipped: sections[0]: missing key"));
    EXPECT_TRUE(
        rig.logged("OSC workspace snapshot decode failed", "sections[0]: missing key \"banks\""));
    rig.send("/tessiva/workspace/snapshot", {s(R"({"sections": []})")});
    EXPECT_EQ(rig.published.size(), 1u);
    rig.send("/tessiva/workspace/snapshot", {s(kSnapshot)});
    ASSERT_EQ(rig.published.size(), 2u);
    EXPECT_EQ(rig.published[1].workspaceName, "Strings");
    EXPECT_TRUE(rig.logged("OSC workspace snapshot decoded",
                           "Workspace \"Strings\" with 1 sections and 1 banks from " + kSender));
    EXPECT_TRUE(rig.manager->snapshotThrottle().lastReceivedDate().has_value());

    SCOPED_TRACE("chunks out of order are reassembled and published once, when complete");
    auto parts = splitIntoChunks(kSnapshot, 2);
    rig.send("/tessiva/workspace/snapshot/chunk",
             WorkspaceSnapshotChunk{"T-9", 1, 2, parts[1]}.arguments());
    EXPECT_EQ(rig.published.size(), 2u);
    rig.send("/tessiva/workspace/snapshot/chunk", {s("T-9"), i(0), i(2), s(parts.at(0))});
    EXPECT_EQ(rig.published.size(), 3u);
    EXPECT_TRUE(rig.logged("OSC workspace snapshot decoded",
                           "Reassembled workspace contains 1 sections and 1 banks. "
                           "workspace=\"Strings\" from " +
                               kSender));
}

TEST(InboundDispatch, SnapshotFromAnAlternateEndpointOfThePendingPeerMovesTheActiveEndpoint) {
    LinkRig rig;
    StoredPeerEndpoint{kHost, 50000}.save(rig.defaults);
    auto& manager = rig.started();  // pinging the stored endpoint, nobody active yet

    rig.from(kIPad, "/tessiva/workspace/snapshot", {s(kSnapshot)});
    EXPECT_EQ(rig.published.size(), 1u);
    EXPECT_EQ(manager.activePeerID(), kSender);
    EXPECT_TRUE(rig.logged("Active iPad endpoint updated",
                           "Accepted workspace snapshot from alternate endpoint 127.0.0.1:53000 "
                           "for pending active peer 127.0.0.1:50000. Active peer is now "
                           "127.0.0.1:53000"));
    EXPECT_EQ(rig.defaults.integer(StoredPeerEndpoint::kPortKey), kIPad);
}

TEST(InboundDispatch, MirroredMIDIGoesToTheSinkAndKeepsTheLinkAlive) {
    ActiveRig rig;
    rig.send("/tessiva/midi/event", {s("Note_On"), i(1), i(60), i(100)});
    rig.send("/tessiva/midi/event", {s("pitchbend"), i(20), i(200), i(-5)});
    // Values pass through untouched: normalisation belongs to the MIDI side.
    EXPECT_EQ(rig.sink.events, (std::vector<std::string>{"Note_On 1 60 100 127.0.0.1:53000",
                                                         "pitchbend 20 200 -5 127.0.0.1:53000"}));
    EXPECT_EQ(rig.manager->mirroredOSCEventCount(), 2);
    EXPECT_TRUE(rig.console.contains(
        "[OSCDiscoveryManager] Mirrored MIDI decoded: 1 events. latest type=Note_On channel=1 "
        "data1=60 data2=100"));

    SCOPED_TRACE("four tags, but the datagram ends before the last argument");
    auto cut = encodeMessage("/tessiva/midi/event", {s("noteon"), i(1), i(60), i(100)});
    cut.resize(cut.size() - 4);
    rig.transport.deliver(kHost, kIPad, cut);
    rig.scheduler.runUntilIdle();
    EXPECT_EQ(rig.sink.events.size(), 2u);

    SCOPED_TRACE("after the first, the progress line comes every 250th event");
    for (int n = 0; n < 248; ++n)
        rig.send("/tessiva/midi/event", {s("cc"), i(1), i(7), i(n % 128)});
    EXPECT_EQ(rig.console.count("Mirrored MIDI decoded:"), 2u);
    EXPECT_TRUE(rig.console.contains("Mirrored MIDI decoded: 250 events."));

    SCOPED_TRACE("MIDI alone keeps the handshake up past 20 s");
    rig.scheduler.advance(15.0);
    rig.send("/tessiva/midi/event", {s("cc"), i(1), i(1), i(1)});
    rig.scheduler.advance(19.9);
    EXPECT_TRUE(rig.manager->isHandshakeConnected());
    rig.scheduler.advance(0.2);
    EXPECT_FALSE(rig.manager->isHandshakeConnected());
}

}  // namespace
}  // namespace tessiva
