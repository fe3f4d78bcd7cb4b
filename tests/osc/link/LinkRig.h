#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "osc/OSCCodec.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/dnssd/InMemoryServiceAdvertiser.h"
#include "platform/net/UdpTransport.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "runtime/UserDefaults.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva::testing {

// One datagram the Mac sent, decoded.
struct SentMessage {
    std::string host;
    std::uint16_t port = 0;
    std::string address;
    std::vector<OSCArgument> arguments;
};

// A UDP transport for the iPad link on virtual time: connections record what the Mac sends (and
// complete at once), and the one listener receives datagrams and receive errors the test injects,
// delivered on the queue the manager chose, as the real adapter does.
class LinkTransport final : public UdpTransport {
  public:
    class Connection final : public UdpConnection {
      public:
        Connection(LinkTransport& owner, std::string host, std::uint16_t port, Queue& queue)
            : owner_(owner), host_(std::move(host)), port_(port), queue_(queue) {}
        void start() override {}
        void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override {
            owner_.record(host_, port_, datagram);
            queue_.post([completion = std::move(completion)] { completion(std::nullopt); });
        }
        void cancel() override {}
        UdpConnectionState state() const override { return UdpConnectionState::ready; }
        const std::string& host() const override { return host_; }
        std::uint16_t port() const override { return port_; }

      private:
        LinkTransport& owner_;
        std::string host_;
        std::uint16_t port_;
        Queue& queue_;
    };

    class Listener final : public UdpListener {
      public:
        Listener(LinkTransport& owner, std::uint16_t port) : owner_(owner), port_(port) {}
        ~Listener() override { stop(); }
        std::uint16_t port() const override { return port_; }
        void stop() override { owner_.listenerStopped(this); }

      private:
        LinkTransport& owner_;
        std::uint16_t port_;
    };

    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& callbackQueue,
                                                  UdpConnection::StateHandler) override {
        return std::make_shared<Connection>(*this, host, port, callbackQueue);
    }
    UdpListenResult listen(const UdpListenOptions& options, Queue& deliveryQueue,
                           UdpListener::DatagramHandler handler) override {
        if (refuseListen)
            return {nullptr, *refuseListen};
        lastOptions = options;
        auto listener = std::make_unique<Listener>(*this, options.port == 0 ? 49999 : options.port);
        std::lock_guard lock(mutex_);
        active_ = listener.get();
        deliveryQueue_ = &deliveryQueue;
        handler_ = std::move(handler);
        errorHandler_ = options.receiveErrorHandler;
        ++listenCount;
        return {std::move(listener), {}};
    }

    // The iPad at host:port sends these bytes to the Mac.
    void deliver(const std::string& host, std::uint16_t port, std::vector<std::uint8_t> bytes) {
        std::lock_guard lock(mutex_);
        if (!active_)
            return;
        deliveryQueue_->post(
            [handler = handler_, datagram = UdpDatagram{std::move(bytes), host, port}] {
                handler(datagram);
            });
    }
    void deliver(const std::string& host, std::uint16_t port, std::string_view address,
                 std::initializer_list<OSCArgument> arguments) {
        deliver(host, port, encodeMessage(address, arguments));
    }

    // The listening socket fails one receive, as a refusal learnt from ICMP does.
    void failReceive(std::string description) {
        std::lock_guard lock(mutex_);
        if (!active_ || !errorHandler_)
            return;
        deliveryQueue_->post([handler = errorHandler_, description = std::move(description)] {
            handler(description);
        });
    }

    std::vector<SentMessage> sent() const {
        std::lock_guard lock(mutex_);
        return sent_;
    }
    std::vector<SentMessage> sent(std::string_view address) const {
        std::vector<SentMessage> matching;
        for (auto& message : sent()) {
            if (message.address == address)
                matching.push_back(message);
        }
        return matching;
    }
    void clearSent() {
        std::lock_guard lock(mutex_);
        sent_.clear();
    }
    bool listening() const {
        std::lock_guard lock(mutex_);
        return active_ != nullptr;
    }

    std::optional<std::string> refuseListen;
    std::optional<UdpListenOptions> lastOptions;
    int listenCount = 0;

  private:
    void record(const std::string& host, std::uint16_t port,
                const std::vector<std::uint8_t>& bytes) {
        SentMessage message{host, port, {}, {}};
        if (auto address = decodeAddress(OSCBytes(bytes)))
            message.address = std::string(*address);
        if (auto arguments = decodeArguments(OSCBytes(bytes)))
            message.arguments = *arguments;
        std::lock_guard lock(mutex_);
        sent_.push_back(std::move(message));
    }
    void listenerStopped(const Listener* listener) {
        std::lock_guard lock(mutex_);
        if (active_ == listener)
            active_ = nullptr;
    }

    mutable std::mutex mutex_;
    std::vector<SentMessage> sent_;
    Listener* active_ = nullptr;
    Queue* deliveryQueue_ = nullptr;
    UdpListener::DatagramHandler handler_;
    UdpListener::ReceiveErrorHandler errorHandler_;
};

class RecordingSoundPlayer final : public ConnectionSoundPlayer {
  public:
    void playConnectedSound(double delaySeconds) override { delays.push_back(delaySeconds); }
    std::vector<double> delays;
};

struct LoggedEvent {
    std::string title;
    std::string detail;
};

// Everything an OSCDiscoveryManager needs, on one VirtualScheduler. The Mac announces itself as
// "Studio Mac". Event-log entries and notifications are recorded.
struct LinkRig {
    explicit LinkRig(std::optional<std::string> advertiserFailure = std::nullopt)
        : advertiser(std::move(advertiserFailure)) {
        debugToken =
            notifications.addObserver(kDebugEventNotification, [this](const Notification& n) {
                events.push_back({n.userInfo.string(kDebugEventTitleKey).value_or(""),
                                  n.userInfo.string(kDebugEventDetailKey).value_or("")});
            });
    }

    OSCDiscoveryManager& make() {
        OSCDiscoveryManager::Options options;
        options.bindHost = "127.0.0.1";
        options.localDeviceName = "Studio Mac";
        manager = std::make_unique<OSCDiscoveryManager>(
            OSCDiscoveryManager::Services{scheduler, notifications, console, defaults, transport,
                                          sender, store, sound, &advertiser, &activation},
            options);
        return *manager;
    }
    OSCDiscoveryManager& started(std::int64_t port = 12111) {
        if (!manager)
            make();
        manager->start(port);
        scheduler.runUntilIdle();
        transport.clearSent();
        events.clear();
        return *manager;
    }

    // Observes a notification by name for the rest of the test.
    std::vector<UserInfo>& observe(const std::string& name) {
        auto& list = observed[name];
        tokens.push_back(notifications.addObserver(
            name, [this, name](const Notification& n) { observed[name].push_back(n.userInfo); }));
        return list;
    }

    bool logged(const std::string& title, const std::string& detail) const {
        for (const auto& event : events) {
            if (event.title == title && event.detail == detail)
                return true;
        }
        return false;
    }
    std::size_t countTitle(const std::string& title) const {
        std::size_t count = 0;
        for (const auto& event : events)
            count += event.title == title;
        return count;
    }
    std::string eventsText() const {
        std::string text;
        for (const auto& event : events)
            text += event.title + " | " + event.detail + "\n";
        return text;
    }

    VirtualScheduler scheduler;
    NotificationCenter notifications{scheduler.mainQueue()};
    CapturingConsole console;
    InMemoryUserDefaults defaults;
    LinkTransport transport;
    OSCManager sender{scheduler, transport, console, notifications};
    RemoteWorkspaceStore store{scheduler.mainQueue()};
    RecordingSoundPlayer sound;
    InMemoryServiceAdvertiser advertiser;
    ActivationEventSource activation;
    std::vector<LoggedEvent> events;
    std::map<std::string, std::vector<UserInfo>> observed;
    std::vector<ObserverToken> tokens;
    ObserverToken debugToken;
    std::unique_ptr<OSCDiscoveryManager> manager;
};

}  // namespace tessiva::testing
