#include "osc/InboundRequests.h"

#include <nlohmann/json.hpp>

#include "runtime/Text.h"

namespace tessiva {

namespace {

std::optional<std::string> nonEmpty(std::string_view value) {
    std::string trimmedValue = text::trimmed(value);
    if (trimmedValue.empty())
        return std::nullopt;
    return trimmedValue;
}

std::string couldNotDecode(std::string_view address, std::string_view sender) {
    return "Could not decode " + std::string(address) + " from " + std::string(sender);
}

// The payload of a run message: JSON object with every key in `keys`, "runID" a string.
std::variant<MIDIRunMessage, std::string> decodeRun(OSCBytes data, std::string_view sender,
                                                    std::string_view address,
                                                    std::initializer_list<const char*> keys) {
    auto strings = stringArguments(data);
    if (!strings || strings->empty())
        return couldNotDecode(address, sender);
    const std::string json((*strings)[0]);
    auto root = nlohmann::json::parse(json, nullptr, false);
    if (root.is_discarded() || !root.is_object()) {
        return "The " + std::string(address) + " payload from " + std::string(sender) +
               " is not a JSON object.";
    }
    for (const char* key : keys) {
        if (!root.contains(key) || root[key].is_null()) {
            return "The " + std::string(address) + " payload from " + std::string(sender) +
                   " has no \"" + key + "\".";
        }
    }
    const auto& runID = root["runID"];
    if (!runID.is_string() || text::trimmed(runID.get<std::string>()).empty()) {
        return "The " + std::string(address) + " payload from " + std::string(sender) +
               " has an empty or non-text \"runID\".";
    }
    if (!root["notes"].is_array()) {
        return "The " + std::string(address) + " payload from " + std::string(sender) +
               " has \"notes\" that is not an array.";
    }
    return MIDIRunMessage{runID.get<std::string>(), json};
}

}  // namespace

std::variant<DirectNavigationRequest, std::string> decodeDirectNavigationRequest(OSCBytes data) {
    auto strings = stringArguments(data);
    if (!strings || strings->size() < 2)
        return std::string("Could not decode request ID and bank UUID.");
    auto requestID = nonEmpty((*strings)[0]);
    auto bankUUID = nonEmpty((*strings)[1]);
    if (!requestID || !bankUUID)
        return std::string("Request ID or bank UUID was empty.");
    DirectNavigationRequest request{*requestID, *bankUUID, std::nullopt};
    if (strings->size() >= 3)
        request.bankName = nonEmpty((*strings)[2]);
    return request;
}

std::variant<BankLearnRequest, std::string> decodeBankLearnRequest(OSCBytes data) {
    auto strings = stringArguments(data);
    if (!strings || strings->size() < 3) {
        return std::string(
            "Could not decode enough string arguments from /tessiva/bank/focus/learn.");
    }
    auto bankUUID = nonEmpty((*strings)[0]);
    if (!bankUUID)
        return std::string("Received /tessiva/bank/focus/learn with an empty bank UUID.");
    auto at = [&](std::size_t i) -> std::optional<std::string> {
        return i < strings->size() ? nonEmpty((*strings)[i]) : std::nullopt;
    };
    BankLearnRequest request;
    request.bankUUID = *bankUUID;
    request.bankName = text::trimmed((*strings)[1]);
    request.sectionName = text::trimmed((*strings)[2]);
    request.groupUUID = at(3);
    request.groupName = at(4);
    request.workspaceUUID = at(5);
    request.workspaceName = at(6);
    return request;
}

std::variant<ArticulationSetImportAck, std::string> decodeArticulationSetImportAck(
    OSCBytes data, std::string_view sender) {
    auto strings = stringArguments(data);
    if (!strings || strings->empty()) {
        return couldNotDecode("/tessiva/articulationset/import/ack", sender);
    }
    auto transferID = nonEmpty((*strings)[0]);
    if (!transferID)
        return "Received ACK with an empty transferID from " + std::string(sender);
    ArticulationSetImportAck ack;
    ack.transferID = *transferID;
    if (strings->size() >= 2)
        ack.status = text::trimmed((*strings)[1]);
    if (strings->size() >= 3)
        ack.message = std::string((*strings)[2]);
    const std::string status = text::lowercased(ack.status);
    ack.success = status == "true" || status == "success";
    return ack;
}

std::variant<MIDIRunMessage, std::string> decodeMIDIRunSchedule(OSCBytes data,
                                                                std::string_view sender) {
    return decodeRun(
        data, sender, "/tessiva/midi/run/schedule",
        {"version", "runID", "startDelayNanoseconds", "intervalNanoseconds", "gateNanoseconds",
         "overlapNanoseconds", "legato", "channelOneBased", "velocity", "notes"});
}

std::variant<MIDIRunMessage, std::string> decodeMIDIRunCancel(OSCBytes data,
                                                              std::string_view sender) {
    return decodeRun(data, sender, "/tessiva/midi/run/cancel",
                     {"runID", "channelOneBased", "notes"});
}

std::variant<NavigationExportStart, std::string> decodeNavigationExportStart(
    OSCBytes data, std::string_view sender) {
    auto arguments = decodeArguments(data);
    if (!arguments || arguments->size() < 2 || !(*arguments)[0].asString() ||
        !(*arguments)[1].asInt32()) {
        return couldNotDecode("/tessiva/navigation/export/start", sender);
    }
    auto requestID = nonEmpty(*(*arguments)[0].asString());
    if (!requestID)
        return "Received navigation export start with an empty requestID from " +
               std::string(sender);
    const std::int32_t count = *(*arguments)[1].asInt32();
    if (count < 1) {
        return "Received navigation export start with chunk count " + std::to_string(count) +
               " from " + std::string(sender);
    }
    NavigationExportStart start{*requestID, count, std::nullopt};
    if (arguments->size() >= 3 && (*arguments)[2].asString()) {
        start.fileName = nonEmpty(*(*arguments)[2].asString());
    }
    return start;
}

std::variant<NavigationExportError, std::string> decodeNavigationExportError(
    OSCBytes data, std::string_view sender) {
    auto strings = stringArguments(data);
    if (!strings || strings->empty())
        return couldNotDecode("/tessiva/navigation/export/error", sender);
    auto requestID = nonEmpty((*strings)[0]);
    if (!requestID)
        return "Received navigation export error with an empty requestID from " +
               std::string(sender);
    NavigationExportError error{*requestID, "The iPad reported an export error."};
    if (strings->size() >= 2) {
        if (auto message = nonEmpty((*strings)[1]))
            error.message = *message;
    }
    return error;
}

std::variant<NavigationExportEnd, std::string> decodeNavigationExportEnd(OSCBytes data,
                                                                         std::string_view sender) {
    auto strings = stringArguments(data);
    if (!strings || strings->empty())
        return couldNotDecode("/tessiva/navigation/export/end", sender);
    auto requestID = nonEmpty((*strings)[0]);
    if (!requestID)
        return "Received navigation export end with an empty requestID from " + std::string(sender);
    return NavigationExportEnd{*requestID};
}

}  // namespace tessiva
