// Triggers, settled captures, confirmation and evaluation. Applying and restoring mappings is in
// StructuralRepairTransactions.cpp.
#include "repair/StructuralRepairOrchestrator.h"

#include <algorithm>

#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "repair/SettledCapturePolicy.h"
#include "repair/StructuralCaptureSource.h"
#include "repair/TrackAnchors.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"

namespace tessiva {

namespace {

std::string signedText(int value) {
    return (value > 0 ? "+" : "") + std::to_string(value);
}

}  // namespace

StructuralRepairOrchestrator::StructuralRepairOrchestrator(Dependencies dependencies)
    : deps_(std::move(dependencies)) {}

StructuralRepairOrchestrator::~StructuralRepairOrchestrator() {
    cancelWork();
}

void StructuralRepairOrchestrator::note(const std::string& title, const std::string& detail) {
    deps_.console.line("[StructuralRepair] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

std::string StructuralRepairOrchestrator::withReason(const std::string& text) const {
    return text + " reason=" + pendingStructuralSnapshotReason_;
}

void StructuralRepairOrchestrator::cancelWork() {
    pendingStructuralSnapshotWorkItem_.cancel();
    pendingStructuralSnapshotAnalysisWorkItem_.cancel();
    pendingAutomaticStructuralRepairWorkItem_.cancel();
    pendingAmbiguousStructuralFallbackWorkItem_.cancel();
}

const RowMap* StructuralRepairOrchestrator::latestRows() const {
    if (lastCapture_ && (!lastPublished_ || lastCaptureTime_ >= lastPublishedTime_))
        return &*lastCapture_;
    return lastPublished_ ? &*lastPublished_ : nullptr;
}

std::optional<std::string> StructuralRepairOrchestrator::savedNameAt(int row) const {
    if (const auto midi = deps_.store.midiMapping(row); midi && !midi->trackName.empty())
        return midi->trackName;
    if (const auto bank = deps_.store.bankMapping(row); bank && !bank->trackName.empty())
        return bank->trackName;
    return std::nullopt;
}

StructuralMappingRepairEngine::Evidence StructuralRepairOrchestrator::evidenceFor(
    const RowMap& rows) const {
    Engine::Evidence evidence;
    evidence.currentVisibleSnapshot = rows;
    const MappingProfileSnapshot snapshot = deps_.store.snapshot();
    evidence.mappedIndices = snapshot.rowsWithMIDIMappings();
    for (const auto& [row, mapping] : snapshot.oscBankFocusMappingsByTrackIndex)
        evidence.mappedIndices.insert(row);
    for (int row : evidence.mappedIndices) {
        if (const auto name = savedNameAt(row))
            evidence.mappedNamesByIndex[row] = *name;
    }
    if (pendingHint_ && pendingHint_->name)
        evidence.selectedHint = Engine::SelectionHint{pendingHint_->index, *pendingHint_->name};
    evidence.reason = pendingStructuralSnapshotReason_;
    return evidence;
}

// ---- triggers ---------------------------------------------------------------------------------

void StructuralRepairOrchestrator::logicCommand(LogicStructuralCommand command,
                                                std::optional<StructuralSelection> selection) {
    const double now = deps_.clock.now();
    const std::string commandLabel(label(command));
    const auto profileKey = deps_.profileKey ? deps_.profileKey() : std::nullopt;
    if (editContext_ && editContext_->isValid(now, profileKey)) {
        note("Structural edit context superseded",
             "A newer structural action superseded " + editContext_->describe());
    }
    StructuralEditContext context;
    context.kind = editKindFor(command);
    context.reason = commandLabel;
    context.sourceSelection = selection;
    context.visibleBaseline = engine_.state.visibleBaseline;
    context.trustedMaximum = engine_.state.maxObservedIndex.value_or(0);
    context.mappingProfileKey = profileKey;
    context.startedAt = now;
    editContext_ = context;
    note("Structural edit context retained",
         context.describe() +
             ". Context remains valid until resolved, superseded, contradicted, or reset.");
    const bool fresh = now - lastCaptureTime_ < SettledCapturePolicy::kFreshCaptureAge;
    schedule("automatic structural capture after " + commandLabel,
             fresh ? SettledCapturePolicy::kFastCommandCaptureDelay
                   : SettledCapturePolicy::kCommandCaptureDelay,
             0, std::nullopt);
    pendingFromSelection_ = false;
}

void StructuralRepairOrchestrator::noteSelection(const StructuralSelection& selection,
                                                 const std::optional<RowMap>& names) {
    if (names && (!lastPublished_ || *lastPublished_ != *names)) {
        lastPublished_ = names;
        lastPublishedTime_ = deps_.clock.now();
    }
    if (!selection.name || repair::normalizedTrackName(*selection.name).empty())
        return;
    if (!engine_.state.maxObservedIndex || engine_.state.visibleBaseline.empty())
        return;  // nothing trusted to compare with yet
    const std::string& name = *selection.name;
    const int trusted = *engine_.state.maxObservedIndex;
    int observed = selection.index;
    if (const RowMap* rows = latestRows(); rows && !rows->empty())
        observed = std::max(observed, rows->rbegin()->first);
    const int delta = observed - trusted;
    if (delta != 0) {
        note("Structural repair scheduled",
             "Track selection observed Logic max-index delta " + signedText(delta) +
                 " (trusted max " + std::to_string(trusted) + ", observed " +
                 std::to_string(observed) +
                 "). Scheduled settled structural repair instead of applying a click-based "
                 "remap. selected=" +
                 describeSelection(selection));
        schedule("track selection observed max-index delta " + signedText(delta),
                 SettledCapturePolicy::kObservedChangeCaptureDelay, delta, selection);
        pendingFromSelection_ = true;
        return;
    }
    const auto saved = savedNameAt(selection.index);
    if (saved && !repair::namesEquivalent(*saved, name)) {
        note("Structural reorder repair scheduled",
             "Track " + std::to_string(selection.index) + " \"" + name +
                 "\" does not match the saved mapping name \"" + *saved +
                 "\". Scheduled settled reorder repair instead of applying a click-based remap.");
    } else if (!saved) {
        const MappingProfileSnapshot snapshot = deps_.store.snapshot();
        std::set<int> rows = snapshot.rowsWithMIDIMappings();
        for (const auto& [row, mapping] : snapshot.oscBankFocusMappingsByTrackIndex)
            rows.insert(row);
        const bool mappedElsewhere = std::any_of(rows.begin(), rows.end(), [&](int row) {
            const auto other = savedNameAt(row);
            return row != selection.index && other && repair::namesEquivalent(*other, name);
        });
        if (!mappedElsewhere)
            return;
        note("Structural reorder repair scheduled",
             "\"" + name +
                 "\" is unmapped at its new row but still belongs to a mapping at another row. "
                 "Scheduled settled reorder repair.");
    } else {
        return;
    }
    schedule("selected track name moved to another row",
             SettledCapturePolicy::kObservedChangeCaptureDelay, 0, selection);
    pendingFromSelection_ = true;
}

void StructuralRepairOrchestrator::snapshotPublished(const RowMap& names,
                                                     const std::string& reason) {
    lastPublished_ = names;
    lastPublishedTime_ = deps_.clock.now();
    if (postLoadBaselineMissing_ && !repair::anchorsOf(names).empty()) {
        postLoadBaselineMissing_ = false;
        const Engine::State before = engine_.state;
        const auto mapped = evidenceFor(names).mappedIndices;
        engine_.acceptBaseline(names, mapped, "profile loaded");
        note("Post-load structural baseline recovered",
             std::to_string(repair::anchorsOf(names).size()) +
                 " visible Logic track name(s) after the initial post-load snapshot was "
                 "unavailable.");
        noteStateChanges(before, "profile loaded");
    }
    const std::string signature = SettledCapturePolicy::signature(names);
    if (signature == lastPublishedStructuralSnapshotSignature_)
        return;
    lastPublishedStructuralSnapshotSignature_ = signature;
    const RowMap anchors = repair::anchorsOf(names);
    if (!engine_.state.visibleBaseline.empty() &&
        repair::sameAnchors(anchors, engine_.state.visibleBaseline))
        return;  // what the repair already trusts
    const int trusted = engine_.state.maxObservedIndex.value_or(0);
    const int delta = trusted == 0 ? 0 : repair::highestRow(anchors).value_or(0) - trusted;
    schedule("track list published: " + reason, SettledCapturePolicy::kObservedChangeCaptureDelay,
             delta, std::nullopt);
    pendingFromSelection_ = false;
}

// ---- settled capture --------------------------------------------------------------------------

void StructuralRepairOrchestrator::schedule(std::string reason, double delay, int delta,
                                            std::optional<StructuralSelection> hint) {
    cancelWork();
    const std::uint64_t request = ++automaticStructuralRepairRequestID_;
    pendingStructuralSnapshotReason_ = std::move(reason);
    pendingDelta_ = delta;
    pendingHint_ = std::move(hint);
    paused_ = false;
    std::weak_ptr<int> alive = alive_;
    pendingStructuralSnapshotWorkItem_ = deps_.mainQueue.postAfter(delay, [this, alive, request] {
        if (alive.expired() || stale(request))
            return;
        settledCapture(request, 0, [this, request](RowMap rows) { captured(request, rows); });
    });
}

void StructuralRepairOrchestrator::settledCapture(std::uint64_t request, std::size_t attempt,
                                                  std::function<void(RowMap)> then) {
    if (deps_.captures.isQuarantined()) {
        // Logic shows a modal dialog: keep the repair pending and resume when it is gone.
        paused_ = true;
        deps_.console.line("[StructuralRepair] Paused for Logic's modal quarantine. reason=" +
                           pendingStructuralSnapshotReason_);
        return;
    }
    std::weak_ptr<int> alive = alive_;
    deps_.captures.captureVisibleTrackList(
        [this, alive, request, attempt, then = std::move(then)](Capture rows) mutable {
            if (alive.expired() || stale(request))
                return;
            if (rows && !repair::anchorsOf(*rows).empty()) {
                lastCapture_ = *rows;
                lastCaptureTime_ = deps_.clock.now();
                then(std::move(*rows));
                return;
            }
            const auto& delays = SettledCapturePolicy::kRetryDelays;
            if (attempt >= delays.size()) {
                note("Could not capture a non-empty Logic track snapshot",
                     "Could not capture a non-empty Logic track snapshot after " +
                         std::to_string(delays.size()) +
                         " settled retries. reason=" + pendingStructuralSnapshotReason_);
                finish();
                return;
            }
            note("Could not capture a non-empty Logic track snapshot",
                 "Could not capture a non-empty Logic track snapshot. retry=" +
                     std::to_string(attempt + 1));
            pendingAutomaticStructuralRepairWorkItem_ = deps_.mainQueue.postAfter(
                delays[attempt], [this, alive, request, attempt, then = std::move(then)] {
                    if (alive.expired() || stale(request))
                        return;
                    settledCapture(request, attempt + 1, then);
                });
        });
}

void StructuralRepairOrchestrator::captured(std::uint64_t request, RowMap rows) {
    const int trusted = engine_.state.maxObservedIndex.value_or(0);
    const int capturedMaximum = repair::highestRow(rows).value_or(0);
    const bool confirm = SettledCapturePolicy::needsConfirmation(
        trusted, capturedMaximum, static_cast<int>(rows.size()),
        static_cast<int>(engine_.state.visibleBaseline.size()), false);
    if (!confirm) {
        confirmed(request, rows, rows);
        return;
    }
    std::weak_ptr<int> alive = alive_;
    pendingStructuralSnapshotAnalysisWorkItem_ = deps_.mainQueue.postAfter(
        SettledCapturePolicy::kConfirmationDelay, [this, alive, request, rows] {
            if (alive.expired() || stale(request))
                return;
            if (deps_.captures.isQuarantined()) {
                paused_ = true;
                return;
            }
            deps_.captures.captureVisibleTrackList([this, alive, request, rows](Capture second) {
                if (alive.expired() || stale(request))
                    return;
                confirmed(request, rows, second);
            });
        });
}

void StructuralRepairOrchestrator::confirmed(std::uint64_t request, const RowMap& first,
                                             const Capture& second) {
    (void)request;
    if (!second || repair::anchorsOf(*second).empty()) {
        note("Structural repair deferred without confirming snapshot",
             withReason("A fresh settled Logic snapshot was unavailable, so no mappings were "
                        "changed."));
        finish();
        return;
    }
    if (SettledCapturePolicy::signature(*second) != SettledCapturePolicy::signature(first)) {
        note("Structural repair rejected unstable destructive snapshot",
             withReason("The deletion/collapse candidate did not repeat identically in an "
                        "independent settled capture, so no mappings were changed."));
        finish();
        return;
    }
    lastCapture_ = *second;
    lastCaptureTime_ = deps_.clock.now();
    note("Settled structural repair triggered",
         "Settled Logic snapshot is ready for structural repair. snapshotTracks=" +
             std::to_string(first.size()) + " reason=" + pendingStructuralSnapshotReason_);
    evaluate(first);
}

void StructuralRepairOrchestrator::checkEditContext(int capturedMaximum) {
    if (!editContext_)
        return;
    const double now = deps_.clock.now();
    const auto profileKey = deps_.profileKey ? deps_.profileKey() : std::nullopt;
    if (!editContext_->isValid(now, profileKey)) {
        editContext_.reset();
        return;
    }
    if (!editContext_->isContradictedBy(capturedMaximum))
        return;
    note("Settled structural evidence contradicted the pending " +
             std::string(name(editContext_->kind)),
         withReason("Fresh structural evidence contradicted " + editContext_->describe() +
                    " capturedMax=" + std::to_string(capturedMaximum) + "."));
    editContext_.reset();
}

void StructuralRepairOrchestrator::evaluate(const RowMap& rows) {
    const int capturedMaximum = repair::highestRow(repair::anchorsOf(rows)).value_or(0);
    checkEditContext(capturedMaximum);
    if (restoreFromHistory(rows)) {
        finish();
        return;
    }
    const Engine::State before = engine_.state;
    if (before.maxObservedIndex && SettledCapturePolicy::isTransientMaximumCollapse(
                                       *before.maxObservedIndex, repair::anchorsOf(rows),
                                       static_cast<int>(before.visibleBaseline.size()),
                                       before.terminalAnchorIndex, before.terminalAnchorName)) {
        note("Structural repair rejected transient maximum collapse",
             withReason("Trusted Logic maximum fell from " +
                        std::to_string(*before.maxObservedIndex) + " to " +
                        std::to_string(capturedMaximum) + ", but the snapshot had only " +
                        std::to_string(rows.size()) +
                        " visible row(s) and did not retain the shifted session-end anchor. No "
                        "mappings were changed."));
        finish();
        return;
    }
    const Engine::Decision decision = engine_.evaluate(evidenceFor(rows));
    switch (decision.kind) {
        case Engine::Decision::Kind::apply:
            applyRepair(*decision.repair, before);
            break;
        case Engine::Decision::Kind::noChange:
            handleNoChange(decision.text, before, rows);
            break;
        case Engine::Decision::Kind::hold:
        case Engine::Decision::Kind::count:
            handleHold(decision.text, rows, before);
            break;
    }
    finish();
}

void StructuralRepairOrchestrator::finish() {
    pendingDelta_.reset();
    pendingHint_.reset();
    pendingFromSelection_ = false;
    paused_ = false;
    if (engine_.state.maxObservedIndex &&
        *engine_.state.maxObservedIndex != trustedAbsoluteTrackMaximum_) {
        trustedAbsoluteTrackMaximum_ = *engine_.state.maxObservedIndex;
        deps_.console.line("[StructuralRepair] trusted track maximum updated: " +
                           std::to_string(trustedAbsoluteTrackMaximum_));
    }
}

void StructuralRepairOrchestrator::quarantineEnded() {
    if (!paused_ || !pendingDelta_)
        return;
    const std::string kind =
        editContext_ ? std::string(name(editContext_->kind)) : std::string("settled");
    note("Structural edit resumed after AX recovery",
         kind +
             " repair from its retained source and baseline after Logic's modal quarantine "
             "ended. reason=" +
             pendingStructuralSnapshotReason_);
    const bool fromSelection = pendingFromSelection_;
    schedule(pendingStructuralSnapshotReason_, SettledCapturePolicy::kCommandCaptureDelay,
             *pendingDelta_, pendingHint_);
    pendingFromSelection_ = fromSelection;
}

void StructuralRepairOrchestrator::reset(const std::string& reason) {
    cancelWork();
    ++automaticStructuralRepairRequestID_;
    engine_.reset();
    journal_.clear();
    editContext_.reset();
    insertionUndo_.reset();
    deletionUndo_.reset();
    pendingDelta_.reset();
    pendingHint_.reset();
    paused_ = false;
    postLoadBaselineMissing_ = false;
    lastCapture_.reset();
    lastPublished_.reset();
    lastPublishedStructuralSnapshotSignature_.reset();
    trustedAbsoluteTrackMaximum_ = 0;
    note("Structural repair state reset",
         "Cleared pending repair evidence, visible and collapsed baselines, session-end anchor, "
         "transaction history, and trusted max index. reason=" +
             reason);
}

}  // namespace tessiva
