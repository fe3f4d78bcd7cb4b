// Mirrored-MIDI latency through the real listener: from the moment the iPad's datagram is sent on
// 127.0.0.1 to the moment VirtualMIDIBridge has emitted the message (from its source on the
// in-memory MIDI service), measured alone and while an inactive iPad
// floods the listener with 20,000 pings per second. The raw loopback one-way time (send to a
// blocked recv) is measured in the same run as the floor. Prints medians and 99th percentiles.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "midi/VirtualMIDIBridge.h"
#include "osc/MirroredMIDISink.h"
#include "osc/OSCCodec.h"
#include "osc/OSCDiscoveryManager.h"
#include "osc/OSCManager.h"
#include "osc/RemoteWorkspaceStore.h"
#include "platform/asio/AsioUdpTransport.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/UserDefaults.h"

using namespace tessiva;  // NOLINT: a benchmark program
using SteadyClock = std::chrono::steady_clock;

namespace {

constexpr int kWarmup = 200;
constexpr int kSamples = 3000;
constexpr int kFloodPerSecond = 20000;

class Socket {
  public:
    Socket() {
        fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof(local));
        socklen_t length = sizeof(local);
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length);
        port_ = ntohs(local.sin_port);
    }
    ~Socket() { ::close(fd_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    void sendTo(std::uint16_t port, const std::vector<std::uint8_t>& bytes) const {
        sockaddr_in remote{};
        remote.sin_family = AF_INET;
        remote.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        remote.sin_port = htons(port);
        ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&remote),
                 sizeof(remote));
    }
    bool receive(double seconds) const {
        timeval timeout{0, static_cast<suseconds_t>(seconds * 1e6)};
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        char buffer[2048];
        return ::recv(fd_, buffer, sizeof(buffer), 0) > 0;
    }
    std::uint16_t port() const { return port_; }

  private:
    int fd_ = -1;
    std::uint16_t port_ = 0;
};

// Hands each event to the bridge, stamps the time it was emitted and wakes the sender.
class StampingSink final : public MirroredMIDISink {
  public:
    explicit StampingSink(VirtualMIDIBridge& bridge) : bridge_(bridge) {}
    void mirroredMIDIEvent(const MirroredMIDIEventArguments& event, std::string_view) override {
        bridge_.mirror(event.typeName, event.channel, event.data1, event.data2);
        const auto now = SteadyClock::now();
        std::lock_guard lock(mutex_);
        arrived_ = now;
        ++count_;
        changed_.notify_all();
    }
    // Waits for event number `n` (1-based); returns its arrival time.
    std::optional<SteadyClock::time_point> waitFor(std::uint64_t n) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, std::chrono::seconds(2), [&] { return count_ >= n; })) {
            return std::nullopt;
        }
        return arrived_;
    }

  private:
    VirtualMIDIBridge& bridge_;
    std::mutex mutex_;
    std::condition_variable changed_;
    SteadyClock::time_point arrived_;
    std::uint64_t count_ = 0;
};

struct Figures {
    double median = 0;
    double p99 = 0;
    std::size_t samples = 0;
};

Figures summarize(std::vector<double> micros) {
    std::sort(micros.begin(), micros.end());
    Figures figures;
    figures.samples = micros.size();
    if (micros.empty())
        return figures;
    figures.median = micros[micros.size() / 2];
    figures.p99 = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
    return figures;
}

double microsBetween(SteadyClock::time_point from, SteadyClock::time_point to) {
    return std::chrono::duration<double, std::micro>(to - from).count();
}

// One-way loopback: send from one socket, a thread blocked in recv stamps the arrival. The same
// path the listener's network thread takes, without the link behind it.
class LoopbackFloor {
  public:
    LoopbackFloor() {
        reader_ = std::thread([this] {
            while (!stop_.load()) {
                if (receiver_.receive(0.1)) {
                    std::lock_guard lock(mutex_);
                    arrival_ = SteadyClock::now();
                    ++count_;
                    changed_.notify_all();
                }
            }
        });
    }
    ~LoopbackFloor() {
        stop_ = true;
        reader_.join();
    }
    LoopbackFloor(const LoopbackFloor&) = delete;
    LoopbackFloor& operator=(const LoopbackFloor&) = delete;

    // One send-to-recv time in microseconds, or nullopt when the datagram was lost.
    std::optional<double> sample(const std::vector<std::uint8_t>& bytes) {
        std::unique_lock lock(mutex_);
        const std::uint64_t expected = count_ + 1;
        lock.unlock();
        const auto sent = SteadyClock::now();
        sender_.sendTo(receiver_.port(), bytes);
        lock.lock();
        if (!changed_.wait_for(lock, std::chrono::seconds(1), [&] { return count_ >= expected; })) {
            return std::nullopt;
        }
        return microsBetween(sent, arrival_);
    }

  private:
    Socket sender_;
    Socket receiver_;
    std::thread reader_;
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
    SteadyClock::time_point arrival_;
    std::uint64_t count_ = 0;
};

struct Phase {
    Figures floor;
    Figures midi;
};

// Alternates one floor sample and one mirrored-MIDI sample, so both see the same machine.
Phase measure(LoopbackFloor& floor, Socket& iPad, std::uint16_t macPort, StampingSink& sink,
              std::uint64_t& delivered) {
    std::vector<double> floorMicros;
    std::vector<double> midiMicros;
    const auto event =
        encodeMessage("/tessiva/midi/event", {OSCArgument::string("noteon"), OSCArgument::int32(1),
                                              OSCArgument::int32(60), OSCArgument::int32(100)});
    for (int i = 0; i < kWarmup + kSamples; ++i) {
        const auto floorSample = floor.sample(event);
        std::this_thread::sleep_for(std::chrono::microseconds(150));
        const auto sent = SteadyClock::now();
        iPad.sendTo(macPort, event);
        const auto arrived = sink.waitFor(delivered + 1);
        if (arrived)
            ++delivered;
        if (i >= kWarmup) {
            if (floorSample)
                floorMicros.push_back(*floorSample);
            if (arrived)
                midiMicros.push_back(microsBetween(sent, *arrived));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(150));
    }
    return {summarize(floorMicros), summarize(midiMicros)};
}

void print(const char* label, const Figures& figures) {
    std::printf("  %-38s median %7.1f us   p99 %7.1f us   (n=%zu)\n", label, figures.median,
                figures.p99, figures.samples);
}

}  // namespace

int main() {
    AsioDispatcher dispatcher;
    NullConsole console;
    NotificationCenter notifications(dispatcher.mainQueue());
    InMemoryUserDefaults defaults;
    AsioUdpTransport transport;
    OSCManager sender(dispatcher, transport, console, notifications);
    RemoteWorkspaceStore store(dispatcher.mainQueue());
    auto sound = makeLoggingConnectionSoundPlayer(console);
    SimulatedMIDIService midiService;
    VirtualMIDIBridge bridge(midiService, notifications, console);
    if (!bridge.start()) {
        std::fprintf(stderr, "the virtual MIDI source could not be created\n");
        return 1;
    }
    StampingSink sink(bridge);
    std::thread mainLoop([&] { dispatcher.runMainLoop(); });
    auto finish = [&](int code) {
        dispatcher.stopMainLoop();
        mainLoop.join();
        return code;
    };

    OSCDiscoveryManager::Options options;
    options.bindHost = "127.0.0.1";
    options.localDeviceName = "Bench Mac";
    OSCDiscoveryManager manager({dispatcher, notifications, console, defaults, transport, sender,
                                 store, *sound, nullptr, nullptr},
                                options);
    manager.setMirroredMIDISink(&sink);
    manager.start(0);
    for (int i = 0; i < 200 && manager.listenPort() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const std::uint16_t macPort = manager.listenPort();
    if (macPort == 0) {
        std::fprintf(stderr, "the listener did not start\n");
        return finish(1);
    }

    // The measured iPad becomes the active peer.
    Socket iPad;
    iPad.sendTo(macPort, encodeMessage("/ping", {OSCArgument::int32(iPad.port())}));
    for (int i = 0; i < 200 && !manager.isHandshakeConnected(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    std::printf(
        "tessiva_bench_link_latency: mirrored MIDI, datagram sent on 127.0.0.1 -> MIDI emitted\n");
    LoopbackFloor floor;
    std::uint64_t delivered = 0;
    const Phase quiet = measure(floor, iPad, macPort, sink, delivered);
    print("quiet: raw loopback one-way (floor)", quiet.floor);
    print("quiet: mirrored MIDI", quiet.midi);

    // An inactive iPad floods the listener with pings, paced per millisecond.
    Socket intruder;
    std::atomic<bool> flooding{true};
    std::atomic<std::uint64_t> floodSent{0};
    std::thread flood([&] {
        const auto ping = encodeMessage(
            "/ping", {OSCArgument::int32(intruder.port()), OSCArgument::string("Intruder")});
        const int perMillisecond = kFloodPerSecond / 1000;
        auto next = SteadyClock::now();
        while (flooding.load()) {
            for (int i = 0; i < perMillisecond; ++i)
                intruder.sendTo(macPort, ping);
            floodSent += static_cast<std::uint64_t>(perMillisecond);
            next += std::chrono::milliseconds(1);
            std::this_thread::sleep_until(next);
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto floodStart = SteadyClock::now();
    const std::uint64_t floodBefore = floodSent.load();
    const Phase flooded = measure(floor, iPad, macPort, sink, delivered);
    const double floodSeconds =
        std::chrono::duration<double>(SteadyClock::now() - floodStart).count();
    const double floodRate = static_cast<double>(floodSent.load() - floodBefore) / floodSeconds;
    flooding = false;
    flood.join();
    print("flood: raw loopback one-way (floor)", flooded.floor);
    print("flood: mirrored MIDI", flooded.midi);
    std::printf("  flood rate achieved: %.0f pings/s; active peer kept: %s; MIDI emitted: %zu\n",
                floodRate, manager.activePeerID().value_or("none").c_str(),
                midiService.emittedCount());
    std::printf("  added over the floor (median): quiet %.1f us, flood %.1f us\n",
                quiet.midi.median - quiet.floor.median, flooded.midi.median - flooded.floor.median);
    return finish(0);
}
