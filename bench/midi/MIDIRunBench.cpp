// Timing of scheduled MIDI runs over the real JACK MIDI path: MIDIRunScheduler on its own
// production serial queue ("tessiva.focus.precision-run", Asio) plays a run of 100 notes, one
// every 50 ms, each held 40 ms, from the virtual source "Tessiva MIDI" on RtMidi/JACK; a JACK
// client on a private dummy-driver server (48 kHz, 256-frame period = 5.33 ms) records when each
// event reached it. The error of each note-on is its arrival minus its scheduled time (receipt
// + start delay + index x interval). A JACK client sees MIDI only once per period, so an error up
// to one period is the transport's and anything beyond it is the scheduler's.
//
//   tessiva_bench_midi_runs [--notes N] [--interval-ms I]   (defaults: 100 notes, 50 ms)

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "JackMIDIReader.h"
#include "JackServerProcess.h"
#include "midi/MIDIRunScheduler.h"
#include "midi/VirtualMIDIBridge.h"
#include "platform/rtmidi/RtMidiService.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {
namespace {

constexpr double kPeriodMs = 256.0 / 48.0;

int measureRun(int notes, double intervalMs, test::JackServerMode mode) {
    std::string error;
    auto server = test::JackServerProcess::start(error, mode);
    if (!server) {
        std::fprintf(stderr, "no JACK server: %s\n", error.c_str());
        return 1;
    }
    AsioDispatcher dispatcher;
    NotificationCenter center(dispatcher.mainQueue());
    CapturingConsole console;
    RtMidiService midi;
    VirtualMIDIBridge bridge(midi, center, console);
    if (!bridge.start()) {
        std::fprintf(stderr, "the virtual source could not be created on JACK\n");
        return 1;
    }
    auto reader = test::JackMIDIReader::open("run reader", {"in"}, error);
    if (!reader || !reader->connectFrom("Tessiva Focus Virtual MIDI:Tessiva MIDI", 0) ||
        !reader->waitForCycles(3, 5.0)) {
        std::fprintf(stderr, "reader not connected: %s\n", error.c_str());
        return 1;
    }
    MIDIRunScheduler runs(dispatcher, bridge, center, console);

    // Note i is 20 + i, so each arrival names its note.
    std::string list;
    for (int i = 0; i < notes; ++i)
        list += (i ? "," : "") + std::to_string(20 + i);
    const auto interval = static_cast<long long>(intervalMs * 1e6);
    const long long delay = 100'000'000;
    const std::string json =
        R"({"version":1,"runID":"bench","startDelayNanoseconds":)" + std::to_string(delay) +
        R"(,"intervalNanoseconds":)" + std::to_string(interval) + R"(,"gateNanoseconds":)" +
        std::to_string(interval * 4 / 5) +
        R"(,"overlapNanoseconds":0,"legato":false,"channelOneBased":1,"velocity":100,"notes":[)" +
        list + "]}";
    const double receivedAt = dispatcher.clock().now();
    runs.schedule(json, receivedAt, "bench");
    const auto events = reader->take(static_cast<std::size_t>(notes) * 2,
                                     delay / 1e9 + notes * intervalMs / 1000.0 + 3.0);

    std::vector<double> errorsMs;
    int noteOffs = 0;
    for (const auto& event : events) {
        const int index = event.bytes[1] - 20;
        if (event.size != 3 || index < 0 || index >= notes)
            continue;
        if ((event.bytes[0] & 0xF0) == 0x80) {
            ++noteOffs;
            continue;
        }
        const double scheduledNs = receivedAt * 1e9 + static_cast<double>(delay) +
                                   static_cast<double>(index) * static_cast<double>(interval);
        errorsMs.push_back((static_cast<double>(event.arrivalNanos) - scheduledNs) / 1e6);
    }
    if (errorsMs.empty()) {
        std::fprintf(stderr, "no note arrived\n");
        return 1;
    }
    std::sort(errorsMs.begin(), errorsMs.end());
    auto percentile = [&](double p) {
        return errorsMs[static_cast<std::size_t>(p * static_cast<double>(errorsMs.size() - 1))];
    };
    const double median = percentile(0.5);
    std::printf(
        "%d notes every %.0f ms over JACK (%s server, dummy driver, period %.2f ms): %zu note-ons "
        "and %d note-offs arrived; note-on error vs schedule: min %.2f ms, median %.2f ms, p99 "
        "%.2f ms, max %.2f ms; median beyond one period %.2f ms (goal < 1 ms)\n",
        notes, intervalMs,
        mode == test::JackServerMode::synchronous ? "synchronous" : "asynchronous", kPeriodMs,
        errorsMs.size(), noteOffs, errorsMs.front(), median, percentile(0.99), errorsMs.back(),
        std::max(0.0, median - kPeriodMs));
    for (const auto& line : console.lines()) {
        if (line.find("Run bench played") != std::string::npos)
            std::printf("  scheduler: %s\n", line.c_str());
    }
    const bool complete = static_cast<int>(errorsMs.size()) == notes && noteOffs == notes;
    if (!complete)
        std::printf("  MISSING EVENTS: every note-on needs its note-off\n");
    return complete ? 0 : 1;
}

}  // namespace
}  // namespace tessiva

int main(int argc, char** argv) {
    int notes = 100;
    double intervalMs = 50.0;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--notes") == 0)
            notes = std::atoi(argv[i + 1]);
        if (std::strcmp(argv[i], "--interval-ms") == 0)
            intervalMs = std::strtod(argv[i + 1], nullptr);
    }
    if (notes < 1 || notes > 100 || intervalMs < 1.0) {
        std::fprintf(stderr, "usage: tessiva_bench_midi_runs [--notes 1..100] [--interval-ms I]\n");
        return 2;
    }
    const int asynchronous =
        tessiva::measureRun(notes, intervalMs, tessiva::test::JackServerMode::asynchronous);
    const int synchronous =
        tessiva::measureRun(notes, intervalMs, tessiva::test::JackServerMode::synchronous);
    return asynchronous != 0 || synchronous != 0 ? 1 : 0;
}
