// Costs of Logic observation against the simulated Logic: a click to the emitted selection,
// anchoring in a large window, and the idle cost of the rescan. Virtual time is excluded: the
// figures are real CPU time and Accessibility attribute reads.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "logic/LogicAXReader.h"
#include "logic/LogicObserver.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

struct Project {
    explicit Project(int tracks,
                     SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile())
        : center(scheduler.mainQueue()), logic(scheduler.clock(), std::move(options)) {
        for (int i = 1; i <= tracks; ++i)
            logic.addTrack("Track name " + std::to_string(i));
        observer = std::make_unique<LogicObserver>(
            LogicObserver::Dependencies{scheduler, logic, logic.input(), center, console});
    }
    VirtualScheduler scheduler;
    NotificationCenter center;
    NullConsole console;
    SimulatedLogic logic;
    std::unique_ptr<LogicObserver> observer;
};

void BM_ClickToSelection(benchmark::State& state) {
    const int tracks = static_cast<int>(state.range(0));
    Project project(tracks);
    std::uint64_t readsAtEmission = 0;
    std::uint64_t emissions = 0;
    project.observer->onTrackSelection = [&](const TrackSelection&) {
        readsAtEmission = project.logic.attributeReadCount();
        ++emissions;
    };
    const double started = project.scheduler.now();
    project.observer->start();
    project.scheduler.advance(1.0);
    std::uint64_t clickReads = 0;
    std::uint64_t cycleReads = 0;
    int track = 1;
    for (auto _ : state) {
        track = track % tracks + 1;
        // Keep the 5 s rescan (a poll of every row) out of the measured window.
        const double phase = std::fmod(project.scheduler.now() - started, 5.0);
        if (phase > 4.6) {
            state.PauseTiming();
            project.scheduler.advance(5.05 - phase);
            state.ResumeTiming();
        }
        const auto before = project.logic.attributeReadCount();
        project.logic.clickTrack(track);
        project.scheduler.runUntilIdle();  // up to the emission
        clickReads += readsAtEmission - before;
        project.scheduler.advance(0.15);  // the probe 0.1 s after the click
        cycleReads += project.logic.attributeReadCount() - before;
        project.scheduler.advance(0.15);
    }
    if (emissions != static_cast<std::uint64_t>(state.iterations())) {
        state.SkipWithError("a click was not emitted");
    }
    state.counters["readsClickToEmission"] = benchmark::Counter(
        static_cast<double>(clickReads) / static_cast<double>(state.iterations()));
    state.counters["readsPerClickCycle"] = benchmark::Counter(
        static_cast<double>(cycleReads) / static_cast<double>(state.iterations()));
}
BENCHMARK(BM_ClickToSelection)->Arg(1000)->Unit(benchmark::kMicrosecond);

// Logic 12 as recorded: the rail, a selection published 0.35 s ± 0.1 s after the click and no
// notification. Reads per click count everything from the click until the reads stop; latency
// is virtual time from Logic publishing the selection to its emission. An attribute read costs a
// real Logic about 0.09 ms of its main thread.
void BM_ClickToSelectionLogic12(benchmark::State& state) {
    const int tracks = static_cast<int>(state.range(0));
    SimulatedLogicOptions options;
    options.selectionSettleDelay = 0.35;
    options.selectionSettleJitter = 0.1;
    options.randomSeed = 12;
    Project project(tracks, options);
    std::vector<double> latencies;
    double publishedAt = 0;
    std::uint64_t emissions = 0;
    project.observer->onTrackSelection = [&](const TrackSelection&) {
        latencies.push_back(project.scheduler.now() - publishedAt);
        ++emissions;
    };
    const double started = project.scheduler.now();
    project.observer->start();
    project.scheduler.advance(1.0);
    std::uint64_t cycleReads = 0;
    int track = 1;
    for (auto _ : state) {
        track = track % tracks + 1;
        const double phase = std::fmod(project.scheduler.now() - started, 5.0);
        if (phase > 3.5) {
            state.PauseTiming();
            project.scheduler.advance(5.05 - phase);
            state.ResumeTiming();
        }
        const auto before = project.logic.attributeReadCount();
        project.logic.clickTrack(track);
        publishedAt = project.logic.latestSelectionPublishTime();
        project.scheduler.advance(1.3);  // past the publish and the end of the reads
        cycleReads += project.logic.attributeReadCount() - before;
    }
    if (emissions != static_cast<std::uint64_t>(state.iterations()))
        state.SkipWithError("a click was not emitted exactly once");
    std::sort(latencies.begin(), latencies.end());
    auto percentile = [&](double p) {
        if (latencies.empty())
            return 0.0;
        return latencies[static_cast<std::size_t>(p * static_cast<double>(latencies.size() - 1))];
    };
    const double readsPerClick =
        static_cast<double>(cycleReads) / static_cast<double>(state.iterations());
    state.counters["readsPerClick"] = readsPerClick;
    state.counters["axMsPerClickAt0.09ms"] = readsPerClick * 0.09;
    state.counters["publishToEmitMedianMs"] = percentile(0.5) * 1000;
    state.counters["publishToEmitP99Ms"] = percentile(0.99) * 1000;
}
BENCHMARK(BM_ClickToSelectionLogic12)->Arg(1000)->Iterations(300)->Unit(benchmark::kMicrosecond);

void BM_AnchoringSearch(benchmark::State& state) {
    VirtualScheduler scheduler;
    SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile();
    options.fillerElementCount = static_cast<int>(state.range(0));
    SimulatedLogic logic(scheduler.clock(), options);
    for (int i = 1; i <= 60; ++i)
        logic.addTrack("Track name " + std::to_string(i));
    LogicAXReader reader(logic);
    const auto window = logic.mainWindowElement();
    std::size_t visited = 0;
    logic.resetAttributeReadCount();
    for (auto _ : state) {
        auto search = reader.findTrackList(window);
        if (!(search.element == logic.trackListElement()))
            state.SkipWithError("not anchored");
        visited = search.visited;
        benchmark::DoNotOptimize(search);
    }
    state.counters["windowElements"] = static_cast<double>(logic.mainWindowElementCount());
    state.counters["visited"] = static_cast<double>(visited);
    state.counters["readsPerSearch"] =
        static_cast<double>(logic.attributeReadCount()) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_AnchoringSearch)->Arg(2248)->Unit(benchmark::kMicrosecond);

void BM_IdleReadsPerSecond(benchmark::State& state) {
    const int tracks = static_cast<int>(state.range(0));
    Project project(tracks, state.range(1) == 12 ? SimulatedLogicOptions{}
                                                 : SimulatedLogicOptions::tableOutlineProfile());
    project.observer->start();
    project.scheduler.advance(60.0);
    constexpr double kIdleSeconds = 300.0;
    double readsPerSecond = 0;
    for (auto _ : state) {
        const auto before = project.logic.attributeReadCount();
        project.scheduler.advance(kIdleSeconds);
        readsPerSecond =
            static_cast<double>(project.logic.attributeReadCount() - before) / kIdleSeconds;
    }
    state.counters["readsPerIdleSecond"] = readsPerSecond;
}
BENCHMARK(BM_IdleReadsPerSecond)
    ->Args({1000, 10})
    ->Args({1000, 12})
    ->ArgNames({"tracks", "logic"})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
