#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <vector>

#include "autoassign/AutoAssignCoordinator.h"
#include "autoassign/AutoAssignRun.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "runtime/Console.h"
#include "runtime/UUID.h"
#include "runtime/VirtualScheduler.h"

// One auto-assign run at the size of a very large template: 2,000 Logic rows against an iPad
// workspace of 3,000 banks in 150 groups (plus the groups themselves as targets). About half the
// rows match a bank exactly, a quarter add a desk number, the rest are free names, so every rule
// and the stack-header context are exercised.
namespace tessiva {
namespace {

constexpr int kRows = 2000;
constexpr int kBanks = 3000;
constexpr int kBanksPerGroup = 20;

constexpr std::array<const char*, 16> kInstruments{
    "Violins", "Violas",   "Cellos",    "Basses", "Flutes", "Oboes", "Clarinets", "Bassoons",
    "Horns",   "Trumpets", "Trombones", "Tuba",   "Harp",   "Piano", "Choir",     "Percussion"};
constexpr std::array<const char*, 8> kArticulations{"Legato",  "Long",     "Spiccato", "Pizzicato",
                                                    "Tremolo", "Staccato", "Marcato",  "Flautando"};

std::string bankName(int i) {
    return std::string(kInstruments[i % kInstruments.size()]) + " " +
           kArticulations[(i / 16) % kArticulations.size()] + " Layer " + std::to_string(i / 128);
}

RemoteWorkspaceSnapshot workspace() {
    RemoteWorkspaceSnapshot snapshot;
    snapshot.workspaceUUID = makeUUID();
    for (int g = 0; g < kBanks / kBanksPerGroup; ++g) {
        RemoteWorkspaceSection section;
        section.name = "Section " + std::to_string(g / 10);
        const std::string groupUUID = makeUUID();
        const std::string groupName =
            std::string(kInstruments[g % kInstruments.size()]) + " Group " + std::to_string(g);
        for (int b = 0; b < kBanksPerGroup; ++b) {
            RemoteWorkspaceBank bank;
            bank.uuid = makeUUID();
            bank.name = bankName(g * kBanksPerGroup + b);
            bank.groupUUID = groupUUID;
            bank.groupName = groupName;
            section.banks.push_back(std::move(bank));
        }
        snapshot.sections.push_back(std::move(section));
    }
    return snapshot;
}

RowMap trackNames() {
    RowMap rows;
    for (int row = 1; row <= kRows; ++row) {
        switch (row % 4) {
            case 0:
            case 1:
                rows[row] = bankName(row * 3 % kBanks);
                break;
            case 2:
                rows[row] = bankName(row * 7 % kBanks) + " " + std::to_string(row % 3 + 1);
                break;
            default:
                rows[row] = std::string(kInstruments[row % kInstruments.size()]) + " Solo Take " +
                            std::to_string(row);
        }
    }
    return rows;
}

void BM_DecideAutoAssign(benchmark::State& state) {
    const RowMap names = trackNames();
    std::vector<AutoAssignRow> rows;
    for (const auto& [row, name] : names)
        rows.push_back({row, name, false});
    const std::vector<AutoAssignTarget> targets = buildAutoAssignTargets(workspace());
    AutoAssignSummary summary;
    for (auto _ : state) {
        AutoAssignRunResult result = decideAutoAssign(rows, targets, names);
        summary = result.summary;
        benchmark::DoNotOptimize(result);
    }
    state.counters["targets"] = static_cast<double>(targets.size());
    state.counters["linked"] = summary.linked;
    state.counters["ambiguous"] = summary.ambiguous;
    state.counters["estimated"] = summary.estimated;
    state.counters["noExactMatch"] = summary.noExactMatch;
}
BENCHMARK(BM_DecideAutoAssign)->Unit(benchmark::kMillisecond);

// The whole run as the menu command does it, minus the profile write: rows read from the store,
// targets built from the published workspace, links applied, matches published.
void BM_CoordinatorRun(benchmark::State& state) {
    VirtualScheduler scheduler;
    NullConsole console;
    NotificationCenter notifications(scheduler.mainQueue());
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());
    MappingStore store({scheduler.mainQueue(), scheduler.clock(), console, log});
    RemoteWorkspaceStore workspaceStore(scheduler.mainQueue());
    AutoAssignCoordinator coordinator(
        {scheduler.mainQueue(), notifications, console, log, store, workspaceStore, nullptr});
    workspaceStore.publish(workspace());
    scheduler.runUntilIdle();
    for (const auto& [row, name] : trackNames()) {
        MIDIMapping mapping;
        mapping.programChange = 0;
        mapping.trackName = name;
        (void)store.setMIDIMapping(row, mapping);
    }
    const MappingProfileSnapshot unlinked = store.snapshot();
    for (auto _ : state) {
        state.PauseTiming();
        store.restore(unlinked);
        state.ResumeTiming();
        benchmark::DoNotOptimize(coordinator.runAutoAssign());
        state.PauseTiming();
        scheduler.runUntilIdle();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_CoordinatorRun)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
