#include "osc/OSCManager.h"

#include <mutex>
#include <unordered_map>

#include "osc/OSCCodec.h"
#include "osc/OSCTransmitEcho.h"
#include "platform/net/UdpTransport.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/Queue.h"
#include "runtime/Text.h"

namespace tessiva {

struct OSCManager::Shared : std::enable_shared_from_this<OSCManager::Shared> {
    Shared(Dispatcher& dispatcher, UdpTransport& transport_, Console& console_,
           NotificationCenter& notifications_, Options options_)
        : queue(dispatcher.makeSerialQueue(std::string(kQueueName))),
          transport(transport_),
          console(console_),
          notifications(notifications_),
          options(options_) {}

    std::shared_ptr<Queue> queue;
    UdpTransport& transport;
    Console& console;
    NotificationCenter& notifications;
    Options options;

    // Lookup, insertion and eviction all take this lock, so they never interleave.
    mutable std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<UdpConnection>> reusableConnectionsByEndpoint;

    // Drops `connection` from the cache unless a newer one has taken its key meanwhile.
    void evict(const std::string& key, const std::weak_ptr<UdpConnection>& connection) {
        std::lock_guard lock(mutex);
        auto found = reusableConnectionsByEndpoint.find(key);
        if (found == reusableConnectionsByEndpoint.end())
            return;
        const auto& cached = found->second;
        if (cached.owner_before(connection) || connection.owner_before(cached))
            return;
        reusableConnectionsByEndpoint.erase(found);
    }

    // The cached connection for the endpoint, or a new one, stored and started.
    std::shared_ptr<UdpConnection> connectionForEndpoint(const std::string& host,
                                                         std::uint16_t port,
                                                         const std::string& key) {
        std::shared_ptr<UdpConnection> connection;
        {
            std::lock_guard lock(mutex);
            auto found = reusableConnectionsByEndpoint.find(key);
            if (found != reusableConnectionsByEndpoint.end())
                return found->second;

            // The state handler must know its own connection, which does not exist yet.
            auto self = std::make_shared<std::weak_ptr<UdpConnection>>();
            connection = transport.makeConnection(
                host, port, *queue,
                [weak = weak_from_this(), key, self](UdpConnectionState state, const std::string&) {
                    if (state != UdpConnectionState::failed &&
                        state != UdpConnectionState::cancelled) {
                        return;
                    }
                    if (auto owner = weak.lock())
                        owner->evict(key, *self);
                });
            *self = connection;
            reusableConnectionsByEndpoint.emplace(key, connection);
        }
        connection->start();
        return connection;
    }
};

OSCManager::OSCManager(Dispatcher& dispatcher, UdpTransport& transport, Console& console,
                       NotificationCenter& notifications, Options options)
    : shared_(std::make_shared<Shared>(dispatcher, transport, console, notifications, options)) {}

OSCManager::~OSCManager() {
    std::unordered_map<std::string, std::shared_ptr<UdpConnection>> connections;
    {
        std::lock_guard lock(shared_->mutex);
        connections.swap(shared_->reusableConnectionsByEndpoint);
    }
    // Nothing may call back into us once we are gone.
    for (auto& entry : connections)
        entry.second->cancel();
}

std::string OSCManager::endpointKey(std::string_view host, std::uint16_t port) {
    return std::string(host) + ":" + std::to_string(port);
}

std::size_t OSCManager::connectionCount() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->reusableConnectionsByEndpoint.size();
}

Queue& OSCManager::queue() {
    return *shared_->queue;
}

void OSCManager::send(const std::string& host, std::int64_t port, std::string_view address,
                      std::initializer_list<OSCArgument> arguments) {
    send(host, port, address, std::span<const OSCArgument>(arguments.begin(), arguments.size()));
}

void OSCManager::send(const std::string& host, std::int64_t port, std::string_view address,
                      std::span<const OSCArgument> arguments) {
    if (port < 1 || port > 65535)
        return;
    const auto validPort = static_cast<std::uint16_t>(port);
    std::vector<std::uint8_t> datagram = encodeMessage(address, arguments);
    const std::string key = endpointKey(host, validPort);
    auto connection = shared_->connectionForEndpoint(host, validPort, key);

    if (auto line = transmitEchoLine(address, arguments, shared_->options.logHeartbeatTraffic)) {
        shared_->console.line(*line);
    }

    connection->send(std::move(datagram), [weak = std::weak_ptr<Shared>(shared_), key,
                                           sender = std::weak_ptr<UdpConnection>(connection)](
                                              std::optional<std::string> error) {
        auto shared = weak.lock();
        if (!shared || !error)
            return;
        shared->console.line("OSC send failed: " + *error);
        postDebugEvent(shared->notifications, std::string(kSendFailedTitle), *error);
        // Already on the queue: the next send to this endpoint opens a fresh connection.
        shared->evict(key, sender);
    });
}

void OSCManager::sendPong(const std::string& host, std::int64_t port,
                          std::optional<std::string_view> deviceName) {
    if (deviceName) {
        std::string name = text::trimmed(*deviceName);
        if (!name.empty()) {
            send(host, port, "/pong", {OSCArgument::string(std::move(name))});
            return;
        }
    }
    send(host, port, "/pong", std::span<const OSCArgument>());
}

std::string OSCManager::localDeviceName() {
    return localDeviceName(currentHostNames());
}

std::string OSCManager::localDeviceName(const HostNames& names) {
    const std::optional<std::string>& chosen =
        names.localizedName ? names.localizedName : names.hostName;
    std::string name = text::trimmed(chosen ? *chosen : std::string("Mac"));
    return name.empty() ? std::string("Mac") : name;
}

}  // namespace tessiva
