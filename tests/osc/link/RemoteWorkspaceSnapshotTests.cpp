#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "../OSCArgs.h"
#include "osc/RemoteWorkspaceSnapshot.h"
#include "osc/RemoteWorkspaceStore.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

using namespace testing;

const char* kTwoSections = R"({
  "workspaceUUID": "W-1", "workspaceName": "Strings", "extra": {"ignored": true},
  "sections": [
    {"name": "Violins", "banks": [
      {"uuid": "B-1", "name": "Legato", "groupUUID": "G-1", "groupName": "Long",
       "sectionName": "Violins", "articulationCount": 2,
       "articulationNames": ["Sustain", "Legato"], "isPinned": true},
      {"uuid": "B-2", "name": "Short", "sectionName": "Violins", "articulationCount": 0,
       "articulationNames": [], "groupUUID": null}
    ]},
    {"name": "Empty", "banks": []}
  ]
})";

// A decoding fault throws, and so fails the test.
RemoteWorkspaceSnapshot decoded(const std::string& json) {
    return std::get<RemoteWorkspaceSnapshot>(decodeRemoteWorkspaceSnapshot(json));
}

TEST(RemoteWorkspaceSnapshot, DecodesRequiredAndOptionalKeysAndRoundTrips) {
    // Unknown keys are ignored; null reads as missing.
    const RemoteWorkspaceSnapshot expected{
        "W-1",
        "Strings",
        {{"Violins",
          {{"B-1", "Legato", "G-1", "Long", "Violins", 2, {"Sustain", "Legato"}, true},
           {"B-2", "Short", std::nullopt, std::nullopt, "Violins", 0, {}, std::nullopt}}},
         {"Empty", {}}}};
    const RemoteWorkspaceSnapshot snapshot = decoded(kTwoSections);
    EXPECT_EQ(snapshot, expected);
    EXPECT_EQ(snapshot.bankCount(), 2u);
    // Encoding writes the same keys, so a round trip compares equal by value.
    EXPECT_EQ(decoded(encodeRemoteWorkspaceSnapshot(snapshot)), snapshot);
    EXPECT_EQ(decoded(R"({"sections": []})"), RemoteWorkspaceSnapshot{});
}

// A snapshot with one bank: "uuid", "name", "sectionName", then `keys`.
std::string withBank(const std::string& keys) {
    return R"({"sections": [{"name": "S", "banks": [{"uuid": "B", "name": "N", "sectionName": "S", )" +
           keys + "}]}]}";
}

TEST(RemoteWorkspaceSnapshot, RefusesMalformedTextAndMissingOrMistypedValuesSayingWhere) {
    const std::string bank = "sections[0].banks[0]";
    const struct {
        std::string json;
        std::string error;
    } cases[] = {
        {withBank(R"("articulationCount": 1)"), bank + ": missing key \"articulationNames\""},
        {R"({"workspaceName": "x"})", "snapshot: missing key \"sections\""},
        {R"({"sections": [{"name": 3, "banks": []}]})", "sections[0].name: expected a string"},
        {withBank(R"("articulationCount": 1.5, "articulationNames": [])"),
         bank + ".articulationCount: expected an integer"},
        {withBank(R"("articulationCount": 1, "articulationNames": ["a", 2])"),
         bank + ".articulationNames[1]: expected a string"},
        {withBank(R"("articulationCount": 1, "articulationNames": [], "isPinned": "yes")"),
         bank + ".isPinned: expected a Boolean"},
        {withBank(R"("articulationCount": 9223372036854775808, "articulationNames": [])"),
         bank + ".articulationCount: expected an integer"},
        {"[1, 2]", "snapshot: expected an object"},
        {"{\"sections\": [}", "The data is not valid JSON at byte offset 14: "},
        {"", "The data is not valid JSON at byte offset 0: "},
        {std::string(65, '[') + std::string(65, ']'),
         "The data is not valid JSON at byte offset 64: nested deeper than 64 levels"},
        {std::string(64, '[') + std::string(64, ']'), "snapshot: expected an object"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        const auto error = std::get<std::string>(decodeRemoteWorkspaceSnapshot(c.json));
        // The parser's own reason after the offset is not ours to pin.
        EXPECT_EQ(c.error.ends_with(": ") ? error.substr(0, c.error.size()) : error, c.error);
    }
}

RemoteWorkspaceSnapshot named(const std::string& name) {
    RemoteWorkspaceSnapshot snapshot;
    snapshot.workspaceName = name;
    return snapshot;
}

TEST(RemoteWorkspaceStore, PublishesOnTheMainQueueAndReplacesWhole) {
    VirtualScheduler scheduler;
    RemoteWorkspaceStore store(scheduler.mainQueue());
    std::vector<std::string> seen;
    auto token = store.addObserver([&](const RemoteWorkspaceSnapshot& s) {
        EXPECT_TRUE(scheduler.mainQueue().isCurrent());
        seen.push_back(s.workspaceName.value_or("?"));
    });

    SCOPED_TRACE("from another thread: hops to main");
    std::thread([&] { store.publish(named("B")); }).join();
    EXPECT_FALSE(store.snapshot().has_value());  // not yet: main has not run
    scheduler.runUntilIdle();
    EXPECT_EQ(seen, std::vector<std::string>{"B"});

    SCOPED_TRACE("a removed observer is not told");
    token.reset();
    store.publish(named("C"));
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(store.snapshot()->workspaceName, "C");
}

using Assembler = WorkspaceSnapshotChunkAssembler;
using Refusals = std::vector<std::string>;

TEST(WorkspaceSnapshotChunkAssembler, ReassemblesInIndexOrderAndIgnoresBadChunks) {
    Assembler assembler;
    SCOPED_TRACE("out of order");
    EXPECT_FALSE(assembler.addChunk("T", 2, 3, "C").text);
    EXPECT_FALSE(assembler.addChunk("T", 0, 3, "A").text);
    EXPECT_EQ(assembler.heldBytes(), 2u);
    auto done = assembler.addChunk("T", 1, 3, "B");
    ASSERT_TRUE(done.text);
    EXPECT_EQ(*done.text, "ABC");
    EXPECT_EQ(assembler.incompleteTransferCount(), 0u);
    EXPECT_EQ(assembler.heldBytes(), 0u);

    SCOPED_TRACE("index out of range, negative or empty text");
    EXPECT_FALSE(assembler.addChunk("U", 3, 3, "x").text);
    EXPECT_FALSE(assembler.addChunk("U", -1, 3, "x").text);
    EXPECT_FALSE(assembler.addChunk("U", 0, 1, "").text);
    EXPECT_EQ(assembler.incompleteTransferCount(), 0u);

    SCOPED_TRACE("a repeated index overwrites, a different total restarts");
    assembler.addChunk("V", 0, 2, "old");
    assembler.addChunk("V", 0, 2, "new");
    EXPECT_EQ(assembler.heldBytes(), 3u);
    assembler.addChunk("V", 0, 3, "r0");  // restart: "new" is gone
    assembler.addChunk("V", 1, 3, "r1");
    EXPECT_EQ(*assembler.addChunk("V", 2, 3, "r2").text, "r0r1r2");

    SCOPED_TRACE("a single chunk completes at once");
    EXPECT_EQ(*assembler.addChunk("W", 0, 1, "{}").text, "{}");
}

TEST(WorkspaceSnapshotChunkAssembler, StaysBoundedUnderHostileInputAndReportsOncePerTransfer) {
    SCOPED_TRACE("chunk counts above the limit are refused once");
    Assembler assembler;
    EXPECT_EQ(
        assembler.addChunk("huge", 0, 4097, "x").refusals,
        Refusals{"Refused chunked transfer huge: chunk count 4097 exceeds the limit of 4096."});
    EXPECT_TRUE(assembler.addChunk("huge", 1, 4097, "x").refusals.empty());
    EXPECT_EQ(assembler.incompleteTransferCount(), 0u);
    EXPECT_FALSE(assembler.addChunk("max", 0, 4096, "x").text);  // the limit itself is fine
    EXPECT_EQ(assembler.incompleteTransferCount(), 1u);

    SCOPED_TRACE("the ninth transfer evicts the oldest");
    Assembler eight;
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(eight.addChunk("t" + std::to_string(i), 0, 2, "a").refusals.empty());
    EXPECT_EQ(eight.addChunk("t8", 0, 2, "a").refusals,
              Refusals{"Evicted incomplete chunked transfer t0 to make room for t8."});
    EXPECT_EQ(eight.incompleteTransferCount(), 8u);
    // t0 starts again from nothing; t1 still completes.
    EXPECT_EQ(*eight.addChunk("t1", 1, 2, "b").text, "ab");

    SCOPED_TRACE("bytes held across transfers stay under the cap");
    Assembler small(Assembler::Limits{8, 10, 4096});
    small.addChunk("a", 0, 3, "1234");
    small.addChunk("b", 0, 3, "1234");
    EXPECT_EQ(
        small.addChunk("c", 0, 3, "1234").refusals,
        Refusals{"Evicted incomplete chunked transfer a to keep held chunks under 10 bytes."});
    EXPECT_EQ(small.heldBytes(), 8u);

    SCOPED_TRACE("one transfer bigger than the cap is dropped and refused once");
    EXPECT_EQ(small.addChunk("b", 1, 3, "1234567").refusals,
              Refusals{"Refused chunked transfer b: it would hold more than 10 bytes."});
    EXPECT_TRUE(small.addChunk("b", 2, 3, "12345678901").refusals.empty());
    EXPECT_EQ(small.heldBytes(), 4u);  // only "c" remains
}

TEST(WorkspaceSnapshotChunkAssembler, ChunkArgumentsAndSplittingRoundTrip) {
    WorkspaceSnapshotChunk chunk{"T-1", 2, 3, "{\"a\":1}"};
    auto arguments = chunk.arguments();
    EXPECT_EQ(WorkspaceSnapshotChunk::fromArguments(arguments), chunk);
    arguments.pop_back();  // a wrong kind is refused on the link
    EXPECT_FALSE(WorkspaceSnapshotChunk::fromArguments(arguments));

    // Splitting never cuts a multi-byte character and rejoins to the original text.
    const std::string text = "Flöte — Ütü ✓ strings";
    for (std::size_t n : {1u, 2u, 3u, 7u, 100u}) {
        auto chunks = splitIntoChunks(text, n);
        std::string joined;
        for (const auto& part : chunks) {
            EXPECT_FALSE(part.empty());
            EXPECT_NE(static_cast<unsigned char>(part[0]) & 0xC0, 0x80) << "split mid-character";
            joined += part;
        }
        EXPECT_EQ(joined, text);
        EXPECT_LE(chunks.size(), n);
    }
    EXPECT_EQ(splitIntoChunks("abcdef", 3), (std::vector<std::string>{"ab", "cd", "ef"}));
}

}  // namespace
}  // namespace tessiva
