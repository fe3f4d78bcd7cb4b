#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "osc/OSCArgument.h"
#include "platform/net/HostNames.h"

namespace tessiva {

class Console;
class Dispatcher;
class NotificationCenter;
class Queue;
class UdpTransport;

struct OSCManagerOptions {
    // High-rate traffic (mirrored MIDI, runs, ping and pong) stays off the console. The app keeps
    // it off; tests turn it on.
    bool logHeartbeatTraffic = false;
};

// The one OSC sender of the app: encodes a message and sends it as one datagram over a connected
// UDP socket kept per endpoint ("host:port"). Callable from any thread; the cache is guarded by a
// lock, and connection callbacks and evictions run on the serial queue "tessiva.focus.osc". Sends
// are fire-and-forget: errors go to the console and the event log ("OSC send failed") and evict
// the endpoint's connection. Tests inject a VirtualScheduler and SimulatedUdpTransport, or the Asio
// transport on 127.0.0.1.
class OSCManager {
  public:
    using OSCArgument = tessiva::OSCArgument;

    static constexpr std::string_view kQueueName = "tessiva.focus.osc";
    static constexpr std::string_view kSendFailedTitle = "OSC send failed";

    using Options = OSCManagerOptions;

    OSCManager(Dispatcher& dispatcher, UdpTransport& transport, Console& console,
               NotificationCenter& notifications, Options options = {});
    ~OSCManager();
    OSCManager(const OSCManager&) = delete;
    OSCManager& operator=(const OSCManager&) = delete;

    // Sends one message; a port outside 1-65535 drops it silently.
    void send(const std::string& host, std::int64_t port, std::string_view address,
              std::span<const OSCArgument> arguments);
    void send(const std::string& host, std::int64_t port, std::string_view address,
              std::initializer_list<OSCArgument> arguments);
    // "/pong" with the trimmed device name, or with no argument when it is absent or blank.
    void sendPong(const std::string& host, std::int64_t port,
                  std::optional<std::string_view> deviceName);

    // The name this Mac announces: localized name, else host name, else "Mac"; trimmed, and
    // "Mac" when that leaves nothing.
    static std::string localDeviceName();
    static std::string localDeviceName(const HostNames& names);

    // "host:port": the cache key of an endpoint.
    static std::string endpointKey(std::string_view host, std::uint16_t port);

    // Open connections in the cache.
    std::size_t connectionCount() const;
    Queue& queue();

  private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

}  // namespace tessiva
