#include <gtest/gtest.h>

#include <string>

#include "osc/OSCArgument.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"

namespace tessiva {
namespace {

using Assembler = WorkspaceSnapshotChunkAssembler;

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
    auto first = assembler.addChunk("huge", 0, 4097, "x");
    ASSERT_EQ(first.refusals.size(), 1u);
    EXPECT_EQ(first.refusals[0],
              "Refused chunked transfer huge: chunk count 4097 exceeds the limit of 4096.");
    EXPECT_TRUE(assembler.addChunk("huge", 1, 4097, "x").refusals.empty());
    EXPECT_EQ(assembler.incompleteTransferCount(), 0u);
    EXPECT_FALSE(assembler.addChunk("max", 0, 4096, "x").text);  // the limit itself is fine
    EXPECT_EQ(assembler.incompleteTransferCount(), 1u);

    SCOPED_TRACE("the ninth transfer evicts the oldest");
    Assembler eight;
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(eight.addChunk("t" + std::to_string(i), 0, 2, "a").refusals.empty());
    auto ninth = eight.addChunk("t8", 0, 2, "a");
    ASSERT_EQ(ninth.refusals.size(), 1u);
    EXPECT_EQ(ninth.refusals[0], "Evicted incomplete chunked transfer t0 to make room for t8.");
    EXPECT_EQ(eight.incompleteTransferCount(), 8u);
    // t0 starts again from nothing; t1 still completes.
    EXPECT_EQ(*eight.addChunk("t1", 1, 2, "b").text, "ab");

    SCOPED_TRACE("bytes held across transfers stay under the cap");
    Assembler small(Assembler::Limits{8, 10, 4096});
    small.addChunk("a", 0, 3, "1234");
    small.addChunk("b", 0, 3, "1234");
    auto overflow = small.addChunk("c", 0, 3, "1234");
    ASSERT_EQ(overflow.refusals.size(), 1u);
    EXPECT_EQ(overflow.refusals[0],
              "Evicted incomplete chunked transfer a to keep held chunks under 10 bytes.");
    EXPECT_EQ(small.heldBytes(), 8u);
    EXPECT_LE(small.heldBytes(), 10u);

    SCOPED_TRACE("one transfer bigger than the cap is dropped and refused once");
    auto tooBig = small.addChunk("b", 1, 3, "1234567");
    ASSERT_EQ(tooBig.refusals.size(), 1u);
    EXPECT_EQ(tooBig.refusals[0], "Refused chunked transfer b: it would hold more than 10 bytes.");
    EXPECT_EQ(small.heldBytes(), 4u);  // only "c" remains
    auto alone = small.addChunk("d", 0, 2, "12345678901");
    ASSERT_EQ(alone.refusals.size(), 1u);
    EXPECT_TRUE(small.addChunk("d", 1, 2, "12345678901").refusals.empty());
    EXPECT_EQ(small.heldBytes(), 4u);
}

TEST(WorkspaceSnapshotChunkAssembler, ChunkArgumentsAndSplittingRoundTrip) {
    WorkspaceSnapshotChunk chunk{"T-1", 2, 3, "{\"a\":1}"};
    auto arguments = chunk.arguments();
    ASSERT_EQ(arguments.size(), 4u);
    EXPECT_EQ(arguments[1], OSCArgument::int32(2));
    EXPECT_EQ(WorkspaceSnapshotChunk::fromArguments(arguments), chunk);

    // Wrong kinds or counts are refused.
    std::swap(arguments[1], arguments[2]);
    EXPECT_TRUE(WorkspaceSnapshotChunk::fromArguments(arguments));  // still s,i,i,s
    arguments[2] = OSCArgument::string("2");
    EXPECT_FALSE(WorkspaceSnapshotChunk::fromArguments(arguments));
    arguments.pop_back();
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
