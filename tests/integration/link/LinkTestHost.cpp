// A small Mac named "Test Mac" for the link's integration tests: an OSCDiscoveryManager on
// AsioDispatcher with real UDP sockets. Prints "LISTENING <port>" once ready, then every event-log
// entry as "EVENT <title> | <detail>", handshake changes as "HANDSHAKE connected=<0|1> peer=<id>"
// and each published workspace as "PUBLISHED sections=<n> banks=<m> name=<name>", mirrored MIDI as
// "MIDI
// ...". Runs until stdin closes (unless --ignore-stdin) or --seconds pass. --stored-peer
// HOST:PORT starts it as if that iPad had been linked before, so the Mac pings it first.
#include <CLI/CLI.hpp>
#include <iostream>
#include <thread>

#include "osc/MirroredMIDISink.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "osc/StoredPeerEndpoint.h"
#include "platform/asio/AsioUdpTransport.h"
#include "platform/dnssd/InMemoryServiceAdvertiser.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/UserDefaults.h"

using namespace tessiva;

namespace {
// Prints each mirrored MIDI event: "MIDI <type> <channel> <data1> <data2> from <sender>".
class PrintingSink final : public MirroredMIDISink {
  public:
    explicit PrintingSink(Console& console) : console_(console) {}
    void mirroredMIDIEvent(const MirroredMIDIEventArguments& event,
                           std::string_view sender) override {
        console_.line("MIDI " + std::string(event.typeName) + " " + std::to_string(event.channel) +
                      " " + std::to_string(event.data1) + " " + std::to_string(event.data2) +
                      " from " + std::string(sender));
    }

  private:
    Console& console_;
};
}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Runs the iPad link on real sockets for integration tests."};
    int port = 0;
    double seconds = 60.0;
    bool bonjour = false;
    bool watchStdin = true;
    app.add_option("--port", port, "Listen port (0: ephemeral)");
    app.add_option("--seconds", seconds, "Stop after this long");
    app.add_flag("--bonjour", bonjour, "Advertise through the system's DNS-SD responder");
    app.add_flag("!--ignore-stdin", watchStdin, "Run for --seconds whatever stdin does");
    std::string storedPeer;
    app.add_option("--stored-peer", storedPeer, "HOST:PORT of the iPad remembered from before");
    CLI11_PARSE(app, argc, argv);

    AsioDispatcher dispatcher;
    StdoutConsole console;
    NotificationCenter notifications(dispatcher.mainQueue());
    InMemoryUserDefaults defaults;
    if (const auto colon = storedPeer.rfind(':'); colon != std::string::npos) {
        StoredPeerEndpoint{storedPeer.substr(0, colon),
                           static_cast<std::uint16_t>(std::stoi(storedPeer.substr(colon + 1)))}
            .save(defaults);
    }
    AsioUdpTransport transport;
    OSCManager sender(dispatcher, transport, console, notifications);
    RemoteWorkspaceStore store(dispatcher.mainQueue());
    auto sound = makeLoggingConnectionSoundPlayer(console);
    std::unique_ptr<ServiceAdvertiser> advertiser =
        bonjour ? makeServiceAdvertiser() : std::make_unique<InMemoryServiceAdvertiser>();

    auto events = notifications.addObserver(kDebugEventNotification, [&](const Notification& n) {
        console.line("EVENT " + n.userInfo.string(kDebugEventTitleKey).value_or("") + " | " +
                     n.userInfo.string(kDebugEventDetailKey).value_or(""));
    });
    auto handshakes = notifications.addObserver(
        std::string(OSCDiscoveryManager::kHandshakeStatusChanged), [&](const Notification& n) {
            console.line(std::string("HANDSHAKE connected=") +
                         (n.userInfo.boolean("connected").value_or(false) ? "1" : "0") +
                         " peer=" + n.userInfo.string("peer").value_or("-"));
        });
    auto published = store.addObserver([&](const RemoteWorkspaceSnapshot& snapshot) {
        console.line("PUBLISHED sections=" + std::to_string(snapshot.sections.size()) +
                     " banks=" + std::to_string(snapshot.bankCount()) +
                     " name=" + snapshot.workspaceName.value_or("Unknown"));
    });

    OSCDiscoveryManager::Options options;
    options.bindHost = "127.0.0.1";
    options.localDeviceName = "Test Mac";
    OSCDiscoveryManager manager({dispatcher, notifications, console, defaults, transport, sender,
                                 store, *sound, advertiser.get(), nullptr},
                                options);
    PrintingSink sink(console);
    manager.setMirroredMIDISink(&sink);
    manager.start(port);

    // Report the bound port once the listener is up.
    std::function<void()> report = [&] {
        if (manager.listenPort() != 0) {
            console.line("LISTENING " + std::to_string(manager.listenPort()));
            return;
        }
        dispatcher.mainQueue().postAfter(0.01, report);
    };
    dispatcher.mainQueue().post(report);

    if (watchStdin) {
        std::thread([&] {
            std::string line;
            while (std::getline(std::cin, line)) {
            }
            dispatcher.stopMainLoop();
        }).detach();
    }
    dispatcher.runMainLoopFor(seconds);
    manager.stop();
    return 0;
}
