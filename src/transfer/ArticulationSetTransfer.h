#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "osc/OSCArgument.h"

namespace tessiva {

// The datagrams that carry one articulation-set file to the iPad (wire format in
// docs/transfers.md). A file whose whole message fits `kTransferDatagramBytes` goes as one
// "/tessiva/articulationset/import" (s file name, s transfer ID, s property-list text); a
// larger one as ".../import/begin" (s file name, s transfer ID, i payload bytes, i chunk count),
// ".../import/chunk" per piece (s transfer ID, i index from 0, i count, s text of at most
// `kTransferChunkTextBytes` bytes, never splitting a UTF-8 sequence) and ".../import/end"
// (s transfer ID, i chunk count). Pure.
//
// 1232 bytes is the largest UDP payload that fits the smallest IPv6 link (1280 bytes) without
// fragmentation; staying under it keeps every datagram one frame on Wi-Fi, so a lost frame
// costs one chunk's datagram rather than a whole fragmented file.
inline constexpr std::size_t kSafeUdpPayloadBytes = 1232;
inline constexpr std::size_t kTransferDatagramBytes = 1200;
inline constexpr std::size_t kTransferChunkTextBytes = 1024;

struct OutboundMessage {
    std::string address;
    std::vector<OSCArgument> arguments;
};

std::vector<OutboundMessage> articulationSetMessages(const std::string& fileName,
                                                     const std::string& transferID,
                                                     const std::string& text);

// Pieces of at most `maxBytes` bytes (at least one, never splitting a UTF-8 sequence).
std::vector<std::string> splitIntoPieces(std::string_view text, std::size_t maxBytes);

}  // namespace tessiva
