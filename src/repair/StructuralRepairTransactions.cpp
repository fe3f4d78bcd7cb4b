// Applying engine decisions to the mapping store as verified transactions, restoring recorded
// mappings on Logic's undo and redo, baselines accepted without repair, and the stable-sequence
// fallback. Part of StructuralRepairOrchestrator; main queue.
#include <algorithm>

#include "mapping/MappingStore.h"
#include "repair/MappingSequenceReconciler.h"
#include "repair/SettledCapturePolicy.h"
#include "repair/StructuralCaptureSource.h"
#include "repair/StructuralRepairOrchestrator.h"
#include "repair/TrackAnchors.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"

namespace tessiva {

namespace {

std::string rowsText(const std::vector<int>& rows) {
    std::string text;
    for (int row : rows)
        text += (text.empty() ? "" : ", ") + std::to_string(row);
    return text;
}

constexpr const char* kVisibilityOnlyText =
    "Accepted AX visibility-only structural baseline refresh.";
constexpr const char* kMatchesBaselineText =
    "Settled Logic snapshot matches the trusted reconciliation baseline.";

}  // namespace

void StructuralRepairOrchestrator::persist() {
    // A failed save is logged by the store; the mappings in memory stay repaired.
    (void)deps_.store.save();
}

bool StructuralRepairOrchestrator::installVerified(
    const MappingProfileSnapshot& before, const StructuralMappingTransaction& transaction) {
    deps_.store.restore(transaction.propose(before));
    if (transaction.reproducedBy(before, deps_.store.snapshot()))
        return true;
    deps_.store.restore(before);
    return false;
}

bool StructuralRepairOrchestrator::restoreVerified(const MappingProfileSnapshot& target) {
    const MappingProfileSnapshot previous = deps_.store.snapshot();
    deps_.store.restore(target);
    if (deps_.store.snapshot() == target)
        return true;
    deps_.store.restore(previous);
    return false;
}

void StructuralRepairOrchestrator::applyRepair(const Engine::AppliedRepair& repair,
                                               const Engine::State& stateBefore) {
    const std::string kind(name(repair.kind));
    const MappingProfileSnapshot before = deps_.store.snapshot();
    const StructuralMappingTransaction transaction{repair.mappingRemap, repair.deletedIndices,
                                                   repair.insertedIndices};
    if (!installVerified(before, transaction)) {
        engine_.state = stateBefore;
        note("Structural reconciliation rolled back",
             withReason(kind +
                        " mapping transaction did not reproduce the proposed source-to-destination "
                        "state, so the complete pre-repair mapping snapshot was restored."));
        return;
    }
    const MappingProfileSnapshot after = deps_.store.snapshot();
    persist();
    note("Structural reconciliation applied: " + repair.summary,
         withReason("exact forward structural state: " + kind +
                    " confidence=" + std::to_string(repair.confidence) +
                    " remapped=" + std::to_string(repair.mappingRemap.size()) +
                    " removed=" + std::to_string(repair.deletedIndices.size()) + "."));
    journal_.record({repair.kind, stateBefore.visibleBaseline, repair.newVisibleBaseline,
                     stateBefore.ownershipBaseline, repair.newOwnershipBaseline, before, after});
    const double now = deps_.clock.now();
    if (repair.kind == Engine::AppliedRepair::Kind::insertionOffset) {
        insertionUndo_ = TessivaInsertionUndoCandidate{repair.insertedIndices,
                                                       stateBefore.visibleBaseline,
                                                       stateBefore.ownershipBaseline,
                                                       before,
                                                       after,
                                                       now};
        note("Insertion undo candidate stored",
             "Stored reversible insertion checkpoint for Logic rows " +
                 rowsText(repair.insertedIndices) + ".");
    } else if (repair.kind == Engine::AppliedRepair::Kind::deletionOffset) {
        TessivaNonContiguousDeletionUndoCandidate candidate;
        for (int row : repair.deletedIndices) {
            auto shown = stateBefore.visibleBaseline.find(row);
            candidate.deletedRows.emplace_back(
                row, shown == stateBefore.visibleBaseline.end() ? std::string() : shown->second);
        }
        candidate.snapshotBeforeRepair = before;
        candidate.snapshotAfterRepair = after;
        candidate.createdAt = now;
        deletionUndo_ = std::move(candidate);
        note("Deletion undo candidate stored",
             "Stored deletion undo candidate for rows" + deletionUndo_->rowsText() + ".");
    }
    editContext_.reset();  // resolved
    const std::string reason = repair.kind == Engine::AppliedRepair::Kind::insertionOffset
                                   ? "settled offset insertion repair"
                               : repair.kind == Engine::AppliedRepair::Kind::deletionOffset
                                   ? "settled offset deletion repair"
                                   : "visible structural reorder repair";
    noteStateChanges(stateBefore, reason);
}

bool StructuralRepairOrchestrator::restoreFromHistory(const RowMap& rows) {
    const double now = deps_.clock.now();
    if (insertionUndo_ && insertionUndo_->isExpired(now))
        insertionUndo_.reset();
    if (deletionUndo_ && deletionUndo_->isExpired(now))
        deletionUndo_.reset();
    return restoreInsertionUndo(rows) || restoreDeletionUndo(rows) || restoreJournal(rows);
}

bool StructuralRepairOrchestrator::restoreInsertionUndo(const RowMap& rows) {
    if (!insertionUndo_ || !insertionUndo_->matchesUndo(rows))
        return false;
    const TessivaInsertionUndoCandidate candidate = *insertionUndo_;
    insertionUndo_.reset();
    if (deps_.store.snapshot() != candidate.mappingSnapshotAfterRepair) {
        note("Insertion undo candidate cleared",
             "Mappings changed after the insertion, so its checkpoint cannot be restored safely.");
        return false;
    }
    if (!restoreVerified(candidate.mappingSnapshotBeforeRepair)) {
        note("Structural history restoration rolled back",
             withReason("insertion undo mapping snapshot did not restore exactly, so the current "
                        "mappings were preserved."));
        return true;
    }
    persist();
    if (const auto entry = journal_.inverseMatch(rows, candidate.mappingSnapshotBeforeRepair);
        !entry && journal_.cursor() > 0 &&
        journal_.entries()[journal_.cursor() - 1].mappingAfter ==
            candidate.mappingSnapshotAfterRepair) {
        journal_.stepBack(journal_.cursor() - 1);
    }
    const Engine::State before = engine_.state;
    engine_.state.visibleBaseline = repair::anchorsOf(candidate.visibleBaselineBeforeInsertion);
    engine_.state.ownershipBaseline = candidate.ownershipBaselineBeforeInsertion;
    engine_.state.maxObservedIndex = repair::highestRow(engine_.state.visibleBaseline);
    engine_.acceptBaseline(rows, deps_.store.snapshot().rowsWithMIDIMappings(),
                           "matching track selection");
    engine_.state.ownershipBaseline = candidate.ownershipBaselineBeforeInsertion;
    note("Structural reconciliation applied: insertion undo",
         withReason("Restored the mapping state from before inserted Logic rows " +
                    rowsText(candidate.insertedIndices) +
                    " because Cmd-Z produced the exact pre-insertion visible snapshot."));
    editContext_.reset();
    noteStateChanges(before, "matching track selection");
    return true;
}

bool StructuralRepairOrchestrator::restoreDeletionUndo(const RowMap& rows) {
    if (!deletionUndo_)
        return false;
    const auto restoration = deletionUndo_->restorationIn(rows);
    if (!restoration)
        return false;
    const TessivaNonContiguousDeletionUndoCandidate candidate = *deletionUndo_;
    deletionUndo_.reset();
    if (deps_.store.snapshot() != candidate.snapshotAfterRepair) {
        deps_.console.line(
            "[StructuralRepair] Deletion undo candidate cleared: mappings changed after the "
            "deletion.");
        return false;
    }
    const std::string kind = deletionUndoLabel(*restoration);
    if (!restoreVerified(candidate.snapshotBeforeRepair)) {
        note("Structural history restoration rolled back",
             withReason(kind + " mapping snapshot did not restore exactly, so the current "
                               "mappings were preserved."));
        return true;
    }
    persist();
    // The ownership view from before the deletion comes back with it; without a recorded one
    // the restored rows are their own owners.
    std::optional<RowMap> ownership;
    if (journal_.cursor() > 0 &&
        journal_.entries()[journal_.cursor() - 1].mappingAfter == candidate.snapshotAfterRepair) {
        ownership = journal_.entries()[journal_.cursor() - 1].ownershipBefore;
        journal_.stepBack(journal_.cursor() - 1);
    }
    const Engine::State before = engine_.state;
    const int previousMaximum = before.maxObservedIndex.value_or(0);
    engine_.acceptBaseline(rows, deps_.store.snapshot().rowsWithMIDIMappings(),
                           "matching track selection");
    engine_.state.ownershipBaseline = ownership ? *ownership : repair::anchorsOf(rows);
    const int increase = engine_.state.maxObservedIndex.value_or(0) - previousMaximum;
    const bool byUndo = editContext_ && editContext_->kind == StructuralEditContext::Kind::undo;
    note("Offset repair applied: deletion undo",
         "Highest observed Logic index increased by +" + std::to_string(std::max(0, increase)) +
             ". Restored previous mapping snapshot via " + kind + " because deleted rows" +
             candidate.rowsText() +
             " reappeared or were proven by the restored stack header. selected=" +
             describeSelection(pendingHint_) +
             (byUndo ? std::string()
                     : " settled insertion matched previous deletion undo candidate") +
             " reason=" + pendingStructuralSnapshotReason_);
    editContext_.reset();
    noteStateChanges(before, "matching track selection");
    return true;
}

bool StructuralRepairOrchestrator::restoreJournal(const RowMap& rows) {
    const MappingProfileSnapshot current = deps_.store.snapshot();
    const auto inverse = journal_.inverseMatch(rows, current);
    const auto forward = inverse ? std::nullopt : journal_.forwardMatch(rows, current);
    if (!inverse && !forward)
        return false;
    const std::size_t index = inverse ? *inverse : *forward;
    const auto& entry = journal_.entries()[index];
    const std::string kind = std::string(name(entry.kind)) + (inverse ? " undo" : " redo");
    if (!restoreVerified(inverse ? entry.mappingBefore : entry.mappingAfter)) {
        note("Structural history restoration rolled back",
             withReason(kind +
                        " mapping snapshot did not restore exactly, so the current mappings were "
                        "preserved."));
        return true;
    }
    persist();
    const RowMap ownership = inverse ? entry.ownershipBefore : entry.ownershipAfter;
    if (inverse)
        journal_.stepBack(index);
    else
        journal_.stepForward(index);
    const Engine::State before = engine_.state;
    engine_.acceptBaseline(rows, deps_.store.snapshot().rowsWithMIDIMappings(),
                           "matching track selection");
    engine_.state.ownershipBaseline = ownership;
    note("Verified structural " + kind,
         withReason("Restored the complete " + kind +
                    " mapping and collapsed-stack ownership checkpoint after Logic reached its "
                    "exact recorded structural state" +
                    (inverse ? " (exact inverse structural state: "
                             : " (exact forward structural state: ") +
                    std::to_string(repair::anchorsOf(rows).size()) + " rows)."));
    editContext_.reset();
    noteStateChanges(before, "matching track selection");
    return true;
}

void StructuralRepairOrchestrator::handleNoChange(const std::string& text,
                                                  const Engine::State& stateBefore,
                                                  const RowMap& rows) {
    note("Structural baseline refreshed",
         withReason("settled structural baseline refreshed: " + text));
    if (text == kVisibilityOnlyText) {
        note("Visibility-only structural baseline accepted",
             "Accepted " + std::to_string(repair::anchorsOf(rows).size()) +
                 " visible Logic row(s) after Track Stacks opened or closed, without changing "
                 "the trusted maximum");
    } else if (text == kMatchesBaselineText && pendingFromSelection_) {
        note("Offset repair cleared",
             "Cleared pending offset repair and refreshed the Logic snapshot baseline. reason=" +
                 pendingStructuralSnapshotReason_);
    }
    noteStateChanges(stateBefore, "accepted visible structural baseline");
}

void StructuralRepairOrchestrator::handleHold(const std::string& text, const RowMap& rows,
                                              const Engine::State& stateBefore) {
    const RowMap anchors = repair::anchorsOf(rows);
    const int baselineRows = static_cast<int>(stateBefore.visibleBaseline.size());
    const int capturedMaximum = repair::highestRow(anchors).value_or(0);
    if (stateBefore.maxObservedIndex && capturedMaximum == *stateBefore.maxObservedIndex &&
        static_cast<int>(anchors.size()) < baselineRows) {
        note("Structural repair held for visibility collapse",
             withReason("Visible Logic rows dropped from " + std::to_string(baselineRows) + " to " +
                        std::to_string(anchors.size()) +
                        ". No block move was inferred from sparse Track Stack headers."));
        return;
    }
    note("Structural reconciliation held", withReason(text));
    const Engine::Evidence evidence = evidenceFor(rows);
    int visibleMapped = 0;
    bool allMatch = true;
    for (const auto& [row, name] : evidence.mappedNamesByIndex) {
        auto shown = anchors.find(row);
        if (shown == anchors.end())
            continue;
        ++visibleMapped;
        allMatch = allMatch && repair::namesEquivalent(shown->second, name);
    }
    if (visibleMapped > 0 && allMatch) {
        const Engine::State before = engine_.state;
        engine_.acceptBaseline(rows, evidence.mappedIndices,
                               "accepted visible structural baseline");
        note("Structural baseline accepted from in-sync snapshot",
             withReason(" The repair engine could not prove a specific insertion/deletion/reorder, "
                        "but " +
                        std::to_string(visibleMapped) +
                        " visible mapped row(s) match Logic, so the current visible snapshot was "
                        "accepted as the new structural baseline."));
        noteStateChanges(before, "accepted visible structural baseline");
        return;
    }
    scheduleFallback(pendingStructuralSnapshotReason_);
}

void StructuralRepairOrchestrator::scheduleFallback(std::string reason) {
    pendingAmbiguousStructuralFallbackWorkItem_.cancel();
    const std::uint64_t request = automaticStructuralRepairRequestID_;
    std::weak_ptr<int> alive = alive_;
    pendingAmbiguousStructuralFallbackWorkItem_ = deps_.mainQueue.postAfter(
        SettledCapturePolicy::kFallbackDelay, [this, alive, request, reason] {
            if (alive.expired() || stale(request))
                return;
            pendingStructuralSnapshotReason_ = reason;
            settledCapture(request, 0, [this, alive, request](RowMap first) {
                pendingAmbiguousStructuralFallbackWorkItem_ = deps_.mainQueue.postAfter(
                    SettledCapturePolicy::kFallbackSecondCaptureDelay,
                    [this, alive, request, first] {
                        if (alive.expired() || stale(request))
                            return;
                        deps_.captures.captureVisibleTrackList(
                            [this, alive, request, first](Capture second) {
                                if (alive.expired() || stale(request))
                                    return;
                                fallbackCaptured(request, first, second);
                            });
                    });
            });
        });
}

void StructuralRepairOrchestrator::fallbackCaptured(std::uint64_t request, const RowMap& first,
                                                    const Capture& second) {
    (void)request;
    const std::string inconclusive =
        "No safe insertion/deletion/reorder repair could be proven from the settled visible "
        "Logic snapshot.";
    if (!second ||
        SettledCapturePolicy::signature(*second) != SettledCapturePolicy::signature(first)) {
        note("Settled structural repair inconclusive", withReason(inconclusive));
        return;
    }
    const Engine::Evidence evidence = evidenceFor(first);
    const auto plan = MappingSequenceReconciler::plan(evidence.mappedNamesByIndex, first);
    if (plan.proposedRemap.empty()) {
        note("Settled structural repair inconclusive", withReason(inconclusive));
        return;
    }
    const MappingProfileSnapshot before = deps_.store.snapshot();
    const StructuralMappingTransaction transaction{plan.proposedRemap, {}, {}};
    if (!installVerified(before, transaction)) {
        note("Stable sequence fallback rolled back",
             withReason("The fallback transaction failed complete payload validation."));
        return;
    }
    persist();
    const Engine::State stateBefore = engine_.state;
    engine_.acceptBaseline(first, evidenceFor(first).mappedIndices,
                           "visible structural reorder repair");
    journal_.record({Engine::AppliedRepair::Kind::blockMove, stateBefore.visibleBaseline,
                     engine_.state.visibleBaseline, stateBefore.ownershipBaseline,
                     engine_.state.ownershipBaseline, before, deps_.store.snapshot()});
    note("Structural reconciliation applied: stable sequence fallback",
         withReason("Two captures agreed. Moved " + std::to_string(plan.proposedRemap.size()) +
                    " mapping row(s) in " + std::to_string(plan.moveGroups.size()) +
                    " sequence run(s) after the primary solver held."));
    noteStateChanges(stateBefore, "visible structural reorder repair");
}

void StructuralRepairOrchestrator::acceptBaseline(const RowMap& rows, const std::string& reason) {
    const Engine::State before = engine_.state;
    engine_.acceptBaseline(rows, evidenceFor(rows).mappedIndices, reason);
    noteStateChanges(before, reason);
}

void StructuralRepairOrchestrator::noteStateChanges(const Engine::State& before,
                                                    const std::string& reason) {
    const Engine::State& now = engine_.state;
    if (now.ownershipBaseline != before.ownershipBaseline) {
        note("Collapsed ownership baseline accepted",
             std::to_string(now.ownershipBaseline.size()) +
                 " visible Logic row(s) as the collapsed-header ownership baseline. reason=" +
                 reason);
    } else if (now.visibleBaseline != before.visibleBaseline && !before.ownershipBaseline.empty()) {
        note("Collapsed ownership baseline preserved",
             "Kept existing collapsed-header ownership baseline instead of replacing it with this "
             "visible snapshot. reason=" +
                 reason);
    }
    if (now.terminalAnchorName && (now.terminalAnchorIndex != before.terminalAnchorIndex ||
                                   now.terminalAnchorName != before.terminalAnchorName)) {
        note("Auto repair session end tracked",
             "Using final visible Logic track \"" + *now.terminalAnchorName +
                 "\" as the session-end anchor. Keep the final Logic track outside collapsed "
                 "stacks for reliable large add/delete repairs. reason=" +
                 reason);
    }
    if (now.maxObservedIndex && now.maxObservedIndex != before.maxObservedIndex) {
        int missing = 0;
        for (int row = 1; row <= *now.maxObservedIndex; ++row)
            missing += now.visibleBaseline.count(row) == 0 ? 1 : 0;
        note("Offset range baseline updated",
             "maxObservedIndex=" + std::to_string(*now.maxObservedIndex) +
                 " missingInsideRange=" + std::to_string(missing) + " reason=" + reason);
    }
}

// ---- baselines accepted without repair ---------------------------------------------------------

void StructuralRepairOrchestrator::profileLoaded(const std::string& reason) {
    cancelWork();
    const std::uint64_t request = ++automaticStructuralRepairRequestID_;
    journal_.clear();
    insertionUndo_.reset();
    deletionUndo_.reset();
    editContext_.reset();
    pendingDelta_.reset();
    pendingStructuralSnapshotReason_ = "profile loaded: " + reason;
    settledCapture(request, 0, [this](RowMap rows) {
        postLoadBaselineMissing_ = false;
        acceptBaseline(rows, "profile loaded");
        note("Post-load structural baseline accepted",
             std::to_string(repair::anchorsOf(rows).size()) +
                 " visible Logic track name(s) after mappings profile load and accepted them as "
                 "the structural baseline for insertion, deletion, and reorder repair. reason=" +
                 pendingStructuralSnapshotReason_);
        finish();
    });
    // Until a capture succeeds, the next published track list becomes the baseline.
    postLoadBaselineMissing_ = true;
}

void StructuralRepairOrchestrator::manualSyncAccepted(const std::string& reason) {
    const RowMap* rows = latestRows();
    if (!rows || repair::anchorsOf(*rows).empty())
        return;
    acceptBaseline(*rows, "manual mapping sync: " + reason);
    note("Manual sync accepted",
         "Manual mapping sync accepted as the current structural baseline.");
}

void StructuralRepairOrchestrator::profileSaved() {
    const RowMap* rows = latestRows();
    if (!rows)
        return;
    const RowMap anchors = repair::anchorsOf(*rows);
    const Engine::Evidence evidence = evidenceFor(*rows);
    if (evidence.mappedNamesByIndex.empty())
        return;
    for (const auto& [row, name] : evidence.mappedNamesByIndex) {
        auto shown = anchors.find(row);
        if (shown == anchors.end() || !repair::namesEquivalent(shown->second, name))
            return;
    }
    journal_.clear();
    insertionUndo_.reset();
    deletionUndo_.reset();
    const RowMap accepted = *rows;
    acceptBaseline(accepted, "saved mappings in sync");
    note("Saved mappings baseline accepted",
         "The saved mapping identities matched every mapped Logic row. Reset structural repair "
         "history and accepted " +
             std::to_string(anchors.size()) + " Logic tracks as the new baseline.");
}

}  // namespace tessiva
