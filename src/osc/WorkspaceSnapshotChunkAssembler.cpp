#include "osc/WorkspaceSnapshotChunkAssembler.h"

#include <algorithm>

#include "osc/OSCArgument.h"

namespace tessiva {

namespace {
// Enough to stop a flood of bad transfer IDs from being logged repeatedly without growing forever.
constexpr std::size_t kRememberedRefusals = 64;
}  // namespace

std::vector<OSCArgument> WorkspaceSnapshotChunk::arguments() const {
    return {OSCArgument::string(transferID), OSCArgument::int32(index), OSCArgument::int32(count),
            OSCArgument::string(text)};
}

std::optional<WorkspaceSnapshotChunk> WorkspaceSnapshotChunk::fromArguments(
    const std::vector<OSCArgument>& arguments) {
    if (arguments.size() != 4)
        return std::nullopt;
    const std::string* transferID = arguments[0].asString();
    const std::int32_t* index = arguments[1].asInt32();
    const std::int32_t* count = arguments[2].asInt32();
    const std::string* text = arguments[3].asString();
    if (!transferID || !index || !count || !text)
        return std::nullopt;
    return WorkspaceSnapshotChunk{*transferID, *index, *count, *text};
}

std::vector<std::string> splitIntoChunks(const std::string& text, std::size_t count) {
    count = std::max<std::size_t>(1, std::min(count, std::max<std::size_t>(1, text.size())));
    std::vector<std::string> chunks;
    std::size_t start = 0;
    for (std::size_t i = 0; i < count && start < text.size(); ++i) {
        std::size_t end = (i + 1 == count) ? text.size() : text.size() * (i + 1) / count;
        // Never cut inside a UTF-8 sequence: continuation bytes look like 10xxxxxx.
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            ++end;
        if (end > start)
            chunks.push_back(text.substr(start, end - start));
        start = end;
    }
    if (chunks.empty())
        chunks.push_back(text);
    return chunks;
}

WorkspaceSnapshotChunkAssembler::Outcome WorkspaceSnapshotChunkAssembler::addChunk(
    const std::string& transferID, std::int32_t index, std::int32_t total,
    const std::string& text) {
    Outcome outcome;
    if (index < 0 || index >= total || text.empty())
        return outcome;

    std::lock_guard guard(lock_);
    if (total > limits_.maxChunkCount) {
        discardLocked(transferID);
        if (noteRefusalLocked(transferID)) {
            outcome.refusals.push_back("Refused chunked transfer " + transferID + ": chunk count " +
                                       std::to_string(total) + " exceeds the limit of " +
                                       std::to_string(limits_.maxChunkCount) + ".");
        }
        return outcome;
    }

    auto found = transfers_.find(transferID);
    if (found != transfers_.end() && found->second.totalChunks != total) {
        discardLocked(transferID);
        found = transfers_.end();
    }

    // Bytes this chunk adds (an overwrite replaces the previous text of the same index).
    std::size_t previous = 0;
    if (found != transfers_.end()) {
        auto chunk = found->second.chunksByIndex.find(index);
        if (chunk != found->second.chunksByIndex.end())
            previous = chunk->second.size();
    }
    const std::size_t ownBytes = (found != transfers_.end() ? found->second.bytes : 0) - previous;
    if (ownBytes + text.size() > limits_.maxHeldBytes) {
        // This transfer alone would not fit: it can never complete.
        discardLocked(transferID);
        if (noteRefusalLocked(transferID)) {
            outcome.refusals.push_back("Refused chunked transfer " + transferID +
                                       ": it would hold more than " +
                                       std::to_string(limits_.maxHeldBytes) + " bytes.");
        }
        return outcome;
    }

    if (found == transfers_.end()) {
        while (transfers_.size() >= limits_.maxTransfers && !transferOrder_.empty()) {
            const std::string oldest = transferOrder_.front();
            discardLocked(oldest);
            outcome.refusals.push_back("Evicted incomplete chunked transfer " + oldest +
                                       " to make room for " + transferID + ".");
        }
        found = transfers_.emplace(transferID, Transfer{total, {}, 0}).first;
        transferOrder_.push_back(transferID);
    }

    // Make room across transfers by evicting the oldest other ones.
    while (heldBytes_ - previous + text.size() > limits_.maxHeldBytes) {
        auto victim = std::find_if(transferOrder_.begin(), transferOrder_.end(),
                                   [&](const std::string& id) { return id != transferID; });
        if (victim == transferOrder_.end())
            break;  // cannot happen: own size was checked
        const std::string evicted = *victim;
        discardLocked(evicted);
        outcome.refusals.push_back("Evicted incomplete chunked transfer " + evicted +
                                   " to keep held chunks under " +
                                   std::to_string(limits_.maxHeldBytes) + " bytes.");
    }

    Transfer& transfer = found->second;
    transfer.chunksByIndex[index] = text;
    transfer.bytes = transfer.bytes - previous + text.size();
    heldBytes_ = heldBytes_ - previous + text.size();

    if (transfer.chunksByIndex.size() == static_cast<std::size_t>(transfer.totalChunks)) {
        std::string whole;
        whole.reserve(transfer.bytes);
        for (const auto& [chunkIndex, chunk] : transfer.chunksByIndex)
            whole += chunk;
        discardLocked(transferID);
        outcome.text = std::move(whole);
    }
    return outcome;
}

void WorkspaceSnapshotChunkAssembler::discard(const std::string& transferID) {
    std::lock_guard guard(lock_);
    discardLocked(transferID);
}

std::size_t WorkspaceSnapshotChunkAssembler::incompleteTransferCount() const {
    std::lock_guard guard(lock_);
    return transfers_.size();
}

std::size_t WorkspaceSnapshotChunkAssembler::heldBytes() const {
    std::lock_guard guard(lock_);
    return heldBytes_;
}

void WorkspaceSnapshotChunkAssembler::discardLocked(const std::string& transferID) {
    auto found = transfers_.find(transferID);
    if (found == transfers_.end())
        return;
    heldBytes_ -= found->second.bytes;
    transfers_.erase(found);
    transferOrder_.erase(std::remove(transferOrder_.begin(), transferOrder_.end(), transferID),
                         transferOrder_.end());
}

bool WorkspaceSnapshotChunkAssembler::noteRefusalLocked(const std::string& transferID) {
    if (std::find(refusedTransferIDs_.begin(), refusedTransferIDs_.end(), transferID) !=
        refusedTransferIDs_.end()) {
        return false;
    }
    refusedTransferIDs_.push_back(transferID);
    if (refusedTransferIDs_.size() > kRememberedRefusals)
        refusedTransferIDs_.pop_front();
    return true;
}

}  // namespace tessiva
