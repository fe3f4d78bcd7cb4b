#pragma once

#include <string>

#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "osc/link/LinkContext.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

class PeerLink;

// Receives the iPad's workspace: "/tessiva/workspace/snapshot" whole or in chunks, reassembles,
// decodes and publishes it in RemoteWorkspaceStore. Decides whether a snapshot's sender may be
// used (the active peer, or another address of the pending one, which then becomes active).
// Lives on the discovery queue; tests drive it through OSCDiscoveryManager.
class WorkspaceReceiver {
  public:
    WorkspaceReceiver(LinkContext& context, PeerLink& peerLink)
        : context_(context), peerLink_(peerLink) {}

    void handleSnapshot(const UdpDatagram& datagram, const std::string& senderID);
    void handleSnapshotChunk(const UdpDatagram& datagram, const std::string& senderID);

  private:
    bool acceptSnapshotSender(const UdpDatagram& datagram, const std::string& senderID);
    void handleSnapshotJSON(const std::string& json, const std::string& fromEndpoint,
                            bool reassembled);

    LinkContext& context_;
    PeerLink& peerLink_;
    WorkspaceSnapshotChunkAssembler assembler_;
};

}  // namespace tessiva
