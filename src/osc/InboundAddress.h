#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tessiva {

// Every OSC address the iPad may send to this Mac. The dispatcher matches by exact text.
enum class InboundAddress {
    midiEvent,
    midiRunSchedule,
    midiRunCancel,
    ping,
    pong,
    workspaceSnapshot,
    workspaceSnapshotChunk,
    workspaceSnapshotRequest,
    deviceName,
    bankFocusLearn,
    focusMappingQuery,
    navigationDirectSelect,
    articulationSetImportAck,
    navigationExportStart,
    navigationExportChunk,
    navigationExportEnd,
    navigationExportError,
};

inline constexpr std::array<std::string_view, 17> kInboundAddressTexts = {
    "/tessiva/midi/event",
    "/tessiva/midi/run/schedule",
    "/tessiva/midi/run/cancel",
    "/ping",
    "/pong",
    "/tessiva/workspace/snapshot",
    "/tessiva/workspace/snapshot/chunk",
    "/tessiva/workspace/snapshot/request",
    "/tessiva/device/name",
    "/tessiva/bank/focus/learn",
    "/tessiva/focus/mapping/query",
    "/tessiva/navigation/direct/select",
    "/tessiva/articulationset/import/ack",
    "/tessiva/navigation/export/start",
    "/tessiva/navigation/export/chunk",
    "/tessiva/navigation/export/end",
    "/tessiva/navigation/export/error",
};
static_assert(kInboundAddressTexts.size() ==
                  static_cast<std::size_t>(InboundAddress::navigationExportError) + 1,
              "one address text per InboundAddress");

inline std::string_view addressText(InboundAddress address) {
    return kInboundAddressTexts[static_cast<std::size_t>(address)];
}

inline std::optional<InboundAddress> inboundAddress(std::string_view text) {
    for (std::size_t i = 0; i < kInboundAddressTexts.size(); ++i) {
        if (kInboundAddressTexts[i] == text)
            return static_cast<InboundAddress>(i);
    }
    return std::nullopt;
}

}  // namespace tessiva
