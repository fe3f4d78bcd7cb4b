#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "osc/OSCCodec.h"

namespace tessiva {

// Requests the iPad makes that later features act on. Each decoder reads one datagram and yields
// either the request or the log text that explains the refusal. Pure functions.
// Argument layouts that the iPad app and this Mac agree on are written beside each type.

// "/tessiva/navigation/direct/select": s request ID, s bank UUID, s bank name (optional).
struct DirectNavigationRequest {
    std::string requestID;
    std::string bankUUID;
    std::optional<std::string> bankName;
    bool operator==(const DirectNavigationRequest&) const = default;
};
std::variant<DirectNavigationRequest, std::string> decodeDirectNavigationRequest(OSCBytes data);

// "/tessiva/bank/focus/learn": 3 to 7 strings in this order: bank UUID, bank name, section name,
// group UUID, group name, workspace UUID, workspace name. Empty optional strings read as absent.
struct BankLearnRequest {
    std::string bankUUID;
    std::string bankName;
    std::string sectionName;
    std::optional<std::string> groupUUID;
    std::optional<std::string> groupName;
    std::optional<std::string> workspaceUUID;
    std::optional<std::string> workspaceName;
    bool operator==(const BankLearnRequest&) const = default;
};
std::variant<BankLearnRequest, std::string> decodeBankLearnRequest(OSCBytes data);

// "/tessiva/articulationset/import/ack": s transfer ID, s status ("true" or "success" is
// success, any case), s message (optional).
struct ArticulationSetImportAck {
    std::string transferID;
    bool success = false;
    std::string status;
    std::string message;
    bool operator==(const ArticulationSetImportAck&) const = default;
};
std::variant<ArticulationSetImportAck, std::string> decodeArticulationSetImportAck(
    OSCBytes data, std::string_view sender);

// "/tessiva/midi/run/schedule" and "/tessiva/midi/run/cancel": s JSON payload. The schedule
// carries "version", "runID", "startDelayNanoseconds", "intervalNanoseconds", "gateNanoseconds",
// "overlapNanoseconds", "legato", "channelOneBased", "velocity" and "notes"; the cancel "runID",
// "channelOneBased" and "notes". Only presence and kinds are checked here.
struct MIDIRunMessage {
    std::string runID;
    std::string json;
    bool operator==(const MIDIRunMessage&) const = default;
};
std::variant<MIDIRunMessage, std::string> decodeMIDIRunSchedule(OSCBytes data,
                                                                std::string_view sender);
std::variant<MIDIRunMessage, std::string> decodeMIDIRunCancel(OSCBytes data,
                                                              std::string_view sender);

// The navigation export, sent in answer to "/tessiva/navigation/export/request":
//   ".../start": s request ID, i chunk count, s file name (optional)
//   ".../chunk": s request ID, i chunk index (from 0), i chunk count, s chunk text
//   ".../end":   s request ID
//   ".../error": s request ID, s message
struct NavigationExportStart {
    std::string requestID;
    std::int32_t chunkCount = 0;
    std::optional<std::string> fileName;
    bool operator==(const NavigationExportStart&) const = default;
};
std::variant<NavigationExportStart, std::string> decodeNavigationExportStart(
    OSCBytes data, std::string_view sender);

struct NavigationExportError {
    std::string requestID;
    std::string message;
    bool operator==(const NavigationExportError&) const = default;
};
std::variant<NavigationExportError, std::string> decodeNavigationExportError(
    OSCBytes data, std::string_view sender);
struct NavigationExportEnd {
    std::string requestID;
    bool operator==(const NavigationExportEnd&) const = default;
};
std::variant<NavigationExportEnd, std::string> decodeNavigationExportEnd(OSCBytes data,
                                                                         std::string_view sender);

}  // namespace tessiva
