#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/link/LinkContext.h"
#include "osc/link/LinkRequest.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

class BankMappingLookup;
class PeerLink;
class WorkspaceReceiver;

// Inbound dispatch: reads each datagram's address on the discovery queue and runs its handler.
// Handshake messages go to the PeerLink, the workspace to the WorkspaceReceiver; requests from
// any other peer than the active one are dropped with a line; the active iPad's requests are
// validated and handed over as typed LinkRequests (LinkRequestHandler, on the main queue) and
// posted under their notification names. Tests drive it through OSCDiscoveryManager.
class InboundDispatcher {
  public:
    InboundDispatcher(LinkContext& context, PeerLink& peerLink, WorkspaceReceiver& workspace)
        : context_(context), peerLink_(peerLink), workspace_(workspace) {}

    // Discovery queue.
    void handleDatagram(const UdpDatagram& datagram);
    void clearConnections() { inboundConnectionsByID_.clear(); }
    std::size_t connectionCount() const { return inboundConnectionsByID_.size(); }

    // Any thread.
    void setBankMappingLookup(BankMappingLookup* lookup) { bankMappingLookup_.store(lookup); }
    void setRequestHandler(LinkRequestHandler* handler) { requestHandler_.store(handler); }

  private:
    struct InboundConnection {
        std::string id;
        std::string host;
        std::uint16_t port = 0;
        std::uint64_t datagrams = 0;
        double lastSeen = 0;
    };
    struct NavigationExportTransfer {
        std::optional<std::string> fileName;
        std::optional<std::string> text;
    };
    enum class ExportPart { start, chunk, end, error };

    void noteInboundConnection(const UdpDatagram& datagram);
    void ignoreInactive(const UdpDatagram& datagram, std::string_view address);
    void deliver(LinkRequest request);
    LinkRequestOrigin originOf(const UdpDatagram& datagram) const;

    void handleDeviceName(const UdpDatagram& datagram);
    void handleMappingQuery(const UdpDatagram& datagram);
    void handleDirectSelect(const UdpDatagram& datagram);
    void handleBankLearn(const UdpDatagram& datagram);
    void handleImportAck(const UdpDatagram& datagram);
    void handleMIDIRun(const UdpDatagram& datagram, bool schedule);
    void handleNavigationExport(const UdpDatagram& datagram, ExportPart part);
    void handleSnapshotRequest(const UdpDatagram& datagram);

    LinkContext& context_;
    PeerLink& peerLink_;
    WorkspaceReceiver& workspace_;
    std::map<std::string, InboundConnection> inboundConnectionsByID_;
    WorkspaceSnapshotChunkAssembler navigationExportAssembler_;
    std::map<std::string, NavigationExportTransfer> navigationExports_;
    std::atomic<BankMappingLookup*> bankMappingLookup_{nullptr};
    std::atomic<LinkRequestHandler*> requestHandler_{nullptr};
};

}  // namespace tessiva
