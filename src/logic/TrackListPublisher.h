#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "logic/LogicAXReader.h"
#include "logic/ObservationContext.h"
#include "logic/StructuralSnapshotDebounce.h"
#include "logic/TrackListSnapshot.h"
#include "runtime/Queue.h"

namespace tessiva {

inline constexpr const char* kTrackListSnapshotUpdatedNotification =
    "tessiva.trackListSnapshotUpdated";
inline constexpr const char* kSnapshotNamesByIndexKey = "namesByIndex";
inline constexpr const char* kSnapshotReasonKey = "reason";

// Captures Logic's visible track list and publishes each changed one as
// "tessiva.trackListSnapshotUpdated": on request, from the structure poll of the rescan, and
// debounced after structural hints. Captures run on the selection or structure queue and never
// during a quarantine or a drag; publication and every field are on the main queue. The
// structure poll reads every header, so while the user leaves Logic alone it runs every 20 s
// instead of every 5 s: Logic only changes its track list when someone works in it, and the
// first gesture brings the 5 s poll back. Part of LogicObserver; tests drive it through the
// observer against SimulatedLogic.
class TrackListPublisher {
  public:
    static constexpr double kActivePollInterval = 5.0;
    static constexpr double kIdlePollInterval = 20.0;
    // How long after the last gesture in Logic the poll counts the user as active.
    static constexpr double kActivityWindow = 30.0;

    explicit TrackListPublisher(ObservationContext& context);
    TrackListPublisher(const TrackListPublisher&) = delete;
    TrackListPublisher& operator=(const TrackListPublisher&) = delete;

    // Called once a capture first tells how many tracks the project has.
    std::function<void()> onTrustedMaximumKnown;

    void requestTrackNamesSnapshot(std::string reason);
    // One structure poll, unless the last one is recent enough for how active the user is.
    void pollVisibleStructure();
    void scheduleStructuralSnapshot(std::string reason);
    // One capture of the visible rows on the structure queue, handed to `done` on the main
    // queue; nothing while quarantined, dragging or when no row could be read. Not published.
    void captureVisibleTrackList(
        std::function<void(std::optional<std::map<int, std::string>>)> done);
    void cancelStructuralSnapshot() { pendingStructuralSnapshotWorkItem_.cancel(); }
    // The user worked in Logic.
    void noteUserActivity(double at) { lastUserActivityTime_ = at; }
    // Logic went away: the first poll after re-attachment only records a signature.
    void reset();

    const TrackListSnapshot& lastTrackNamesSnapshot() const { return lastTrackNamesSnapshot_; }
    const std::map<std::string, std::vector<int>>& indicesByTrackName() const {
        return indicesByTrackName_;
    }
    std::optional<int> trustedAbsoluteTrackMaximum() const { return trustedAbsoluteTrackMaximum_; }
    std::optional<int> lastMaxTrackIndex() const { return lastMaxTrackIndex_; }

    StructuralSnapshotDebounce structuralDebounce;

  private:
    std::optional<LogicAXReader::Rows> captureVisibleStructure() const;
    void publishSnapshot(const TrackListSnapshot& snapshot, const std::string& reason,
                         std::optional<std::size_t> rowCount);
    void storeSnapshot(const TrackListSnapshot& snapshot, std::optional<std::size_t> rowCount);
    void fireStructuralSnapshot();
    void finishStructuralSnapshot(const TrackListSnapshot& snapshot, const std::string& reason);
    void postSnapshotNotification(const TrackListSnapshot& snapshot, const std::string& reason);

    ObservationContext& context_;

    WorkItem pendingStructuralSnapshotWorkItem_;
    std::optional<std::string> pendingStructuralSnapshotReason_;
    std::optional<std::string> lastPublishedStructuralSnapshotSignature_;
    TrackListSnapshot lastTrackNamesSnapshot_;
    std::map<std::string, std::vector<int>> indicesByTrackName_;
    std::optional<int> lastMaxTrackIndex_;
    std::optional<std::string> lastPolledTrackSnapshotSignature_;
    std::optional<int> trustedAbsoluteTrackMaximum_;
    double lastPollTime_ = -1e9;
    double lastUserActivityTime_ = 0;
};

}  // namespace tessiva
