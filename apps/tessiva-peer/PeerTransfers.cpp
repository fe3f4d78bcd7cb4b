#include "PeerTransfers.h"

#include <cstdlib>
#include <iostream>

#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "runtime/AtomicFile.h"

namespace tessiva::peer {

namespace {

const std::string* text(const std::vector<OSCArgument>& arguments, std::size_t at) {
    return at < arguments.size() ? arguments[at].asString() : nullptr;
}
const std::int32_t* integer(const std::vector<OSCArgument>& arguments, std::size_t at) {
    return at < arguments.size() ? arguments[at].asInt32() : nullptr;
}

}  // namespace

bool PeerTransfers::handle(std::string_view address, const std::vector<OSCArgument>& arguments) {
    if (address == "/tessiva/articulationset/import") {
        const auto* file = text(arguments, 0);
        const auto* id = text(arguments, 1);
        const auto* body = text(arguments, 2);
        if (file && id && body)
            received(*id, *file, *body);
        else if (id)
            acknowledge(*id, "false", "malformed import message");
        return true;
    }
    if (address == "/tessiva/articulationset/import/begin") {
        const auto* file = text(arguments, 0);
        const auto* id = text(arguments, 1);
        const auto* bytes = integer(arguments, 2);
        const auto* count = integer(arguments, 3);
        if (file && id && bytes && count)
            incoming_[*id] = Incoming{*file, *bytes, *count, std::nullopt};
        return true;
    }
    if (address == "/tessiva/articulationset/import/chunk") {
        auto chunk = tessiva::WorkspaceSnapshotChunk::fromArguments(arguments);
        if (chunk) {
            auto outcome =
                assembler_.addChunk(chunk->transferID, chunk->index, chunk->count, chunk->text);
            auto found = incoming_.find(chunk->transferID);
            if (outcome.text && found != incoming_.end())
                found->second.text = std::move(outcome.text);
        }
        return true;
    }
    if (address == "/tessiva/articulationset/import/end") {
        const auto* id = text(arguments, 0);
        if (!id)
            return true;
        auto found = incoming_.find(*id);
        if (found == incoming_.end()) {
            acknowledge(*id, "false", "no begin for this transfer");
        } else if (!found->second.text ||
                   found->second.text->size() !=
                       static_cast<std::size_t>(found->second.payloadBytes)) {
            // A retry resends every chunk; wait for it.
            std::cout << "INCOMPLETE IMPORT " << *id << std::endl;
        } else {
            received(*id, found->second.fileName, *found->second.text);
            incoming_.erase(found);
        }
        return true;
    }
    if (address == "/tessiva/navigation/export/request") {
        if (const auto* id = text(arguments, 0); id && !options_.exportFile.empty())
            answerExport(*id);
        return true;
    }
    return false;
}

void PeerTransfers::received(const std::string& transferID, const std::string& fileName,
                             const std::string& body) {
    std::cout << "IMPORTED " << fileName << " bytes=" << body.size() << " transfer=" << transferID
              << std::endl;
    if (!options_.importFolder.empty()) {
        const auto target = options_.importFolder / std::filesystem::path(fileName).filename();
        if (auto written = tessiva::writeFileAtomically(target, body); !written) {
            acknowledge(transferID, "false", "could not save: " + written.error());
            return;
        }
    }
    acknowledge(transferID, "success", "Imported " + fileName);
}

void PeerTransfers::acknowledge(const std::string& transferID, const std::string& status,
                                const std::string& message) {
    if (acksDropped_ < options_.dropImportAcks) {
        ++acksDropped_;
        std::cout << "DROPPED ACK " << transferID << std::endl;
        return;
    }
    (void)send_("/tessiva/articulationset/import/ack",
                {OSCArgument::string(transferID), OSCArgument::string(status),
                 OSCArgument::string(message)});
}

void PeerTransfers::answerExport(const std::string& requestID) {
    std::string error;
    auto body = tessiva::readWholeFile(options_.exportFile, &error);
    if (!body) {
        (void)send_("/tessiva/navigation/export/error",
                    {OSCArgument::string(requestID), OSCArgument::string("cannot read: " + error)});
        return;
    }
    const auto parts =
        tessiva::splitIntoChunks(*body, static_cast<std::size_t>(options_.exportChunks));
    const auto count = static_cast<std::int32_t>(parts.size());
    (void)send_("/tessiva/navigation/export/start",
                {OSCArgument::string(requestID), OSCArgument::int32(count),
                 OSCArgument::string(options_.exportFile.filename().string())});
    for (std::int32_t i = 0; i < count; ++i) {
        if (options_.exportVanishAfterChunks >= 0 && i >= options_.exportVanishAfterChunks) {
            std::cout << "VANISHING after " << i << " of " << count << " chunks" << std::endl;
            std::exit(0);
        }
        tessiva::WorkspaceSnapshotChunk chunk{requestID, i, count,
                                              parts[static_cast<std::size_t>(i)]};
        (void)send_("/tessiva/navigation/export/chunk", chunk.arguments());
    }
    (void)send_("/tessiva/navigation/export/end", {OSCArgument::string(requestID)});
}

}  // namespace tessiva::peer
