// Costs of structural repair on a 2,000-row orchestral template: one settled capture evaluated
// after an insertion, a deletion and a block move (the engine copied fresh, outside the timing),
// and the sequence reconciler's plan over 2,000 rows.
#include <benchmark/benchmark.h>

#include <string>

#include "repair/MappingSequenceReconciler.h"
#include "repair/StructuralMappingRepairEngine.h"

namespace tessiva {
namespace {

constexpr int kRows = 2000;

RowMap templateRows() {
    RowMap rows;
    for (int row = 1; row <= kRows; ++row)
        rows.emplace(row, "Section " + std::to_string(row / 16) + " Track " + std::to_string(row));
    return rows;
}

// Every third row mapped under the name it shows.
StructuralMappingRepairEngine::Evidence evidenceFor(const RowMap& baseline, RowMap current) {
    StructuralMappingRepairEngine::Evidence evidence;
    for (const auto& [row, name] : baseline) {
        if (row % 3 == 0) {
            evidence.mappedIndices.insert(row);
            evidence.mappedNamesByIndex.emplace(row, name);
        }
    }
    evidence.currentVisibleSnapshot = std::move(current);
    evidence.reason = "benchmark capture";
    return evidence;
}

// Rows in order, renumbered from 1.
RowMap renumbered(const std::vector<std::string>& names) {
    RowMap rows;
    for (std::size_t i = 0; i < names.size(); ++i)
        rows.emplace(static_cast<int>(i) + 1, names[i]);
    return rows;
}

std::vector<std::string> namesOf(const RowMap& rows) {
    std::vector<std::string> names;
    for (const auto& [row, name] : rows)
        names.push_back(name);
    return names;
}

void runEvaluate(benchmark::State& state, const RowMap& current,
                 StructuralMappingRepairEngine::Decision::Kind expected) {
    const RowMap baseline = templateRows();
    const auto evidence = evidenceFor(baseline, current);
    StructuralMappingRepairEngine trusted;
    trusted.acceptBaseline(baseline, evidence.mappedIndices, "profile loaded");
    for (auto _ : state) {
        state.PauseTiming();
        StructuralMappingRepairEngine engine = trusted;
        state.ResumeTiming();
        auto decision = engine.evaluate(evidence);
        benchmark::DoNotOptimize(decision);
        if (decision.kind != expected) {
            state.SkipWithError(("unexpected decision: " + decision.text).c_str());
            break;
        }
    }
}

void BM_EvaluateAfterInsertion(benchmark::State& state) {
    auto names = namesOf(templateRows());
    names.insert(names.begin() + 700, {"New Synth", "New Pad"});
    runEvaluate(state, renumbered(names), StructuralMappingRepairEngine::Decision::Kind::apply);
}

void BM_EvaluateAfterDeletion(benchmark::State& state) {
    auto names = namesOf(templateRows());
    names.erase(names.begin() + 1200, names.begin() + 1203);
    runEvaluate(state, renumbered(names), StructuralMappingRepairEngine::Decision::Kind::apply);
}

void BM_EvaluateAfterBlockMove(benchmark::State& state) {
    auto names = namesOf(templateRows());
    std::vector<std::string> block(names.begin() + 300, names.begin() + 340);
    names.erase(names.begin() + 300, names.begin() + 340);
    names.insert(names.begin() + 1500, block.begin(), block.end());
    runEvaluate(state, renumbered(names), StructuralMappingRepairEngine::Decision::Kind::apply);
}

void BM_ReconcilerPlan(benchmark::State& state) {
    const RowMap live = templateRows();
    RowMap mapped;
    for (const auto& [row, name] : live) {
        if (row % 2 == 0)
            mapped.emplace(row > 1000 ? row - 5 : row, name);  // the lower half drifted by 5 rows
    }
    for (auto _ : state) {
        auto plan = MappingSequenceReconciler::plan(mapped, live);
        benchmark::DoNotOptimize(plan);
    }
}

BENCHMARK(BM_EvaluateAfterInsertion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EvaluateAfterDeletion)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EvaluateAfterBlockMove)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReconcilerPlan)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
