#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"

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

TEST(LinkProcesses, PeerBecomesActiveSendsSnapshotAndMIDIAndASecondPeerIsRejected) {
    const auto folder =
        std::filesystem::temp_directory_path() / ("tessiva-link-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const auto workspaceFile = folder / "workspace.json";
    std::ofstream(workspaceFile) << kWorkspace;

    ChildProcess host(
        {TESSIVA_LINK_TEST_HOST, "--port", "0", "--seconds", "50", "--name", "Test Mac"});
    ASSERT_TRUE(host.started());
    auto listening = host.waitForLine("LISTENING ");
    ASSERT_TRUE(listening) << host.output();
    const std::string macPort = portAfter(*listening, "LISTENING ");

    SCOPED_TRACE("the first iPad pings, hears the Mac's name and sends its workspace in 3 chunks");
    // clang-format off
    ChildProcess first({TESSIVA_PEER, "--port", macPort, "--name", "Stage iPad",
                        "ping", "wait-for", "/pong", "--timeout", "5",
                        "snapshot", "--file", workspaceFile.string(), "--chunks", "3",
                        "--order", "2,0,1",
                        "midi", "--type", "Note_On", "--channel", "2", "--data1", "61",
                        "--data2", "90",
                        "listen", "--seconds", "0.3"});
    // clang-format on
    EXPECT_EQ(first.wait(), 0) << first.output();
    auto bound = first.waitForLine("BOUND 127.0.0.1:");
    ASSERT_TRUE(bound);
    const std::string firstID = "127.0.0.1:" + portAfter(*bound, "BOUND 127.0.0.1:");
    // The Mac answers from its sender's socket, not from the listen port.
    EXPECT_TRUE(first.waitForLine("RX /pong [s:Test Mac] from 127.0.0.1:")) << first.output();
    EXPECT_TRUE(first.waitForLine("RX /tessiva/focus/device/name [s:Test Mac]")) << first.output();

    EXPECT_TRUE(host.waitForLine("Active peer is now " + firstID + ". reason=first peer connected"))
        << host.output();
    EXPECT_TRUE(host.waitForLine("HANDSHAKE connected=1 peer=" + firstID));
    EXPECT_TRUE(host.waitForLine("Reassembled workspace contains 2 sections and 3 banks"))
        << host.output();
    EXPECT_TRUE(host.waitForLine("PUBLISHED sections=2 banks=3 name=Orchestra"));
    EXPECT_TRUE(host.waitForLine("MIDI Note_On 2 61 90 from " + firstID)) << host.output();

    SCOPED_TRACE("a second iPad on another port gets no /pong");
    ChildProcess second({TESSIVA_PEER, "--port", macPort, "--name", "Other iPad", "ping",
                         "wait-for", "/pong", "--timeout", "1"});
    EXPECT_EQ(second.wait(), 3) << second.output();
    auto secondBound = second.waitForLine("BOUND 127.0.0.1:");
    ASSERT_TRUE(secondBound);
    const std::string secondID = "127.0.0.1:" + portAfter(*secondBound, "BOUND 127.0.0.1:");
    EXPECT_FALSE(second.waitForLine("RX /pong", 0.0));
    EXPECT_TRUE(host.waitForLine("EVENT OSC iPad peer rejected | Rejected " + secondID +
                                 " because active peer " + firstID + " is already connected."))
        << host.output();

    host.closeInput();
    EXPECT_EQ(host.wait(), 0);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace tessiva
