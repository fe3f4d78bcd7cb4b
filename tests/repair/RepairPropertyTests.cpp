// Generated Logic track lists and edits: the engine either holds, or puts every mapping on the row
// where its own track now stands. TESSIVA_REPAIR_SEED and TESSIVA_REPAIR_CASES replay a run; the
// failure message names the case seed, which replays one case alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <sstream>

#include "repair/GeneratedTrackList.h"
#include "repair/StructuralMappingRepairEngine.h"
#include "repair/TrackAnchors.h"

namespace tessiva {
namespace {

using testing::GeneratedTrackList;
using Edit = GeneratedTrackList::Edit;
using Kind = StructuralMappingRepairEngine::Decision::Kind;

unsigned long environmentNumber(const char* name, unsigned long fallback) {
    const char* value = std::getenv(name);
    return value ? std::strtoul(value, nullptr, 10) : fallback;
}

int listSize(std::mt19937& random) {
    const unsigned roll = random() % 100;
    if (roll < 85)
        return 10 + static_cast<int>(random() % 91);
    if (roll < 97)
        return 100 + static_cast<int>(random() % 401);
    return 500 + static_cast<int>(random() % 1501);
}

// Whether an applied insertion or deletion reproduces the capture exactly from the baseline: every
// baseline anchor stands, with its name, where the repair says, and every shown anchor is one of
// them or a row the repair inserted. Two edits judged wrong under such a repair are
// indistinguishable from the single edit the engine saw (a rename plus a copied name, say).
bool explainsCaptureExactly(const RowMap& baseline, const RowMap& current,
                            const StructuralMappingRepairEngine::AppliedRepair& repair) {
    using RepairKind = StructuralMappingRepairEngine::AppliedRepair::Kind;
    if (repair.kind == RepairKind::blockMove)
        return false;
    const RowMap before = repair::anchorsOf(baseline);
    const RowMap after = repair::anchorsOf(current);
    const bool inserting = repair.kind == RepairKind::insertionOffset;
    const auto& block = inserting ? repair.insertedIndices : repair.deletedIndices;
    const int first = block.front();
    const int count = static_cast<int>(block.size());
    std::size_t explained = 0;
    for (const auto& [row, name] : before) {
        if (!inserting && row >= first && row < first + count)
            continue;
        const auto shown = after.find(row < first ? row : inserting ? row + count : row - count);
        if (shown == after.end() || shown->second != name)
            return false;
        ++explained;
    }
    for (const auto& [row, name] : after)
        explained += inserting && row >= first && row < first + count ? 1 : 0;
    return explained == after.size();
}

// Judges one decision against where every mapped track really went: empty when right, else why.
// A hold is never wrong; a track deleted or left with a repeated name cannot be judged.
std::string judge(const GeneratedTrackList& list, const std::map<int, int>& mappedIdsByRow,
                  const StructuralMappingRepairEngine::Decision& decision) {
    std::string why;
    if (decision.kind == Kind::hold)
        return why;
    for (const auto& [oldRow, id] : mappedIdsByRow) {
        int resultRow = oldRow;
        if (const auto& repair = decision.repair) {
            const auto& deleted = repair->deletedIndices;
            if (std::find(deleted.begin(), deleted.end(), oldRow) != deleted.end()) {
                resultRow = 0;
            } else if (const auto moved = repair->mappingRemap.find(oldRow);
                       moved != repair->mappingRemap.end()) {
                resultRow = moved->second;
            }
        }
        const int trueRow = list.rowOf(id);
        if (resultRow != trueRow && trueRow != 0 && list.hasUniqueName(id)) {
            why += " mapping on row " + std::to_string(oldRow) + " went to row " +
                   std::to_string(resultRow) + " but its track stands on row " +
                   std::to_string(trueRow) + ";";
        }
    }
    return why;
}

// Runs generated cases and remembers the first wrong application.
struct PropertyRun {
    int wrong = 0;
    std::string firstFailure;

    void runCase(unsigned long caseSeed) {
        std::mt19937 random(static_cast<std::mt19937::result_type>(caseSeed));
        GeneratedTrackList list(random, listSize(random));

        std::map<int, int> mappedIdsByRow;
        StructuralMappingRepairEngine::Evidence evidence;
        for (std::size_t p = 0; p < list.tracks().size(); ++p) {
            if (random() % 10 < 4) {
                const int row = static_cast<int>(p) + 1;
                mappedIdsByRow.emplace(row, list.tracks()[p].id);
                evidence.mappedIndices.insert(row);
                evidence.mappedNamesByIndex.emplace(row, list.tracks()[p].name);
            }
        }
        StructuralMappingRepairEngine engine;
        const RowMap baselineCapture = list.capture();
        engine.acceptBaseline(baselineCapture, evidence.mappedIndices, "profile loaded");

        const bool twice = random() % 5 == 0;
        std::vector<Edit> edits;
        for (int attempt = 0; attempt < 10 && edits.size() < (twice ? 2u : 1u); ++attempt) {
            const auto edit = static_cast<Edit>(random() % GeneratedTrackList::kEditCount);
            if (list.apply(edit))
                edits.push_back(edit);
        }
        if (edits.size() != (twice ? 2u : 1u))
            return;

        evidence.currentVisibleSnapshot = list.capture();
        evidence.reason = "automatic structural capture after property edit";
        if (random() % 2 == 0 && list.lastSelectedId() != 0) {
            const int row = list.rowOf(list.lastSelectedId());
            const auto shown = evidence.currentVisibleSnapshot.find(row);
            if (shown != evidence.currentVisibleSnapshot.end())
                evidence.selectedHint =
                    StructuralMappingRepairEngine::SelectionHint{row, shown->second};
        }
        const auto before = engine.state;
        const auto decision = engine.evaluate(evidence);
        if (decision.kind == Kind::hold) {
            EXPECT_EQ(engine.state, before) << "a hold changed the state, case seed " << caseSeed;
        }

        const std::string why = judge(list, mappedIdsByRow, decision);
        if (!why.empty() &&
            !(twice && decision.repair &&
              explainsCaptureExactly(baselineCapture, evidence.currentVisibleSnapshot,
                                     *decision.repair))) {
            ++wrong;
            if (firstFailure.empty()) {
                std::ostringstream text;
                text << "case seed " << caseSeed << " (TESSIVA_REPAIR_SEED=" << caseSeed
                     << " TESSIVA_REPAIR_CASES=1), edits:";
                for (const Edit edit : edits)
                    text << " " << GeneratedTrackList::editName(edit);
                text << ", decision " << name(decision.kind) << ": "
                     << (decision.repair ? decision.repair->summary : decision.text) << ";" << why;
                firstFailure = text.str();
            }
        }
    }
};

// Cases that once produced a wrong application under the unamended rules (a trailing stack
// closing over a repeated name, an append that hid the last row, a deletion between repeated
// names, block moves into rows a stack hid, a rename plus a copied name, two edits whose shown
// rows a single deletion left unexplained); those among the default seeds are not repeated here.
TEST(StructuralRepairProperty, FormerlyWrongCasesStayRight) {
    PropertyRun run;
    for (const unsigned long seed : {426271ul, 430388ul, 48152ul, 83021ul, 85848ul, 106572ul})
        run.runCase(seed);
    EXPECT_EQ(run.wrong, 0) << run.firstFailure;
}

// The cases are dealt to four shards, which ctest runs side by side.
class StructuralRepairPropertyShard : public ::testing::TestWithParam<int> {};

TEST_P(StructuralRepairPropertyShard, HoldsOrPutsEveryMappingOnItsOwnTrack) {
    constexpr int kShards = 4;
    const unsigned long baseSeed = environmentNumber("TESSIVA_REPAIR_SEED", 20261123);
    const int caseCount = static_cast<int>(environmentNumber("TESSIVA_REPAIR_CASES", 20000));
    PropertyRun run;
    for (int index = GetParam(); index < caseCount; index += kShards)
        run.runCase(baseSeed + static_cast<unsigned long>(index));
    EXPECT_EQ(run.wrong, 0) << "first wrong application: " << run.firstFailure;
}

INSTANTIATE_TEST_SUITE_P(Quarter, StructuralRepairPropertyShard, ::testing::Range(0, 4));

}  // namespace
}  // namespace tessiva
