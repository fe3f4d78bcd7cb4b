#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/link/LinkContext.h"
#include "osc/link/LinkRequest.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

// Receives the navigation exports this Mac asked the active iPad for
// ("/tessiva/navigation/export/request"): start, chunks (reassembled by the same bounded
// assembler as the workspace), end or error. An export nobody asked for is refused, so a stray
// datagram cannot make the Mac write a file. An export the iPad stops sending (it went away, or
// lost datagrams) fails after `kSilenceTimeout` without a part. Each outcome is handed on as a
// NavigationExportReceived or NavigationExportFailed request. Lives on the discovery queue; tests
// drive it through OSCDiscoveryManager on a VirtualScheduler.
class NavigationExportReceiver {
  public:
    enum class Part { start, chunk, end, error };
    // The iPad answers at once and streams its chunks back to back; ten seconds of silence
    // means it is gone.
    static constexpr double kSilenceTimeout = 10.0;
    // Exports waiting at once; a new request beyond it gives up the oldest.
    static constexpr std::size_t kMaxPendingExports = 4;

    using Deliver = std::function<void(LinkRequest)>;
    NavigationExportReceiver(LinkContext& context, Deliver deliver)
        : context_(context), deliver_(std::move(deliver)) {}

    // The request went to the iPad: wait for its answer.
    void expect(const std::string& requestID);
    // The request could not be sent (no active peer): report it failed at once.
    void requestNotSent(const std::string& requestID, const std::string& message);
    void handle(const UdpDatagram& datagram, Part part, const LinkRequestOrigin& origin);

    std::size_t pendingCount() const { return pending_.size(); }

  private:
    struct Pending {
        std::optional<std::string> fileName;
        std::optional<std::string> text;
        std::int32_t chunkCount = 0;
        bool started = false;
        WorkItem silenceTimer;
        std::uint64_t generation = 0;
    };

    void armSilenceTimer(const std::string& requestID, Pending& pending);
    void silenceTimedOut(const std::string& requestID, std::uint64_t generation);
    void fail(const std::string& requestID, const std::string& message,
              const LinkRequestOrigin& origin);
    Pending* pendingFor(const std::string& requestID, const std::string& what,
                        const std::string& sender);

    LinkContext& context_;
    Deliver deliver_;
    WorkspaceSnapshotChunkAssembler assembler_;
    std::map<std::string, Pending> pending_;
    std::uint64_t nextGeneration_ = 1;
};

}  // namespace tessiva
