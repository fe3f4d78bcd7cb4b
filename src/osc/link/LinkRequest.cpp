#include "osc/link/LinkRequest.h"

namespace tessiva {

namespace {

template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <class... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

void setOptional(UserInfo& info, const char* key, const std::optional<std::string>& value) {
    if (value)
        info.set(key, *value);
}

}  // namespace

std::string_view notificationNameFor(const LinkRequestKind& request) {
    return std::visit(Overloaded{
                          [](const DirectNavigationRequest&) -> std::string_view {
                              return "OSCDiscoveryManager.DirectNavigationRequested";
                          },
                          [](const BankLearnRequest&) -> std::string_view {
                              return "OSCDiscoveryManager.BankLearnRequested";
                          },
                          [](const ArticulationSetImportAck&) -> std::string_view {
                              return "OSCDiscoveryManager.ArticulationSetImportAckReceived";
                          },
                          [](const MIDIRunScheduleRequest&) -> std::string_view {
                              return "OSCDiscoveryManager.MIDIRunScheduleReceived";
                          },
                          [](const MIDIRunCancelRequest&) -> std::string_view {
                              return "OSCDiscoveryManager.MIDIRunCancelReceived";
                          },
                          [](const NavigationExportReceived&) -> std::string_view {
                              return "OSCDiscoveryManager.NavigationExportReceived";
                          },
                          [](const NavigationExportFailed&) -> std::string_view {
                              return "OSCDiscoveryManager.NavigationExportFailed";
                          },
                      },
                      request);
}

UserInfo userInfoFor(const LinkRequest& request) {
    UserInfo info;
    info.set("peer", request.from.peerID);
    std::visit(Overloaded{
                   [&](const DirectNavigationRequest& direct) {
                       info.set("requestID", direct.requestID);
                       info.set("bankUUID", direct.bankUUID);
                       setOptional(info, "bankName", direct.bankName);
                       info.set("host", request.from.host);
                       info.set("port", static_cast<std::int64_t>(request.from.replyPort));
                   },
                   [&](const BankLearnRequest& learn) {
                       info.set("bankUUID", learn.bankUUID);
                       info.set("bankName", learn.bankName);
                       info.set("sectionName", learn.sectionName);
                       setOptional(info, "groupUUID", learn.groupUUID);
                       setOptional(info, "groupName", learn.groupName);
                       setOptional(info, "workspaceUUID", learn.workspaceUUID);
                       setOptional(info, "workspaceName", learn.workspaceName);
                   },
                   [&](const ArticulationSetImportAck& ack) {
                       info.set("transferID", ack.transferID);
                       info.set("success", ack.success);
                       info.set("status", ack.status);
                       info.set("message", ack.message);
                   },
                   [&](const MIDIRunScheduleRequest& schedule) {
                       info.set("runID", schedule.run.runID);
                       info.set("json", schedule.run.json);
                   },
                   [&](const MIDIRunCancelRequest& cancel) {
                       info.set("runID", cancel.run.runID);
                       info.set("json", cancel.run.json);
                   },
                   [&](const NavigationExportReceived& received) {
                       info.set("requestID", received.requestID);
                       info.set("text", received.text);
                       setOptional(info, "fileName", received.fileName);
                   },
                   [&](const NavigationExportFailed& failed) {
                       info.set("requestID", failed.requestID);
                       info.set("message", failed.message);
                   },
               },
               request.request);
    return info;
}

}  // namespace tessiva
