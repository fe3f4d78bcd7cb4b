#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/ChildProcess.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

using testing::ChildProcess;

const char* kWorkspace = R"({"workspaceUUID": "W-1", "workspaceName": "Orchestra", "sections": [
  {"name": "Strings", "banks": [
    {"uuid": "B-1", "name": "Violins Legato", "sectionName": "Strings", "articulationCount": 2,
     "articulationNames": ["Legato", "Sustain"], "groupUUID": "G-1", "groupName": "Long"},
    {"uuid": "B-2", "name": "Violins Short", "sectionName": "Strings", "articulationCount": 1,
     "articulationNames": ["Spiccato ✓"]}]},
  {"name": "Brass", "banks": [
    {"uuid": "B-3", "name": "Horns", "sectionName": "Brass", "articulationCount": 1,
     "articulationNames": ["Sfz"], "isPinned": true}]}]})";

std::string portAfter(const std::string& line, const std::string& prefix) {
    return line.substr(line.find(prefix) + prefix.size());
}

// A temporary folder with the workspace file, and the whole Mac program on an ephemeral port.
class LinkProcesses : public ::testing::Test {
  protected:
    void SetUp() override {
        workspaceFile = (folder / "workspace.json").string();
        std::ofstream(workspaceFile) << kWorkspace;
    }

    // Starts the Mac; returns its listen port.
    std::string startMac() {
        host = std::make_unique<ChildProcess>(std::vector<std::string>{
            TESSIVA_FOCUS, "run", "--port", "0", "--bind", "127.0.0.1", "--no-bonjour", "--midi",
            "memory", "--logic", "simulated", "--events", "--home", (folder / "home").string(),
            "--name", "Test Mac"});
        EXPECT_TRUE(host->started());
        const std::string listening = "Listening for inbound OSC UDP on port ";
        auto line = host->waitForLine(listening);
        EXPECT_TRUE(line) << host->output();
        return line ? portAfter(*line, listening) : "1";
    }
    static std::string boundID(ChildProcess& peer, const std::string& prefix = "BOUND ") {
        auto line = peer.waitForLine(prefix + "127.0.0.1:");
        return line ? "127.0.0.1:" + portAfter(*line, prefix + "127.0.0.1:") : "?";
    }
    void expectHostLine(const std::string& text) {
        EXPECT_TRUE(host->waitForLine(text)) << host->output();
    }
    // The Mac quits cleanly on SIGTERM, as when the user logs out.
    void TearDown() override {
        if (!host)
            return;
        host->kill(SIGTERM);
        EXPECT_EQ(host->wait(), 0) << host->output();
    }

    TempFolder folder{"tessiva-link"};
    std::string workspaceFile;
    std::unique_ptr<ChildProcess> host;
};

TEST_F(LinkProcesses, IPadPingsFirstTheMacAsksForTheWorkspaceAndASecondIPadIsRefused) {
    const std::string macPort = startMac();
    // clang-format off
    ChildProcess first({TESSIVA_PEER, "--port", macPort, "--name", "Stage iPad",
                        "--answer-snapshot", workspaceFile, "--answer-chunks", "3",
                        "ping", "wait-for", "/pong", "--timeout", "5",
                        "wait-for", "/tessiva/workspace/snapshot/request", "--timeout", "5",
                        "midi", "--type", "Note_On", "--channel", "2", "--data1", "61",
                        "--data2", "90",
                        "listen", "--seconds", "0.3"});
    // clang-format on
    EXPECT_EQ(first.wait(), 0) << first.output();
    const std::string firstID = boundID(first);
    // The Mac answers from its sender's socket, not from the listen port.
    EXPECT_TRUE(first.waitForLine("RX /pong [s:Test Mac] from 127.0.0.1:")) << first.output();
    EXPECT_TRUE(first.waitForLine("RX /tessiva/focus/device/name [s:Test Mac]")) << first.output();

    expectHostLine("Active peer is now " + firstID + ". reason=first peer connected");
    expectHostLine("Tessiva: iPad connected (Stage iPad)");
    expectHostLine("Requested snapshot after active peer connected via /ping from " + firstID);
    expectHostLine(
        "Reassembled workspace contains 2 sections and 3 banks. workspace=\"Orchestra\"");
    // Into the virtual MIDI source.
    expectHostLine(
        "Mirrored MIDI active: 1 events sent. latest=noteOn channel=2 data1=61 data2=90");

    SCOPED_TRACE("a second iPad on another port gets no /pong");
    ChildProcess second({TESSIVA_PEER, "--port", macPort, "--name", "Other iPad", "ping",
                         "wait-for", "/pong", "--timeout", "1"});
    EXPECT_EQ(second.wait(), 3) << second.output();
    const std::string secondID = boundID(second);
    EXPECT_FALSE(second.waitForLine("RX /pong", 0.0));
    expectHostLine("EVENT OSC iPad peer rejected — Rejected " + secondID + " because active peer " +
                   firstID + " is already connected.");
}

TEST_F(LinkProcesses, MacPingsTheRememberedIPadFirstAndAsksForTheWorkspaceAfterItsPong) {
    // The iPad is up before the Mac starts, as after a relaunch of the Mac.
    ChildProcess iPad({TESSIVA_PEER, "--port", "1", "--name", "Stage iPad", "--answer-snapshot",
                       workspaceFile, "listen", "--seconds", "4"});
    const std::string iPadID = boundID(iPad);
    std::filesystem::create_directories(folder / "home");
    std::ofstream(folder / "home" / "Preferences.json")
        << R"({"OSCDiscoveryManager.lastPeerHost": "127.0.0.1", "OSCDiscoveryManager.lastPeerPort": )"
        << portAfter(iPadID, "127.0.0.1:") << "}";
    startMac();

    EXPECT_TRUE(iPad.waitForLine("RX /ping [i:")) << iPad.output();
    expectHostLine("Tessiva: iPad connected (Stage iPad)");
    expectHostLine("Requested snapshot after active peer reconnected via /pong from " + iPadID);
    EXPECT_TRUE(iPad.waitForLine("RX /tessiva/workspace/snapshot/request")) << iPad.output();
    expectHostLine("Workspace \"Orchestra\" with 2 sections and 3 banks");
}

TEST_F(LinkProcesses, AnIPadSendingFromASecondPortIsStillTheActivePeer) {
    const std::string macPort = startMac();
    // clang-format off
    ChildProcess iPad({TESSIVA_PEER, "--port", macPort, "--name", "Stage iPad",
                       "--source-port", "0", "--answer-snapshot", workspaceFile,
                       "ping", "wait-for", "/pong", "--timeout", "5",
                       "wait-for", "/tessiva/workspace/snapshot/request", "--timeout", "5",
                       "name",
                       "query", "--bank", "B-1", "wait-for", "/tessiva/focus/mapping/result",
                       "--timeout", "5",
                       "midi", "--type", "Note_On", "--channel", "1", "--data1", "60",
                       "--data2", "64",
                       "listen", "--seconds", "0.3"});
    // clang-format on
    EXPECT_EQ(iPad.wait(), 0) << iPad.output();
    const std::string listenID = boundID(iPad);
    const std::string sourceID = boundID(iPad, "SENDING FROM ");
    ASSERT_NE(listenID, sourceID);

    // One peer, named after the port it listens on; what it sends from the other port is its own.
    expectHostLine("Active peer is now " + listenID);
    expectHostLine("Workspace \"Orchestra\" with 2 sections and 3 banks");
    expectHostLine("Received iPad device name \"Stage iPad\" from " + sourceID);
    expectHostLine("reply=" + listenID);
    expectHostLine("Mirrored MIDI active: 1 events sent. latest=noteOn channel=1 data1=60");
    EXPECT_FALSE(host->waitForLine("inactive", 0.0)) << host->output();
}

}  // namespace
}  // namespace tessiva
