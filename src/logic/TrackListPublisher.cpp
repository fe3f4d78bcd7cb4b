#include "logic/TrackListPublisher.h"

#include <cmath>

#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

namespace {

long long wholeMilliseconds(double seconds) {
    return std::llround(seconds * 1000.0);
}

}  // namespace

TrackListPublisher::TrackListPublisher(ObservationContext& context)
    : context_(context), lastUserActivityTime_(context.now()) {}

void TrackListPublisher::reset() {
    lastPolledTrackSnapshotSignature_.reset();
    context_.lastObservedArrangeVisibleRowCount.reset();
    lastPollTime_ = -1e9;
    // Logic just came or went: poll at the active pace for a while.
    lastUserActivityTime_ = context_.now();
}

std::optional<LogicAXReader::Rows> TrackListPublisher::captureVisibleStructure() const {
    if (context_.isQuarantined() || context_.isPointerDragActive())
        return std::nullopt;
    const TrackListAnchor anchor = context_.anchor();
    const AXElement application = context_.appElement();
    auto& reader = context_.reader;
    LogicAXReader::Rows rows;
    if (anchor)
        rows = reader.readRows(anchor);
    if (rows.snapshot.empty() && application) {
        rows.snapshot = reader.walkWindow(reader.arrangeWindow(application));
        rows.rowCount = rows.snapshot.size();
        if (!anchor)
            return rows.snapshot.empty() ? std::nullopt : std::optional(rows);
    }
    if (rows.snapshot.empty())
        return std::nullopt;
    return rows;
}

void TrackListPublisher::requestTrackNamesSnapshot(std::string reason) {
    context_.selectionWorkQueue->post(context_.guarded([this, reason] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        context_.mainQueue.post(context_.guarded(
            [this, rows, reason] { publishSnapshot(rows->snapshot, reason, rows->rowCount); }));
    }));
}

void TrackListPublisher::storeSnapshot(const TrackListSnapshot& snapshot,
                                       std::optional<std::size_t> rowCount) {
    lastTrackNamesSnapshot_ = snapshot;
    indicesByTrackName_ = snapshot.indicesByTrackName();
    lastPolledTrackSnapshotSignature_ = snapshot.signature();
    if (rowCount)
        context_.lastObservedArrangeVisibleRowCount = static_cast<int>(*rowCount);
    const bool wasKnown = trustedAbsoluteTrackMaximum_.has_value();
    trustedAbsoluteTrackMaximum_ = snapshot.nextTrustedMaximum(trustedAbsoluteTrackMaximum_);
    if (!wasKnown && trustedAbsoluteTrackMaximum_ && onTrustedMaximumKnown)
        onTrustedMaximumKnown();
}

void TrackListPublisher::postSnapshotNotification(const TrackListSnapshot& snapshot,
                                                  const std::string& reason) {
    UserInfo info;
    info.set(kSnapshotNamesByIndexKey, snapshot.namesByIndex);
    info.set(kSnapshotReasonKey, reason);
    context_.notifications.post(kTrackListSnapshotUpdatedNotification, std::move(info));
}

void TrackListPublisher::publishSnapshot(const TrackListSnapshot& snapshot,
                                         const std::string& reason,
                                         std::optional<std::size_t> rowCount) {
    if (snapshot == lastTrackNamesSnapshot_)
        return;
    storeSnapshot(snapshot, rowCount);
    postSnapshotNotification(snapshot, reason);
}

void TrackListPublisher::captureVisibleTrackList(
    std::function<void(std::optional<std::map<int, std::string>>)> done) {
    context_.structureQueue->post(context_.guarded([this, done = std::move(done)] {
        auto rows = captureVisibleStructure();
        std::optional<std::map<int, std::string>> names;
        if (rows)
            names = rows->snapshot.namesByIndex;
        context_.mainQueue.post(context_.guarded([done, names] { done(names); }));
    }));
}

void TrackListPublisher::pollVisibleStructure() {
    const double at = context_.now();
    const bool active = at - lastUserActivityTime_ < kActivityWindow;
    const double interval = active ? kActivePollInterval : kIdlePollInterval;
    if (at - lastPollTime_ < interval - 1e-6)
        return;
    lastPollTime_ = at;
    context_.structureQueue->post(context_.guarded([this] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        context_.mainQueue.post(context_.guarded([this, rows] {
            lastMaxTrackIndex_ = rows->snapshot.highestIndex();
            const auto signature = rows->snapshot.signature();
            if (!lastPolledTrackSnapshotSignature_) {
                lastPolledTrackSnapshotSignature_ = signature;
                return;
            }
            if (*lastPolledTrackSnapshotSignature_ == signature)
                return;
            lastPolledTrackSnapshotSignature_ = signature;
            requestTrackNamesSnapshot("poll/visible-structure-changed");
        }));
    }));
}

void TrackListPublisher::scheduleStructuralSnapshot(std::string reason) {
    if (context_.isQuarantined())
        return;
    pendingStructuralSnapshotWorkItem_.cancel();
    const double delay = structuralDebounce.delayFor(reason);
    pendingStructuralSnapshotReason_ = std::move(reason);
    pendingStructuralSnapshotWorkItem_ =
        context_.mainQueue.postAfter(delay, context_.guarded([this] { fireStructuralSnapshot(); }));
}

void TrackListPublisher::fireStructuralSnapshot() {
    const auto decision =
        structuralDebounce.onFire(context_.now(), context_.isQuarantined(),
                                  context_.logicFrontmost(), context_.isPointerDragActive(),
                                  context_.lastFastSelectionTime, pendingStructuralSnapshotReason_);
    switch (decision.action) {
        case StructuralSnapshotAction::skip:
        case StructuralSnapshotAction::count:
            return;
        case StructuralSnapshotAction::rescheduleForDrag:
            scheduleStructuralSnapshot(decision.reason);
            return;
        case StructuralSnapshotAction::rescheduleForQuiet:
            pendingStructuralSnapshotReason_ = decision.reason;
            pendingStructuralSnapshotWorkItem_ = context_.mainQueue.postAfter(
                decision.delay, context_.guarded([this] { fireStructuralSnapshot(); }));
            return;
        case StructuralSnapshotAction::capture:
            break;
    }
    pendingStructuralSnapshotReason_.reset();
    context_.structureQueue->post(context_.guarded([this, reason = decision.reason] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        context_.mainQueue.post(context_.guarded([this, snapshot = rows->snapshot, reason] {
            finishStructuralSnapshot(snapshot, reason);
        }));
    }));
}

void TrackListPublisher::finishStructuralSnapshot(const TrackListSnapshot& snapshot,
                                                  const std::string& reason) {
    if (context_.isQuarantined() || !context_.logicFrontmost())
        return;
    const auto signature = snapshot.signature();
    if (lastPublishedStructuralSnapshotSignature_ == signature) {
        if (context_.captureRunning()) {
            postDebugEvent(context_.notifications, "Debounced structural snapshot skipped",
                           "No snapshot change after " + reason +
                               ". count=" + std::to_string(snapshot.size()));
        }
        return;
    }
    lastPublishedStructuralSnapshotSignature_ = signature;
    storeSnapshot(snapshot, std::nullopt);
    postSnapshotNotification(snapshot, "debounced " + reason);
    const double quiet =
        context_.lastFastSelectionTime > 0 ? context_.now() - context_.lastFastSelectionTime : 0.0;
    postDebugEvent(context_.notifications, "Debounced structural snapshot published",
                   "reason=" + reason + " count=" + std::to_string(snapshot.size()) +
                       " quietMs=" + std::to_string(wholeMilliseconds(quiet)));
}

}  // namespace tessiva
