# The iPad link: listener, peers and handshake, inbound dispatch, the workspace snapshot; the
# parts of OSCDiscoveryManager live in link/.
tessiva_add_library(tessiva_osc_link
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/InboundRequests.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OSCDiscoveryManager.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/InboundDispatcher.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/LinkEventLog.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/LinkRequest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/MirroredMIDIIngress.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/NavigationExportReceiver.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/PeerLink.cpp
    ${CMAKE_CURRENT_LIST_DIR}/link/WorkspaceReceiver.cpp
    ${CMAKE_CURRENT_LIST_DIR}/PeerRegistry.cpp
    ${CMAKE_CURRENT_LIST_DIR}/RemoteWorkspaceSnapshot.cpp
    ${CMAKE_CURRENT_LIST_DIR}/RemoteWorkspaceStore.cpp
    ${CMAKE_CURRENT_LIST_DIR}/StoredPeerEndpoint.cpp
    ${CMAKE_CURRENT_LIST_DIR}/WorkspaceSnapshotChunkAssembler.cpp
  PUBLIC_LINKS tessiva_osc tessiva_runtime tessiva_platform_net tessiva_platform_dnssd_port
    tessiva_platform_sound tessiva_platform_activation
  PRIVATE_LINKS nlohmann_json::nlohmann_json fmt::fmt)
