// Figures for the virtual MIDI mirror: what the bridge itself costs per event (decode + send into
// a sink that does no I/O), and how long an event takes from VirtualMIDIBridge::send to a JACK
// client reading the source, on a private dummy-driver JACK server started here (once in
// jackd's default asynchronous mode, once synchronous).
//
//   tessiva_bench_midi [--events N] [--rate HZ]   (defaults: 10000 events at 1000 Hz)

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "JackMIDIReader.h"
#include "JackServerProcess.h"
#include "midi/MirroredMIDIEvent.h"
#include "midi/VirtualMIDIBridge.h"
#include "platform/rtmidi/RtMidiService.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

using Clock = std::chrono::steady_clock;

// A MIDI service whose source drops every message: the bridge's own cost, without I/O.
class NullMIDIService final : public MIDIService {
  public:
    struct Source final : MIDIVirtualSource {
        MIDIStatusCode emit(std::span<const std::uint8_t> message) override {
            checksum += message[0] + message.size();
            return 0;
        }
        std::uint64_t checksum = 0;
    };
    struct Client final : MIDIClient {
        std::vector<MIDIDestination> destinations() override { return {}; }
        MIDICreation<MIDIOutputPort> createOutputPort(const std::string&) override {
            return MIDICreation<MIDIOutputPort>::failure(-1, "no ports");
        }
        MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string&) override {
            return MIDICreation<MIDIVirtualSource>::success(std::make_unique<Source>());
        }
    };
    MIDICreation<MIDIClient> createClient(const std::string&) override {
        return MIDICreation<MIDIClient>::success(std::make_unique<Client>());
    }
};

double nanosecondsPer(Clock::duration total, std::size_t count) {
    return std::chrono::duration<double, std::nano>(total).count() / static_cast<double>(count);
}

void measureOwnCost() {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    NullConsole console;
    NullMIDIService midi;
    VirtualMIDIBridge bridge(midi, center, console);
    if (!bridge.start())
        return;
    const std::vector<OSCArgument> arguments{OSCArgument::string("note_on"), OSCArgument::int32(3),
                                             OSCArgument::int32(60), OSCArgument::int32(100)};
    constexpr std::size_t kIterations = 2'000'000;
    std::size_t sent = 0;
    for (int round = 0; round < 2; ++round) {  // the first round warms up
        auto start = Clock::now();
        for (std::size_t i = 0; i < kIterations; ++i) {
            const auto decoded = decodeMirroredMIDIEvent(arguments, "127.0.0.1:50000");
            if (decoded.event)
                sent += bridge.send(*decoded.event);
        }
        const auto decodeAndSend = Clock::now() - start;
        start = Clock::now();
        for (std::size_t i = 0; i < kIterations; ++i) {
            sent += bridge.send(MIDIEventKind::noteOn, 2, static_cast<std::uint8_t>(i & 0x7F), 100);
        }
        const auto sendOnly = Clock::now() - start;
        if (round == 1) {
            std::printf(
                "bridge cost, no I/O: decode+send %.1f ns/event, send alone %.1f ns/event "
                "(%zu events each)\n",
                nanosecondsPer(decodeAndSend, kIterations), nanosecondsPer(sendOnly, kIterations),
                kIterations);
        }
    }
    if (sent == 0)
        std::printf("(nothing was sent)\n");
}

int measureJackLatency(std::size_t events, double rate, test::JackServerMode mode) {
    std::string error;
    auto server = test::JackServerProcess::start(error, mode);
    if (!server) {
        std::fprintf(stderr, "no JACK server: %s\n", error.c_str());
        return 1;
    }
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    NullConsole console;
    RtMidiService midi;
    VirtualMIDIBridge bridge(midi, center, console);
    if (!bridge.start()) {
        std::fprintf(stderr, "the virtual source could not be created on JACK\n");
        return 1;
    }
    auto reader = test::JackMIDIReader::open("latency reader", {"in"}, error);
    if (!reader || !reader->connectFrom("Tessiva Focus Virtual MIDI:Tessiva MIDI", 0) ||
        !reader->waitForCycles(3, 5.0)) {
        std::fprintf(stderr, "reader not connected: %s\n", error.c_str());
        return 1;
    }

    // Each event carries its sequence number in its two data bytes.
    std::vector<Clock::time_point> sentAt(events);
    const auto interval =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
    auto next = Clock::now();
    for (std::size_t i = 0; i < events; ++i) {
        std::this_thread::sleep_until(next);
        sentAt[i] = Clock::now();
        bridge.send(MIDIEventKind::controlChange, 0, static_cast<std::uint8_t>(i & 0x7F),
                    static_cast<std::uint8_t>((i >> 7) & 0x7F));
        next += interval;
    }
    const auto received = reader->take(events, 5.0);

    std::vector<double> latencies;
    latencies.reserve(received.size());
    for (const auto& event : received) {
        const std::size_t sequence =
            event.bytes[1] | (static_cast<std::size_t>(event.bytes[2]) << 7);
        if (event.size != 3 || sequence >= events)
            continue;
        const auto sent = std::chrono::duration_cast<std::chrono::nanoseconds>(
                              sentAt[sequence].time_since_epoch())
                              .count();
        latencies.push_back(static_cast<double>(event.arrivalNanos - sent) / 1000.0);
    }
    if (latencies.empty()) {
        std::fprintf(stderr, "no event arrived\n");
        return 1;
    }
    std::sort(latencies.begin(), latencies.end());
    auto percentile = [&](double p) {
        const auto index = static_cast<std::size_t>(p * static_cast<double>(latencies.size() - 1));
        return latencies[index];
    };
    std::printf(
        "send -> JACK reader (%s server, dummy driver, 48 kHz, 256-frame period = 5.33 "
        "ms): %zu of %zu events arrived at %.0f Hz; latency median %.0f us, p99 %.0f us, "
        "max %.0f us\n",
        mode == test::JackServerMode::synchronous ? "synchronous" : "asynchronous",
        latencies.size(), events, rate, percentile(0.5), percentile(0.99), latencies.back());
    return latencies.size() == events ? 0 : 1;
}

}  // namespace
}  // namespace tessiva

int main(int argc, char** argv) {
    std::size_t events = 10'000;
    double rate = 1000.0;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--events") == 0)
            events = std::strtoul(argv[i + 1], nullptr, 10);
        if (std::strcmp(argv[i], "--rate") == 0)
            rate = std::strtod(argv[i + 1], nullptr);
    }
    if (events == 0 || events > 16'384 || rate <= 0) {
        std::fprintf(stderr, "usage: tessiva_bench_midi [--events 1..16384] [--rate HZ]\n");
        return 2;
    }
    tessiva::measureOwnCost();
    // jackd's default mode first, then the synchronous mode the integration tests use.
    const int asynchronous =
        tessiva::measureJackLatency(events, rate, tessiva::test::JackServerMode::asynchronous);
    const int synchronous =
        tessiva::measureJackLatency(events, rate, tessiva::test::JackServerMode::synchronous);
    return asynchronous != 0 || synchronous != 0 ? 1 : 0;
}
