#include <gtest/gtest.h>

#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"
#include "transfer/ArticulationSetImporter.h"
#include "transfer/ArticulationSetTransfer.h"
#include "transfer/NavigationExportSaver.h"
#include "transfer/PropertyListCheck.h"

namespace tessiva {
namespace {

const std::string kSet = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Articulations</key>
	<array>
		<dict><key>ArticulationID</key><integer>1</integer><key>Name</key><string>Légato</string>
		<key>Gain</key><real>-1.5</real><key>Muted</key><false/></dict>
	</array>
	<!-- written by Logic -->
	<key>Name</key><string>Strings &amp; Co</string>
</dict>
</plist>
)";

TEST(PropertyListCheck, AcceptsLogicsXMLAndRefusesWhatIsNotAReadablePropertyList) {
    EXPECT_EQ(propertyListRefusal(kSet), std::nullopt);
    EXPECT_EQ(propertyListRefusal("\xEF\xBB\xBF<plist><array/></plist>"), std::nullopt);
    // Letters of one to four UTF-8 bytes are text like any other.
    EXPECT_EQ(propertyListRefusal("<plist><string>Flöte ✓ 🎻</string></plist>"), std::nullopt);
    struct Case {
        std::string text;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {"bplist00\x01\x02", "binary property list"},
        {"", "no <plist> element"},
        {"{\"json\": true}", "text outside of a value"},
        {"<plist><dict><key>A</key></dict></plist>", "a <key> in a <dict> has no value"},
        {"<plist><dict><string>A</string></dict></plist>", "a <dict> value has no <key>"},
        {"<plist><dict><key>A</key><key>B</key></dict></plist>", "a <key> follows a <key>"},
        {"<plist><array><integer>one</integer></array></plist>", "not a number"},
        {"<plist><array></plist>", "does not close"},
        {"<plist><array/><array/></plist>", "exactly one value"},
        {"<plist><array/>", "never closed"},
        {"<html><body/></html>", "<html>"},
        {"<plist><array><></></array></plist>", "element <>"},
        {"<plist><array/></plist><plist><array/></plist>", "not one <plist>"},
        {std::string("<plist><string>a\0b</string></plist>", 35), "NUL"},
        {"<plist><string>\xC3</string></plist>", "UTF-8"},
        {"<plist><string>\xF0\x9F\x8E</string></plist>", "UTF-8"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto refusal = propertyListRefusal(c.text);
        ASSERT_TRUE(refusal);
        EXPECT_NE(refusal->find(c.reason), std::string::npos) << *refusal;
    }
}

TEST(ArticulationSetTransfer, SmallFilesGoWholeLargeOnesInChunksThatStayUnderTheSafeSize) {
    const auto single = articulationSetMessages("Strings.plist", "T-1", kSet);
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(single[0].address, "/tessiva/articulationset/import");
    EXPECT_EQ(*single[0].arguments[2].asString(), kSet);

    // Multi-byte letters straddle the chunk borders; the pieces must still join to the file.
    std::string large = "<plist><array>";
    while (large.size() < 5000)
        large += "<string>Flöte ✓ 🎻</string>";
    large += "</array></plist>";
    const auto messages = articulationSetMessages("Large.plist", "T-2", large);
    ASSERT_GE(messages.size(), 7u);
    EXPECT_EQ(messages.front().address, "/tessiva/articulationset/import/begin");
    EXPECT_EQ(*messages.front().arguments[2].asInt32(), static_cast<int>(large.size()));
    const int count = *messages.front().arguments[3].asInt32();
    EXPECT_EQ(count, static_cast<int>(messages.size()) - 2);
    EXPECT_EQ(messages.back().address, "/tessiva/articulationset/import/end");
    EXPECT_EQ(*messages.back().arguments[1].asInt32(), count);
    std::string joined;
    for (std::size_t i = 1; i + 1 < messages.size(); ++i) {
        const auto& chunk = messages[i];
        EXPECT_EQ(*chunk.arguments[1].asInt32(), static_cast<int>(i - 1));
        EXPECT_LE(encodeMessage(chunk.address, chunk.arguments).size(), kTransferDatagramBytes);
        const std::string& text = *chunk.arguments[3].asString();
        EXPECT_FALSE(text.empty());
        EXPECT_NE(static_cast<unsigned char>(text.front()) & 0xC0, 0x80) << "split a letter";
        joined += text;
    }
    EXPECT_EQ(joined, large);
    EXPECT_LT(kTransferDatagramBytes, kSafeUdpPayloadBytes);
}

TEST(NavigationExportSaver, NamesFilesSafelyNeverReplacesOneAndRefusesAMissingFolder) {
    TempFolder folder;
    const Date date = 800'000'000.0;
    struct Case {
        std::optional<std::string> proposed;
        std::string name;
    };
    const std::vector<Case> cases = {
        {"Navigation.json", "Navigation.json"},
        {"../../etc/passwd", "passwd.json"},
        {".hidden", "hidden.json"},
        {"Set:\x01One.txt", "One.txt"},
        {std::nullopt, "Tessiva Navigation Export "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.proposed.value_or("<none>"));
        const auto path = navigationExportPath(folder.path(), c.proposed, date);
        EXPECT_EQ(path.parent_path(), folder.path());
        EXPECT_TRUE(path.filename().string().starts_with(c.name)) << path;
    }
    auto first = saveNavigationExport(folder.path(), "Nav.json", "one", date);
    auto second = saveNavigationExport(folder.path(), "Nav.json", "two", date);
    ASSERT_TRUE(std::holds_alternative<std::filesystem::path>(second));
    EXPECT_EQ(std::get<std::filesystem::path>(first).filename(), "Nav.json");
    EXPECT_EQ(std::get<std::filesystem::path>(second).filename(), "Nav 2.json");
    EXPECT_EQ(readWholeFile(folder / "Nav.json"), "one");
    EXPECT_EQ(readWholeFile(folder / "Nav 2.json"), "two");

    auto missing = saveNavigationExport(folder / "gone", "Nav.json", "x", date);
    ASSERT_TRUE(std::holds_alternative<std::string>(missing));
    EXPECT_NE(std::get<std::string>(missing).find("does not exist"), std::string::npos);
}

using ::testing::IsSubstring;

class FixedPeer final : public PeerEndpointProvider {
  public:
    std::optional<PeerEndpoint> activePeerEndpoint() const override { return endpoint; }
    std::optional<PeerEndpoint> endpoint = PeerEndpoint{"127.0.0.1", 53000};
};

struct ImportRig {
    ImportRig() {
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
    std::vector<ArticulationSetImportProgress> finished;
};

TEST(ArticulationSetImporter, SendsOneFileAtATimeRetriesLostAcksAndReportsEachResult) {
    ImportRig rig;
    rig.file("A Strings.plist", kSet);
    rig.file("B Broken.plist", "<plist><dict>");
    rig.file("C Brass.PLIST", kSet);
    rig.file("D Winds.plist", kSet);
    rig.file("notes.txt", "not a set");
    rig.file(".E Hidden.plist", kSet);
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
    rig.file("A.plist", kSet);
    rig.file("B.plist", kSet);
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
