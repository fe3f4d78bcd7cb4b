#include "app/MappingReconcile.h"

#include <fmt/format.h>

#include <set>

#include "autoassign/AutoAssignCoordinator.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"

namespace tessiva {

namespace {

template <typename Map>
bool remapRows(Map& rows, const std::map<int, int>& remap) {
    Map result;
    for (const auto& [row, value] : rows) {
        if (remap.count(row) == 0)
            result.emplace(row, value);
    }
    for (const auto& [from, to] : remap) {
        auto found = rows.find(from);
        if (found == rows.end())
            continue;
        if (!result.emplace(to, found->second).second)
            return false;
    }
    rows = std::move(result);
    return true;
}

}  // namespace

std::optional<MappingProfileSnapshot> remappedSnapshot(const MappingProfileSnapshot& snapshot,
                                                       const std::map<int, int>& remap) {
    MappingProfileSnapshot result = snapshot;
    if (!remapRows(result.trackIndexToPC, remap) || !remapRows(result.trackIndexToName, remap) ||
        !remapRows(result.trackIndexToChannel, remap) ||
        !remapRows(result.trackIndexToEventType, remap) ||
        !remapRows(result.trackIndexToNote, remap) ||
        !remapRows(result.oscTrackIdentityByIndex, remap) ||
        !remapRows(result.oscBankFocusMappingsByTrackIndex, remap)) {
        return std::nullopt;
    }
    for (auto& [row, mapping] : result.oscBankFocusMappingsByTrackIndex)
        mapping.trackIndex = row;
    return result;
}

MappingReconcile::MappingReconcile(Dependencies dependencies) : deps_(std::move(dependencies)) {}

void MappingReconcile::note(const std::string& title, const std::string& detail) {
    deps_.console.line("[MappingsWindow] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

void MappingReconcile::finish(State state, const std::string& title, const std::string& detail) {
    pendingCapture_.cancel();
    state_ = state;
    summary_ = detail;
    note(title, detail);
    if (onChange)
        onChange();
}

void MappingReconcile::begin() {
    pendingCapture_.cancel();
    firstCapture_.reset();
    plan_.reset();
    state_ = State::capturing;
    summary_ = "Capturing Logic's track order…";
    capture("mapping-reconcile-capture-1");
    if (onChange)
        onChange();
}

void MappingReconcile::capture(const std::string& reason) {
    deps_.requestCapture(reason);
    pendingCapture_ =
        deps_.mainQueue.postAfter(kCaptureSettle, [this] { captured(deps_.latestCapture()); });
}

void MappingReconcile::captured(RowMap names) {
    if (names.empty()) {
        finish(State::failed, "Reconcile could not complete",
               "Logic did not report its track list; nothing was changed.");
        return;
    }
    if (!firstCapture_) {
        firstCapture_ = std::move(names);
        pendingCapture_ = deps_.mainQueue.postAfter(
            kSecondCaptureDelay, [this] { capture("mapping-reconcile-capture-2"); });
        return;
    }
    if (names != *firstCapture_) {
        finish(State::unstable, "Reconcile snapshot unstable",
               "The two Logic captures did not agree; no repair plan was produced.");
        return;
    }
    liveNames_ = std::move(names);
    plan_ = MappingSequenceReconciler::plan(*deps_.store.trackIndexToName(), liveNames_);
    const auto& plan = *plan_;
    std::string detail = fmt::format(
        "Two settled captures agreed on {} named Logic rows. {} mapping(s) already in place, {} "
        "would move in {} high-confidence run(s); {} added, {} missing and {} ambiguous left "
        "untouched.",
        plan.liveTrackCount, plan.alreadyCorrectCount, plan.proposedRemap.size(),
        plan.moveGroups.size(), plan.addedLiveTrackCount, plan.missingMappedTrackCount,
        plan.ambiguousMappedTrackCount);
    if (!plan.snapshotLooksComplete)
        detail += std::string(" Some Track Stacks look collapsed. ") + kExpandFirstText;
    finish(State::ready, "Reconcile snapshot ready", detail);
}

bool MappingReconcile::apply() {
    if (state_ != State::ready || !plan_ || plan_->proposedRemap.empty())
        return false;
    const MappingProfileSnapshot before = deps_.store.snapshot();
    const auto after = remappedSnapshot(before, plan_->proposedRemap);
    if (!after) {
        finish(State::failed, "Reconcile could not complete",
               "A moved mapping would land on a row whose own mapping stays; nothing was "
               "changed.");
        return false;
    }
    deps_.store.restore(*after);
    // Every moved row must now carry the name Logic shows there, or everything goes back.
    for (const auto& [from, to] : plan_->proposedRemap) {
        const auto saved = deps_.store.trackIndexToName()->find(to);
        const auto live = liveNames_.find(to);
        if (saved == deps_.store.trackIndexToName()->end() || live == liveNames_.end() ||
            saved->second != live->second) {
            deps_.store.restore(before);
            finish(State::failed, "Mapping reconcile rolled back",
                   "Post-transaction payload or name validation failed; restored the complete "
                   "pre-reconcile mapping snapshot.");
            return false;
        }
    }
    undoSnapshot_ = before;
    (void)deps_.store.save();
    deps_.notifications.post(kManualMappingSyncAcceptedNotification);
    finish(State::applied, "Mapping reconcile applied",
           fmt::format("reason=sequence-based emergency mapping reconcile. Moved {} mapping(s) "
                       "in {} high-confidence sequence run(s); preserved additions, missing "
                       "tracks, and ambiguous mappings for review.",
                       plan_->proposedRemap.size(), plan_->moveGroups.size()));
    return true;
}

bool MappingReconcile::undo() {
    if (!undoSnapshot_)
        return false;
    deps_.store.restore(*undoSnapshot_);
    undoSnapshot_.reset();
    (void)deps_.store.save();
    deps_.notifications.post(kManualMappingSyncAcceptedNotification);
    deps_.console.line("[MappingsWindow] undid sequence-based emergency mapping reconcile");
    finish(State::idle, "Mapping reconcile undone",
           "Restored the complete mapping snapshot captured before the last emergency "
           "reconcile.");
    return true;
}

}  // namespace tessiva
