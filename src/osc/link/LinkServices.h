#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessiva {

class ActivationEventSource;
class Console;
class ConnectionSoundPlayer;
class Dispatcher;
class NotificationCenter;
class OSCManager;
class RemoteWorkspaceStore;
class ServiceAdvertiser;
class UdpTransport;
class UserDefaults;

// What the iPad link needs from the rest of the program. Everything must outlive the link; the
// advertiser and the activation source may be absent.
struct LinkServices {
    Dispatcher& dispatcher;
    NotificationCenter& notifications;
    Console& console;
    UserDefaults& defaults;
    UdpTransport& transport;
    OSCManager& sender;
    RemoteWorkspaceStore& workspaceStore;
    ConnectionSoundPlayer& sound;
    ServiceAdvertiser* advertiser = nullptr;
    ActivationEventSource* activation = nullptr;
};

struct LinkOptions {
    // "::" in the program; "127.0.0.1" in tests.
    std::string bindHost = "::";
    std::string serviceName = "Tessiva Focus";
    // Name announced to the iPad; empty means OSCManager::localDeviceName().
    std::string localDeviceName;
    // Pings, pongs and mirrored MIDI are echoed at most every few seconds unless set.
    bool logHeartbeatTraffic = false;
};

}  // namespace tessiva
