#include <gtest/gtest.h>

#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"
#include "transfer/ArticulationSetImporter.h"

namespace tessiva {
namespace {

using ::testing::IsSubstring;

class FixedPeer final : public PeerEndpointProvider {
  public:
    std::optional<PeerEndpoint> activePeerEndpoint() const override { return endpoint; }
    std::optional<PeerEndpoint> endpoint = PeerEndpoint{"127.0.0.1", 53000};
};

const char* kPlist = "<plist><dict><key>Name</key><string>Set</string></dict></plist>";

struct ImportRig {
    ImportRig() {
        token = center.addObserver(kDebugEventNotification, [this](const Notification& n) {
            titles.push_back(n.userInfo.string(kDebugEventTitleKey).value_or(""));
        });
        importer.onFinished = [this](const ArticulationSetImportProgress& p) {
            finished.push_back(p);
        };
    }
    void file(const std::string& name, const std::string& text) {
        (void)writeFileAtomically(folder / name, text);
    }
    // (address, transfer ID) of each datagram sent so far, then forgotten.
    std::vector<std::pair<std::string, std::string>> takeSent() {
        scheduler.runUntilIdle();
        std::vector<std::pair<std::string, std::string>> result;
        for (const auto& sent : transport.sent()) {
            const OSCBytes bytes(sent.bytes);
            auto arguments = decodeArguments(bytes);
            const std::string address(*decodeAddress(bytes));
            // The transfer ID is the second text of the whole and begin forms, else the first.
            const bool named = address == "/tessiva/articulationset/import" ||
                               address == "/tessiva/articulationset/import/begin";
            result.emplace_back(address, *(*arguments)[named ? 1 : 0].asString());
        }
        transport.clearSent();
        return result;
    }
    void ack(const std::string& transferID, const std::string& status,
             const std::string& message = "") {
        importer.handleAcknowledgement(ArticulationSetImportAck{
            transferID, status == "true" || status == "success", status, message});
        scheduler.runUntilIdle();
    }

    VirtualScheduler scheduler;
    NotificationCenter center{scheduler.mainQueue()};
    CapturingConsole console;
    SimulatedUdpTransport transport;
    OSCManager sender{scheduler, transport, console, center};
    FixedPeer peer;
    TempFolder folder;
    ArticulationSetImporter importer{
        ArticulationSetImporter::Services{scheduler.mainQueue(), sender, peer, center, console}};
    ObserverToken token;
    std::vector<std::string> titles;
    std::vector<ArticulationSetImportProgress> finished;
};

TEST(ArticulationSetImporter, SendsOneFileAtATimeRetriesLostAcksAndReportsEachResult) {
    ImportRig rig;
    rig.file("A Strings.plist", kPlist);
    rig.file("B Broken.plist", "<plist><dict>");
    rig.file("C Brass.PLIST", kPlist);
    rig.file("D Winds.plist", kPlist);
    rig.file("notes.txt", "not a set");
    rig.file(".E Hidden.plist", kPlist);
    ASSERT_EQ(rig.importer.start(rig.folder.path()), std::nullopt);

    SCOPED_TRACE("A goes alone and waits; its acknowledgement sends the next readable file");
    auto sent = rig.takeSent();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].first, "/tessiva/articulationset/import");
    EXPECT_EQ(rig.importer.progress().statusLine(),
              "Articulation sets: sending 1 of 4 (A Strings.plist)…");
    rig.ack(sent[0].second, "success");
    // B is not a property list: never sent. C goes next.
    sent = rig.takeSent();
    ASSERT_EQ(sent.size(), 1u);
    const std::string brass = sent[0].second;
    EXPECT_EQ(rig.importer.progress().currentFile, "C Brass.PLIST");

    SCOPED_TRACE("C is never acknowledged: sent again after 8 s, twice, then reported");
    rig.scheduler.advance(7.9);
    EXPECT_TRUE(rig.takeSent().empty());
    rig.scheduler.advance(0.1);
    sent = rig.takeSent();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].second, brass) << "a retry keeps its transfer ID";
    rig.scheduler.advance(8.0);
    EXPECT_EQ(rig.takeSent().size(), 1u);
    rig.scheduler.advance(8.0);
    // Given up: D goes.
    sent = rig.takeSent();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_NE(sent[0].second, brass);
    rig.ack(brass, "success");  // too late: ignored
    rig.ack(sent[0].second, "false", "Bank list is full");

    ASSERT_EQ(rig.finished.size(), 1u);
    const auto& results = rig.finished[0].results;
    ASSERT_EQ(results.size(), 4u);
    const std::vector<ArticulationSetOutcome> outcomes = {
        ArticulationSetOutcome::imported, ArticulationSetOutcome::notPropertyList,
        ArticulationSetOutcome::unacknowledged, ArticulationSetOutcome::rejectedByIPad};
    for (std::size_t i = 0; i < outcomes.size(); ++i)
        EXPECT_EQ(results[i].outcome, outcomes[i]) << results[i].message;
    EXPECT_EQ(results[2].attempts, 3);
    EXPECT_PRED_FORMAT2(IsSubstring, "B Broken.plist is not a readable property list",
                        results[1].message);
    EXPECT_PRED_FORMAT2(IsSubstring, "Bank list is full", results[3].message);
    EXPECT_EQ(rig.finished[0].statusLine(), "Articulation sets: 1 of 4 imported (3 not imported)");
    EXPECT_FALSE(rig.importer.progress().running);
}

TEST(ArticulationSetImporter, RefusesToStartWithoutFilesOrIPadAndStopsWhenTheIPadGoes) {
    ImportRig rig;
    EXPECT_PRED_FORMAT2(IsSubstring, "does not exist", *rig.importer.start(rig.folder / "missing"));
    EXPECT_PRED_FORMAT2(IsSubstring, "holds no articulation sets",
                        *rig.importer.start(rig.folder.path()));
    rig.file("A.plist", kPlist);
    rig.file("B.plist", kPlist);
    rig.peer.endpoint.reset();
    EXPECT_PRED_FORMAT2(IsSubstring, "No iPad is connected",
                        *rig.importer.start(rig.folder.path()));
    EXPECT_TRUE(rig.takeSent().empty());

    rig.peer.endpoint = PeerEndpoint{"127.0.0.1", 53000};
    ASSERT_EQ(rig.importer.start(rig.folder.path()), std::nullopt);
    EXPECT_PRED_FORMAT2(IsSubstring, "already running", *rig.importer.start(rig.folder.path()));
    ASSERT_EQ(rig.takeSent().size(), 1u);
    rig.peer.endpoint.reset();
    rig.scheduler.advance(8.0);  // the retry finds no iPad
    EXPECT_TRUE(rig.takeSent().empty());
    ASSERT_EQ(rig.finished.size(), 1u);
    EXPECT_EQ(rig.finished[0].count(ArticulationSetOutcome::notSent), 2u);
}

}  // namespace
}  // namespace tessiva
