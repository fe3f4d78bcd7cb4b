#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "../OSCArgs.h"
#include "osc/OSCCodec.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/dnssd/InMemoryServiceAdvertiser.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "runtime/UserDefaults.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva::testing {

// The iPad most tests play, and a second one on the same host.
constexpr const char* kHost = "127.0.0.1";
constexpr std::uint16_t kIPad = 53000;
constexpr std::uint16_t kOther = 53001;
inline const std::string kSender = "127.0.0.1:53000";

// One datagram the Mac sent, decoded.
struct SentMessage {
    std::uint16_t port = 0;
    std::string address;
    std::vector<OSCArgument> arguments;
};

class RecordingSoundPlayer final : public ConnectionSoundPlayer {
  public:
    void playConnectedSound(double delaySeconds) override { delays.push_back(delaySeconds); }
    std::vector<double> delays;
};

// Everything an OSCDiscoveryManager needs, on one VirtualScheduler. The Mac announces itself as
// "Studio Mac"; the UDP side is simulated and the test plays the iPad. Event-log entries and
// notifications are recorded.
struct LinkRig {
    explicit LinkRig(std::optional<std::string> advertiserFailure = std::nullopt)
        : advertiser(std::move(advertiserFailure)) {}

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
    OSCDiscoveryManager& start(std::int64_t port = 12111) {
        if (!manager)
            make();
        manager->start(port);
        scheduler.runUntilIdle();
        return *manager;
    }
    // Started, with nothing sent or logged since; with "Stage iPad" at kIPad active and connected
    // first when asked.
    OSCDiscoveryManager& started(bool withIPad = false) {
        start();
        if (withIPad)
            ping(kIPad);
        transport.clearSent();
        events.clear();
        return *manager;
    }
    OSCDiscoveryManager& connected() { return started(true); }

    // The iPad on 127.0.0.1 at `port` sends one message to the Mac.
    void deliver(std::uint16_t port, std::string_view address,
                 const std::vector<OSCArgument>& arguments) {
        transport.deliver(kHost, port, encodeMessage(address, arguments));
    }
    // Delivers one message and lets the Mac handle it.
    void from(std::uint16_t port, std::string_view address,
              const std::vector<OSCArgument>& arguments) {
        deliver(port, address, arguments);
        scheduler.runUntilIdle();
    }
    void ping(std::uint16_t port, std::string name = "Stage iPad") {
        from(port, "/ping", {i(port), s(std::move(name))});
    }
    // What the Mac sent, decoded; only the messages to `address` when one is given.
    std::vector<SentMessage> sent(std::string_view address = {}) const {
        std::vector<SentMessage> messages;
        for (const auto& datagram : transport.sent()) {
            const OSCBytes bytes(datagram.bytes);
            SentMessage message{datagram.port, std::string(decodeAddress(bytes).value_or("")),
                                decodeArguments(bytes).value_or(std::vector<OSCArgument>{})};
            if (address.empty() || message.address == address)
                messages.push_back(std::move(message));
        }
        return messages;
    }

    // Everything the Mac sent, one "address port [arguments]" line per message.
    std::vector<std::string> sentLines() const {
        std::vector<std::string> lines;
        for (const auto& message : sent())
            lines.push_back(message.address + " " + std::to_string(message.port) + " " +
                            describeArguments(message.arguments));
        return lines;
    }

    // Observes a notification by name for the rest of the test.
    std::vector<UserInfo>& observe(const std::string& name) {
        auto& list = observed[name];
        tokens.push_back(notifications.addObserver(
            name, [this, name](const Notification& n) { observed[name].push_back(n.userInfo); }));
        return list;
    }

    bool logged(const std::string& title, const std::string& detail) const {
        return std::ranges::count(events, title + " | " + detail) > 0;
    }
    std::size_t countTitle(const std::string& title) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            events, [&](const std::string& event) { return event.starts_with(title + " | "); }));
    }
    std::string eventsText() const {
        std::string text;
        for (const auto& event : events)
            text += event + "\n";
        return text;
    }

    VirtualScheduler scheduler;
    NotificationCenter notifications{scheduler.mainQueue()};
    CapturingConsole console;
    InMemoryUserDefaults defaults;
    SimulatedUdpTransport transport;
    OSCManager sender{scheduler, transport, console, notifications};
    RemoteWorkspaceStore store{scheduler.mainQueue()};
    std::vector<RemoteWorkspaceSnapshot> published;  // by the store, in order
    ObserverToken publishedToken =
        store.addObserver([this](const RemoteWorkspaceSnapshot& s) { published.push_back(s); });
    RecordingSoundPlayer sound;
    InMemoryServiceAdvertiser advertiser;
    ActivationEventSource activation;
    std::vector<std::string> events;  // "title | detail"
    std::map<std::string, std::vector<UserInfo>> observed;
    std::vector<ObserverToken> tokens;
    ObserverToken debugToken =
        notifications.addObserver(kDebugEventNotification, [this](const Notification& n) {
            events.push_back(n.userInfo.string(kDebugEventTitleKey).value_or("") + " | " +
                             n.userInfo.string(kDebugEventDetailKey).value_or(""));
        });
    std::unique_ptr<OSCDiscoveryManager> manager;
};

}  // namespace tessiva::testing
