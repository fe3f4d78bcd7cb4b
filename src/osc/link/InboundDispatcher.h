#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/link/LinkContext.h"
#include "osc/link/LinkRequest.h"
#include "osc/link/NavigationExportReceiver.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

class BankMappingLookup;
class MIDIRunSink;
class PeerLink;
class WorkspaceReceiver;

// Inbound dispatch: reads each datagram's address on the discovery queue and runs its handler.
// Handshake messages go to the PeerLink, the workspace to the WorkspaceReceiver; requests from
// any other peer than the active one are dropped with a line; the active iPad's requests are
// validated and handed over as typed LinkRequests (scheduled runs also go straight to the
// MIDIRunSink, on this queue), navigation exports go to the NavigationExportReceiver
// (LinkRequestHandler, on the main queue) and posted under their notification names. Tests drive it
// through OSCDiscoveryManager.
class InboundDispatcher {
  public:
    InboundDispatcher(LinkContext& context, PeerLink& peerLink, WorkspaceReceiver& workspace)
        : context_(context), peerLink_(peerLink), workspace_(workspace) {}

    // Discovery queue.
    void handleDatagram(const UdpDatagram& datagram);
    void clearConnections() { inboundConnectionsByID_.clear(); }

    // Any thread.
    void setBankMappingLookup(BankMappingLookup* lookup) { bankMappingLookup_.store(lookup); }
    void setRequestHandler(LinkRequestHandler* handler) { requestHandler_.store(handler); }
    void setMIDIRunSink(MIDIRunSink* sink) { midiRunSink_.store(sink); }

    // Discovery queue: the exports this Mac asked for.
    NavigationExportReceiver& navigationExports() { return navigationExports_; }

  private:
    struct InboundConnection {
        std::string id;
        std::string host;
        std::uint16_t port = 0;
        std::uint64_t datagrams = 0;
        double lastSeen = 0;
    };

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
    void handleSnapshotRequest(const UdpDatagram& datagram);

    LinkContext& context_;
    PeerLink& peerLink_;
    WorkspaceReceiver& workspace_;
    std::map<std::string, InboundConnection> inboundConnectionsByID_;
    NavigationExportReceiver navigationExports_{
        context_, [this](LinkRequest request) { deliver(std::move(request)); }};
    std::atomic<BankMappingLookup*> bankMappingLookup_{nullptr};
    std::atomic<LinkRequestHandler*> requestHandler_{nullptr};
    std::atomic<MIDIRunSink*> midiRunSink_{nullptr};
};

}  // namespace tessiva
