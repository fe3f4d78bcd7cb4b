// The cost of routing one Logic track selection: from delivery to the coordinator until the
// "/tessiva/bank/focus" datagram is handed to the UDP socket. Real mapping store, event log, MIDI
// relay (in-memory service) and OSC sender over the Asio transport to a loopback socket; the
// handover is timed where the sender gives the datagram to its connection. Rows alternate so that
// neither dedupe window nor the bank-focus signature short-circuits the path.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "app/LearnModeStore.h"
#include "app/ProjectKeyProvider.h"
#include "app/SelectionStageRecorder.h"
#include "app/StructuralRepairState.h"
#include "app/TrackSelectionRouter.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "platform/net/UdpTransport.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/UUID.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

// Structural repair that never has a repair pending: these runs make no structural edits.
class NoStructuralRepair final : public StructuralRepairState {
  public:
    void noteSelection(const TrackSelection&,
                       const std::optional<std::map<int, std::string>>&) override {}
    std::optional<int> pendingRepairDelta() const override { return std::nullopt; }
};

using SteadyClock = std::chrono::steady_clock;

// Notes when a datagram reaches a connection, then passes it to the real one.
class StampingTransport final : public UdpTransport {
  public:
    SteadyClock::time_point lastHandover{};
    std::size_t handovers = 0;

    std::shared_ptr<UdpConnection> makeConnection(const std::string& host, std::uint16_t port,
                                                  Queue& queue,
                                                  UdpConnection::StateHandler handler) override {
        return std::make_shared<Stamped>(
            *this, real_->makeConnection(host, port, queue, std::move(handler)));
    }
    UdpListenResult listen(const UdpListenOptions& options, Queue& queue,
                           UdpListener::DatagramHandler handler) override {
        return real_->listen(options, queue, std::move(handler));
    }

  private:
    class Stamped final : public UdpConnection {
      public:
        Stamped(StampingTransport& owner, std::shared_ptr<UdpConnection> real)
            : owner_(owner), real_(std::move(real)) {}
        void start() override { real_->start(); }
        void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override {
            owner_.lastHandover = SteadyClock::now();
            ++owner_.handovers;
            real_->send(std::move(datagram), std::move(completion));
        }
        void cancel() override { real_->cancel(); }
        UdpConnectionState state() const override { return real_->state(); }
        const std::string& host() const override { return real_->host(); }
        std::uint16_t port() const override { return real_->port(); }

      private:
        StampingTransport& owner_;
        std::shared_ptr<UdpConnection> real_;
    };
    std::unique_ptr<UdpTransport> real_ = makeUdpTransport();
};

class LoopbackSink {
  public:
    LoopbackSink() {
        fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~LoopbackSink() { ::close(fd_); }
    LoopbackSink(const LoopbackSink&) = delete;
    LoopbackSink& operator=(const LoopbackSink&) = delete;
    std::uint16_t port() const { return port_; }
    void drain() {
        char buffer[2048];
        while (::recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT) > 0) {
        }
    }

  private:
    int fd_ = -1;
    std::uint16_t port_ = 0;
};

class FixedPeer final : public PeerEndpointProvider {
  public:
    explicit FixedPeer(std::uint16_t port) : port_(port) {}
    std::optional<PeerEndpoint> activePeerEndpoint() const override {
        return PeerEndpoint{"127.0.0.1", port_};
    }

  private:
    std::uint16_t port_;
};

double percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    return values[index];
}

int run() {
    constexpr int kRows = 64;
    constexpr int kWarmup = 2'000;
    constexpr int kSamples = 20'000;

    VirtualScheduler scheduler;
    NullConsole console;
    NotificationCenter center(scheduler.mainQueue());
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());
    const auto folder = std::filesystem::temp_directory_path() / ("tessiva-bench-" + makeUUID());
    MappingStore store({scheduler.mainQueue(), scheduler.clock(), console, log});
    (void)store.open(folder);
    LearnModeStore learn;
    SimulatedMIDIService midi;
    midi.addDestination("Network Session 1");
    MIDIRelay relay(midi, center, console);
    relay.start();
    relay.refreshDestinations();
    StampingTransport transport;
    OSCManager osc(scheduler, transport, console, center);
    LoopbackSink sink;
    FixedPeer peer(sink.port());
    LoadedProfileProjectKeyProvider projectKeys([] { return std::optional<std::string>("Song"); });
    NoStructuralRepair repair;
    SelectionStageRecorder stages(scheduler.clock());
    TrackSelectionRouter router({scheduler.mainQueue(), scheduler.clock(), console, center, log,
                                 store, learn, relay, osc, peer, projectKeys, repair, stages});

    std::vector<TrackSelection> selections;
    for (int row = 1; row <= kRows; ++row) {
        const std::string name = "Track " + std::to_string(row);
        MIDIMapping midiMapping;
        midiMapping.programChange = row % 128;
        midiMapping.trackName = name;
        (void)store.setMIDIMapping(row, midiMapping);
        OSCBankFocusMapping bank;
        bank.trackName = name;
        bank.bankUUID = makeUUID();
        bank.bankName = "Bank " + std::to_string(row);
        bank.sectionName = "Section";
        (void)store.setBankMapping(row, bank);
        selections.push_back(TrackSelection{row, name});
    }

    std::vector<double> latencies;
    std::vector<double> callTimes;
    latencies.reserve(kSamples);
    callTimes.reserve(kSamples);
    for (int i = 0; i < kWarmup + kSamples; ++i) {
        const TrackSelection& selection = selections[static_cast<std::size_t>(i % kRows)];
        const std::size_t before = transport.handovers;
        const auto start = SteadyClock::now();
        router.routeSelection(selection);
        const auto end = SteadyClock::now();
        if (transport.handovers != before + 1) {
            std::fprintf(stderr, "selection %d did not reach the socket\n", i);
            return 1;
        }
        if (i >= kWarmup) {
            latencies.push_back(
                std::chrono::duration<double, std::micro>(transport.lastHandover - start).count());
            callTimes.push_back(std::chrono::duration<double, std::micro>(end - start).count());
        }
        // Outside the timed region: completions, and the in-memory MIDI records.
        scheduler.advance(0.01);
        if (i % 512 == 0) {
            midi.clearRecords();
            sink.drain();
        }
    }

    std::printf("tessiva_bench_app: routing one selection to the datagram handover (%d samples)\n",
                kSamples);
    std::printf("  delivery -> datagram handed to socket: median %.2f us, p99 %.2f us\n",
                percentile(latencies, 0.5), percentile(latencies, 0.99));
    std::printf("  whole selection (bank focus + MIDI + logs): median %.2f us, p99 %.2f us\n",
                percentile(callTimes, 0.5), percentile(callTimes, 0.99));
    std::printf("  goal: handover under 20 us\n");

    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return 0;
}

}  // namespace
}  // namespace tessiva

int main() {
    return tessiva::run();
}
