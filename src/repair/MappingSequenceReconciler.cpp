#include "repair/MappingSequenceReconciler.h"

#include <algorithm>
#include <unordered_map>

#include "repair/CheckedArithmetic.h"
#include "repair/TrackAnchors.h"

namespace tessiva {
namespace {

using RowsByName = std::unordered_map<std::string, std::vector<int>>;

RowsByName rowsByName(const RowMap& rows) {
    RowsByName index;
    for (const auto& [row, name] : rows)
        index[name].push_back(row);
    return index;
}

std::size_t countOf(const RowsByName& index, const std::string& name) {
    const auto found = index.find(name);
    return found == index.end() ? 0 : found->second.size();
}

}  // namespace

MappingSequenceReconciler::Plan MappingSequenceReconciler::plan(const RowMap& mappedRows,
                                                                const RowMap& liveRows,
                                                                int minimumRunLength,
                                                                double densityThreshold) {
    const RowMap mapped = repair::anchorsOf(mappedRows);
    const RowMap live = repair::anchorsOf(liveRows);
    const RowsByName mappedByName = rowsByName(mapped);
    const RowsByName liveByName = rowsByName(live);

    Plan plan;
    plan.liveTrackCount = static_cast<int>(live.size());
    plan.mappedTrackCount = static_cast<int>(mapped.size());
    if (!live.empty()) {
        const long span = static_cast<long>(live.rbegin()->first) - live.begin()->first + 1;
        plan.snapshotDensity =
            static_cast<double>(live.size()) / static_cast<double>(std::max(1L, span));
    }
    plan.snapshotLooksComplete = plan.snapshotDensity >= densityThreshold && live.size() > 2;

    std::vector<ExactPair> pairs;
    std::vector<int> ambiguousRows;
    for (const auto& [row, name] : mapped) {
        const auto shown = live.find(row);
        if (shown != live.end() && shown->second == name)
            ++plan.alreadyCorrectCount;
        const std::size_t liveCount = countOf(liveByName, name);
        if (liveCount == 0)
            ++plan.missingMappedTrackCount;
        else if (liveCount == 1 && countOf(mappedByName, name) == 1)
            pairs.push_back({row, liveByName.at(name).front(), name});
        else
            ambiguousRows.push_back(row);
    }
    for (const auto& [row, name] : live)
        plan.addedLiveTrackCount += mappedByName.contains(name) ? 0 : 1;

    // Runs: consecutive pairs (by mapping row, as built) sharing one offset.
    const std::size_t minimum = static_cast<std::size_t>(std::max(2, minimumRunLength));
    std::vector<SequenceCandidate> trusted;
    std::vector<int> runOfPair(pairs.size(), -1);
    for (std::size_t start = 0; start < pairs.size();) {
        const int offset = repair::checkedSub(pairs[start].newIndex, pairs[start].oldIndex);
        std::size_t end = start + 1;
        while (end < pairs.size() &&
               repair::checkedSub(pairs[end].newIndex, pairs[end].oldIndex) == offset)
            ++end;
        if (end - start >= minimum) {
            for (std::size_t i = start; i < end; ++i)
                runOfPair[i] = static_cast<int>(trusted.size());
            trusted.push_back({{pairs.begin() + static_cast<long>(start),
                                pairs.begin() + static_cast<long>(end)}});
        }
        start = end;
    }
    for (const SequenceCandidate& run : trusted) {
        const ExactPair& head = run.pairs.front();
        if (head.newIndex == head.oldIndex)
            continue;
        MoveGroup group;
        for (const ExactPair& pair : run.pairs) {
            group.sourceIndices.push_back(pair.oldIndex);
            group.destinationIndices.push_back(pair.newIndex);
            group.names.push_back(pair.name);
            plan.proposedRemap.emplace(pair.oldIndex, pair.newIndex);
        }
        plan.moveGroups.push_back(std::move(group));
    }

    for (const int row : ambiguousRows) {
        const auto after = std::lower_bound(
            pairs.begin(), pairs.end(), row,
            [](const ExactPair& pair, int value) { return pair.oldIndex < value; });
        bool settled = false;
        if (after != pairs.begin() && after != pairs.end()) {
            const std::size_t next = static_cast<std::size_t>(after - pairs.begin());
            const int run = runOfPair[next];
            if (run >= 0 && runOfPair[next - 1] == run) {
                const ExactPair& head = trusted[static_cast<std::size_t>(run)].pairs.front();
                const int target =
                    repair::checkedAdd(row, repair::checkedSub(head.newIndex, head.oldIndex));
                const auto shown = live.find(target);
                settled = shown != live.end() && shown->second == mapped.at(row);
            }
        }
        if (settled)
            ++plan.contextResolvedCount;
        else
            ++plan.ambiguousMappedTrackCount;
    }
    return plan;
}

}  // namespace tessiva
