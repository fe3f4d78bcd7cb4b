#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tessiva {

class OSCArgument;

// One "/tessiva/workspace/snapshot/chunk" message. The argument order is fixed here and only here:
//   s transfer ID, i chunk index (from 0), i chunk count, s chunk text
// (the order the articulation-set import chunks use too). Both the dispatcher and tessiva-peer
// go through these two functions.
struct WorkspaceSnapshotChunk {
    std::string transferID;
    std::int32_t index = 0;
    std::int32_t count = 0;
    std::string text;

    std::vector<OSCArgument> arguments() const;
    // Absent unless the arguments are exactly (s, i, i, s).
    static std::optional<WorkspaceSnapshotChunk> fromArguments(
        const std::vector<OSCArgument>& arguments);

    bool operator==(const WorkspaceSnapshotChunk&) const = default;
};

// Splits a JSON text into `count` chunks of near-equal size (never splitting a UTF-8 sequence);
// at least one chunk, never an empty one.
std::vector<std::string> splitIntoChunks(const std::string& text, std::size_t count);

// Reassembles chunked transfers (the workspace snapshot, the navigation export). Chunks may
// arrive in any order; a repeated index overwrites. Memory stays bounded under hostile input:
// at most `Limits::maxTransfers` incomplete transfers (the oldest is evicted), at most
// `Limits::maxHeldBytes` held across them, and chunk counts above `Limits::maxChunkCount`
// refused. A refusal is reported once per transfer. Guarded by its own lock, so any queue may
// call it. Pure memory, no I/O: tests use the real class.
class WorkspaceSnapshotChunkAssembler {
  public:
    struct Limits {
        std::size_t maxTransfers = 8;
        std::size_t maxHeldBytes = 16 * 1024 * 1024;
        std::int32_t maxChunkCount = 4096;
    };

    // What one chunk did. `text` is the whole transfer when this chunk completed it; `refusals`
    // are the log messages owed for this chunk (empty when nothing new needs saying).
    struct Outcome {
        std::optional<std::string> text;
        std::vector<std::string> refusals;
    };

    WorkspaceSnapshotChunkAssembler() = default;
    explicit WorkspaceSnapshotChunkAssembler(Limits limits) : limits_(limits) {}
    WorkspaceSnapshotChunkAssembler(const WorkspaceSnapshotChunkAssembler&) = delete;
    WorkspaceSnapshotChunkAssembler& operator=(const WorkspaceSnapshotChunkAssembler&) = delete;

    Outcome addChunk(const std::string& transferID, std::int32_t index, std::int32_t total,
                     const std::string& text);

    // Forgets an incomplete transfer (given up on by its owner).
    void discard(const std::string& transferID);

    std::size_t incompleteTransferCount() const;
    std::size_t heldBytes() const;

  private:
    struct Transfer {
        std::int32_t totalChunks = 0;
        std::map<std::int32_t, std::string> chunksByIndex;
        std::size_t bytes = 0;
    };

    void discardLocked(const std::string& transferID);
    // Remembers that `transferID` was refused; true when that is news (so it gets logged).
    bool noteRefusalLocked(const std::string& transferID);

    Limits limits_;
    mutable std::mutex lock_;
    std::map<std::string, Transfer> transfers_;
    std::deque<std::string> transferOrder_;  // oldest first
    std::size_t heldBytes_ = 0;
    std::deque<std::string> refusedTransferIDs_;  // bounded memory of what was already reported
};

}  // namespace tessiva
