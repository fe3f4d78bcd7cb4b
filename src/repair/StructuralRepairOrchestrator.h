#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "mapping/MappingProfileSnapshot.h"
#include "mapping/RowMap.h"
#include "repair/LogicStructuralCommand.h"
#include "repair/StructuralEditContext.h"
#include "repair/StructuralMappingRepairEngine.h"
#include "repair/StructuralMappingTransaction.h"
#include "repair/StructuralMappingTransactionJournal.h"
#include "repair/StructuralUndoCandidates.h"
#include "runtime/Queue.h"

namespace tessiva {

class Clock;
class Console;
class DebugLogStore;
class MappingStore;
class StructuralCaptureSource;

// Keeps the mappings on the right Logic rows while the user edits the track list. It notices
// that the list may have changed (a Logic undo, redo, duplicate or delete command; a selection
// that shows a shifted row; a newly published track list), waits for Logic to settle, captures
// the visible rows (retrying empty captures), has destructive captures confirmed by a second
// identical one, restores recorded mappings when Logic's undo or redo returns to a recorded
// state, and otherwise asks the repair engine and applies its decision to the mapping store as
// a verified transaction: the complete pre-repair snapshot comes back on any mismatch. While a
// repair is pending, the selection routing holds MIDI back (pendingRepairDelta).
//
// Owned by the coordinator; main queue only; every delay is a cancellable work item and a
// request number discards stale completions. Tests drive it on a VirtualScheduler with a real
// MappingStore and a scripted StructuralCaptureSource.
class StructuralRepairOrchestrator {
  public:
    struct Dependencies {
        Queue& mainQueue;
        const Clock& clock;
        Console& console;
        DebugLogStore& log;
        MappingStore& store;
        StructuralCaptureSource& captures;
        // The project key of the loaded mappings profile: an edit context belongs to one.
        std::function<std::optional<std::string>()> profileKey;
    };

    explicit StructuralRepairOrchestrator(Dependencies dependencies);
    ~StructuralRepairOrchestrator();
    StructuralRepairOrchestrator(const StructuralRepairOrchestrator&) = delete;
    StructuralRepairOrchestrator& operator=(const StructuralRepairOrchestrator&) = delete;

    // Triggers.
    void logicCommand(LogicStructuralCommand command, std::optional<StructuralSelection> selection);
    // A handled selection with the latest published track names (absent before any).
    void noteSelection(const StructuralSelection& selection, const std::optional<RowMap>& names);
    // A newly published track list.
    void snapshotPublished(const RowMap& names, const std::string& reason);

    // Baselines accepted without repair.
    void profileLoaded(const std::string& reason);
    void manualSyncAccepted(const std::string& reason);
    void profileSaved();

    // Logic's modal quarantine ended: a paused repair resumes.
    void quarantineEnded();
    // Drops every baseline, the history, the candidates and any pending work.
    void reset(const std::string& reason);

    // The signed track-count delta of the pending repair; absent when none is pending.
    std::optional<int> pendingRepairDelta() const { return pendingDelta_; }
    bool isPaused() const { return paused_; }

    const StructuralMappingRepairEngine& engine() const { return engine_; }
    const StructuralMappingTransactionJournal& journal() const { return journal_; }
    const std::optional<StructuralEditContext>& editContext() const { return editContext_; }
    const std::optional<TessivaInsertionUndoCandidate>& insertionUndoCandidate() const {
        return insertionUndo_;
    }
    const std::optional<TessivaNonContiguousDeletionUndoCandidate>& deletionUndoCandidate() const {
        return deletionUndo_;
    }
    int trustedAbsoluteTrackMaximum() const { return trustedAbsoluteTrackMaximum_; }
    std::uint64_t automaticStructuralRepairRequestID() const {
        return automaticStructuralRepairRequestID_;
    }

  private:
    using Engine = StructuralMappingRepairEngine;
    using Capture = std::optional<RowMap>;

    // --- scheduling and capture (StructuralRepairOrchestrator.cpp)
    void schedule(std::string reason, double delay, int delta,
                  std::optional<StructuralSelection> hint);
    void settledCapture(std::uint64_t request, std::size_t attempt,
                        std::function<void(RowMap)> then);
    void captured(std::uint64_t request, RowMap rows);
    void confirmed(std::uint64_t request, const RowMap& first, const Capture& second);
    void evaluate(const RowMap& rows);
    void checkEditContext(int capturedMaximum);
    bool stale(std::uint64_t request) const {
        return request != automaticStructuralRepairRequestID_;
    }
    void finish();
    void cancelWork();
    // The newest track list known: the last settled capture or the last published one.
    const RowMap* latestRows() const;
    Engine::Evidence evidenceFor(const RowMap& rows) const;
    std::optional<std::string> savedNameAt(int row) const;

    // --- applying and restoring (StructuralRepairTransactions.cpp)
    // Installs `proposed` and keeps it only when the store reproduces it; otherwise puts `before`
    // back. Returns whether it was kept.
    bool installVerified(const MappingProfileSnapshot& before,
                         const StructuralMappingTransaction& transaction);
    bool restoreVerified(const MappingProfileSnapshot& target);
    void applyRepair(const Engine::AppliedRepair& repair, const Engine::State& stateBefore);
    bool restoreFromHistory(const RowMap& rows);
    bool restoreInsertionUndo(const RowMap& rows);
    bool restoreDeletionUndo(const RowMap& rows);
    bool restoreJournal(const RowMap& rows);
    void handleNoChange(const std::string& text, const Engine::State& stateBefore,
                        const RowMap& rows);
    void handleHold(const std::string& text, const RowMap& rows, const Engine::State& stateBefore);
    void scheduleFallback(std::string reason);
    void fallbackCaptured(std::uint64_t request, const RowMap& first, const Capture& second);
    void acceptBaseline(const RowMap& rows, const std::string& reason);
    // Logs what changed in the engine's state since `before` (ownership, session end, range).
    void noteStateChanges(const Engine::State& before, const std::string& reason);
    void persist();

    void note(const std::string& title, const std::string& detail);
    std::string withReason(const std::string& text) const;

    Dependencies deps_;
    Engine engine_;
    StructuralMappingTransactionJournal journal_;
    std::optional<StructuralEditContext> editContext_;
    std::optional<TessivaInsertionUndoCandidate> insertionUndo_;
    std::optional<TessivaNonContiguousDeletionUndoCandidate> deletionUndo_;

    int trustedAbsoluteTrackMaximum_ = 0;
    WorkItem pendingStructuralSnapshotWorkItem_;
    WorkItem pendingStructuralSnapshotAnalysisWorkItem_;
    std::string pendingStructuralSnapshotReason_;
    WorkItem pendingAutomaticStructuralRepairWorkItem_;
    std::uint64_t automaticStructuralRepairRequestID_ = 0;
    WorkItem pendingAmbiguousStructuralFallbackWorkItem_;
    std::optional<std::string> lastPublishedStructuralSnapshotSignature_;

    std::optional<int> pendingDelta_;
    std::optional<StructuralSelection> pendingHint_;
    bool pendingFromSelection_ = false;
    bool paused_ = false;
    bool postLoadBaselineMissing_ = false;
    std::optional<RowMap> lastCapture_;
    double lastCaptureTime_ = -1e9;
    std::optional<RowMap> lastPublished_;
    double lastPublishedTime_ = -1e9;
    // Completions posted after destruction do nothing.
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace tessiva
