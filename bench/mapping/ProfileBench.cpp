#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "LargeProfile.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "mapping/ProfileCodec.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/UUID.h"
#include "runtime/VirtualScheduler.h"

// Profile save and load at the size of a large orchestral template: 5,000 rows, each with a MIDI
// and a bank-focus mapping.
namespace tessiva {
namespace {

using bench::largeProfile;

namespace fs = std::filesystem;

struct Folder {
    fs::path path = fs::temp_directory_path() / ("tessiva-bench-" + makeUUID());
    Folder() { fs::create_directories(path); }
    ~Folder() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

void BM_ProfileSave(benchmark::State& state) {
    const MappingProfileSnapshot profile = largeProfile();
    Folder folder;
    const fs::path file = folder.path / "Tessiva Focus Mappings.json";
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::string json = ProfileCodec::encode(profile);
        bytes = json.size();
        if (!writeFileAtomically(file, json).ok())
            state.SkipWithError("write failed");
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void BM_ProfileLoad(benchmark::State& state) {
    Folder folder;
    const fs::path file = folder.path / "Tessiva Focus Mappings.json";
    if (!MappingProfileFile::write(file, largeProfile()).ok())
        state.SkipWithError("write failed");
    VirtualScheduler scheduler;
    NullConsole console;
    DebugLogStore log(scheduler.mainQueue(), scheduler.clock());
    MappingStore store({scheduler.mainQueue(), scheduler.clock(), console, log});
    for (auto _ : state) {
        state.PauseTiming();
        store.restore(MappingProfileSnapshot{});
        state.ResumeTiming();
        ProfileReadResult read = MappingProfileFile::read(file);
        if (read.outcome != ProfileReadOutcome::loaded)
            state.SkipWithError("read failed");
        store.restore(std::move(*read.snapshot));
        benchmark::DoNotOptimize(store.oscBankFocusMappingsByTrackIndex()->size());
    }
}

void BM_ProfileReadFileOnly(benchmark::State& state) {
    Folder folder;
    const fs::path file = folder.path / "Tessiva Focus Mappings.json";
    if (!MappingProfileFile::write(file, largeProfile()).ok())
        state.SkipWithError("write failed");
    for (auto _ : state)
        benchmark::DoNotOptimize(readWholeFile(file));
}

void BM_ProfileEncodeOnly(benchmark::State& state) {
    const MappingProfileSnapshot profile = largeProfile();
    for (auto _ : state)
        benchmark::DoNotOptimize(ProfileCodec::encode(profile));
}

void BM_ProfileDecodeOnly(benchmark::State& state) {
    const std::string json = ProfileCodec::encode(largeProfile());
    for (auto _ : state)
        benchmark::DoNotOptimize(ProfileCodec::decode(json));
}

BENCHMARK(BM_ProfileSave)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ProfileLoad)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ProfileReadFileOnly)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ProfileEncodeOnly)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ProfileDecodeOnly)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
