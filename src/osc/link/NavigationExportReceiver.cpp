#include "osc/link/NavigationExportReceiver.h"

#include <fmt/format.h>

#include "osc/InboundRequests.h"
#include "osc/OSCCodec.h"

namespace tessiva {

void NavigationExportReceiver::expect(const std::string& requestID) {
    if (!pending_.count(requestID) && pending_.size() >= kMaxPendingExports) {
        // The oldest request has waited longest; the user asked again since.
        auto oldest = pending_.begin();
        for (auto it = pending_.begin(); it != pending_.end(); ++it) {
            if (it->second.generation < oldest->second.generation)
                oldest = it;
        }
        fail(oldest->first,
             "Navigation export " + oldest->first + " was given up for a newer request.", {});
    }
    Pending& pending = pending_[requestID];
    pending = Pending{};
    armSilenceTimer(requestID, pending);
}

void NavigationExportReceiver::requestNotSent(const std::string& requestID,
                                              const std::string& message) {
    deliver_(LinkRequest{{}, NavigationExportFailed{requestID, message}});
}

void NavigationExportReceiver::armSilenceTimer(const std::string& requestID, Pending& pending) {
    pending.silenceTimer.cancel();
    pending.generation = nextGeneration_++;
    pending.silenceTimer =
        context_.onQueueAfter(kSilenceTimeout, [this, requestID, generation = pending.generation] {
            silenceTimedOut(requestID, generation);
        });
}

void NavigationExportReceiver::silenceTimedOut(const std::string& requestID,
                                               std::uint64_t generation) {
    auto found = pending_.find(requestID);
    if (found == pending_.end() || found->second.generation != generation)
        return;
    const auto seconds = static_cast<int>(kSilenceTimeout);
    fail(requestID,
         found->second.started
             ? fmt::format("The iPad stopped sending navigation export {}: nothing arrived for {} "
                           "s. Nothing was saved.",
                           requestID, seconds)
             : fmt::format("The iPad did not answer navigation export request {} within {} s. "
                           "Nothing was saved.",
                           requestID, seconds),
         {});
}

void NavigationExportReceiver::fail(const std::string& requestID, const std::string& message,
                                    const LinkRequestOrigin& origin) {
    if (auto found = pending_.find(requestID); found != pending_.end()) {
        found->second.silenceTimer.cancel();
        pending_.erase(found);
    }
    assembler_.discard(requestID);
    context_.log.event("Navigation export failed", message);
    deliver_(LinkRequest{origin, NavigationExportFailed{requestID, message}});
}

NavigationExportReceiver::Pending* NavigationExportReceiver::pendingFor(
    const std::string& requestID, const std::string& what, const std::string& sender) {
    auto found = pending_.find(requestID);
    if (found != pending_.end())
        return &found->second;
    context_.log.flood("export " + sender, "Navigation export " + what + " skipped",
                       "Ignoring navigation export " + what + " for " + requestID + " from " +
                           sender + ": this Mac did not request that export.");
    return nullptr;
}

void NavigationExportReceiver::handle(const UdpDatagram& datagram, Part part,
                                      const LinkRequestOrigin& origin) {
    const OSCBytes bytes(datagram.bytes);
    const std::string sender = datagram.host + ":" + std::to_string(datagram.port);
    switch (part) {
        case Part::start: {
            auto decoded = decodeNavigationExportStart(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                context_.log.event("Navigation export start skipped", *refusal);
                return;
            }
            const auto& start = std::get<NavigationExportStart>(decoded);
            Pending* pending = pendingFor(start.requestID, "start", sender);
            if (!pending)
                return;
            pending->started = true;
            pending->fileName = start.fileName;
            pending->chunkCount = start.chunkCount;
            armSilenceTimer(start.requestID, *pending);
            context_.log.event("Navigation export started",
                               "Receiving navigation export " + start.requestID + " in " +
                                   std::to_string(start.chunkCount) + " chunks from " + sender);
            return;
        }
        case Part::chunk: {
            auto arguments = decodeArguments(bytes);
            auto chunk =
                arguments ? WorkspaceSnapshotChunk::fromArguments(*arguments) : std::nullopt;
            if (!chunk) {
                context_.log.flood(
                    "export chunk " + sender, "Navigation export chunk skipped",
                    "Could not decode /tessiva/navigation/export/chunk from " + sender);
                return;
            }
            Pending* pending = pendingFor(chunk->transferID, "chunk", sender);
            if (!pending)
                return;
            pending->started = true;
            armSilenceTimer(chunk->transferID, *pending);
            auto outcome =
                assembler_.addChunk(chunk->transferID, chunk->index, chunk->count, chunk->text);
            for (const auto& refusal : outcome.refusals)
                context_.log.event("Navigation export chunk refused", refusal);
            if (outcome.text)
                pending->text = std::move(outcome.text);
            return;
        }
        case Part::end: {
            auto decoded = decodeNavigationExportEnd(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                context_.log.event("Navigation export end skipped", *refusal);
                return;
            }
            const std::string requestID = std::get<NavigationExportEnd>(decoded).requestID;
            Pending* pending = pendingFor(requestID, "end", sender);
            if (!pending)
                return;
            if (!pending->text) {
                fail(requestID,
                     "Navigation export " + requestID + " ended before all chunks arrived.",
                     origin);
                return;
            }
            NavigationExportReceived received{requestID, std::move(*pending->text),
                                              pending->fileName};
            pending->silenceTimer.cancel();
            pending_.erase(requestID);
            context_.log.event("Navigation export received",
                               "Received navigation export " + requestID + " from " + sender);
            deliver_(LinkRequest{origin, std::move(received)});
            return;
        }
        case Part::error: {
            auto decoded = decodeNavigationExportError(bytes, sender);
            if (auto* refusal = std::get_if<std::string>(&decoded)) {
                context_.log.event("Navigation export error skipped", *refusal);
                return;
            }
            const auto& error = std::get<NavigationExportError>(decoded);
            if (!pendingFor(error.requestID, "error", sender))
                return;
            fail(error.requestID, error.message, origin);
            return;
        }
    }
}

}  // namespace tessiva
