#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "osc/InboundRequests.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

// What the active iPad asks of the rest of the program, as typed values. The link decodes and
// validates each request (InboundRequests.h), then hands it to the LinkRequestHandler on the main
// queue and posts it under its notification name for observers that only need to know it came.

// Who asked, and where an answer goes: the active peer's ID and its announced reply endpoint.
struct LinkRequestOrigin {
    std::string peerID;
    std::string host;
    std::uint16_t replyPort = 0;
    bool operator==(const LinkRequestOrigin&) const = default;
};

// "/tessiva/midi/run/schedule" and "/tessiva/midi/run/cancel".
struct MIDIRunScheduleRequest {
    MIDIRunMessage run;
    bool operator==(const MIDIRunScheduleRequest&) const = default;
};
struct MIDIRunCancelRequest {
    MIDIRunMessage run;
    bool operator==(const MIDIRunCancelRequest&) const = default;
};

// A navigation export that arrived whole after "/tessiva/navigation/export/request".
struct NavigationExportReceived {
    std::string requestID;
    std::string text;
    std::optional<std::string> fileName;
    bool operator==(const NavigationExportReceived&) const = default;
};
// A navigation export that the iPad reported failed, or that ended incomplete.
struct NavigationExportFailed {
    std::string requestID;
    std::string message;
    bool operator==(const NavigationExportFailed&) const = default;
};

using LinkRequestKind =
    std::variant<DirectNavigationRequest, BankLearnRequest, ArticulationSetImportAck,
                 MIDIRunScheduleRequest, MIDIRunCancelRequest, NavigationExportReceived,
                 NavigationExportFailed>;

struct LinkRequest {
    LinkRequestOrigin from;
    LinkRequestKind request;
    bool operator==(const LinkRequest&) const = default;
};

// The notification each request is posted under ("OSCDiscoveryManager.DirectNavigationRequested",
// ...), and its user info: "peer" plus the request's fields under their own names ("requestID",
// "bankUUID", "bankName", "host", "port", "sectionName", "groupUUID", "groupName",
// "workspaceUUID", "workspaceName", "transferID", "success", "status", "message", "runID",
// "json", "text", "fileName"); absent optionals are left out.
std::string_view notificationNameFor(const LinkRequestKind& request);
UserInfo userInfoFor(const LinkRequest& request);

// Where the coordinator takes the iPad's requests. Called on the main queue, one request at a
// time in arrival order. MenuBarController implements it; tests record the requests.
class LinkRequestHandler {
  public:
    virtual ~LinkRequestHandler() = default;
    virtual void handleLinkRequest(const LinkRequest& request) = 0;
};

}  // namespace tessiva
