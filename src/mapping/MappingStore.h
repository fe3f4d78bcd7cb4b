#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "mapping/MIDIMapping.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingProfileSnapshot.h"
#include "mapping/Published.h"
#include "runtime/Status.h"

namespace tessiva {

// Notifications about the mapping store's track names and reconcile snapshots.
inline constexpr const char* kTrackNamesAppliedNotification = "tessivaTrackNamesApplied";
inline constexpr const char* kReconcileSnapshotRequestedNotification =
    "tessivaReconcileSnapshotRequested";
inline constexpr const char* kReconcileSnapshotReadyNotification = "tessivaReconcileSnapshotReady";

class Clock;
class Console;
class DebugLogStore;
class Queue;

// The single in-memory owner of the mappings profile: per Logic row the MIDI mapping and the iPad
// bank-focus mapping, the Logic track names last seen and the identities structural repair uses
// to follow rows. Every persistent map is published so menus and windows follow each change.
// Main queue only. Tests use the real class with files in a temporary folder.
//
// Track identities: a row first mapped keeps "logic-row-<row>" (the row it was first seen at);
// when that string is already held by another row (rows moved since), and for every track that
// structural repair reports as inserted, the identity is "inserted-<n>" with n the incremented
// oscInsertedTrackSerial, which only ever counts up (clearing all mappings keeps it).
class MappingStore {
  public:
    struct Dependencies {
        Queue& mainQueue;
        const Clock& clock;
        Console& console;
        DebugLogStore& log;
    };

    // A Logic track-name capture: the names by row, and which rows changed or went away since the
    // previous one.
    struct TrackNameSnapshot {
        RowMap namesByRow;
        std::set<int> changedRows;
        std::set<int> removedRows;
    };

    // The mapping editor accepts rows 0...kMaxMappingRow; files may hold any non-negative row.
    static constexpr int kMaxMappingRow = 9999;

    explicit MappingStore(Dependencies dependencies);
    MappingStore(const MappingStore&) = delete;
    MappingStore& operator=(const MappingStore&) = delete;

    // Chooses the file in `folder` (created when missing), reads it and publishes every map. A
    // legacy file is written back under the default name at once; an unreadable file is moved
    // aside and a fresh one written; a missing one is created.
    ProfileReadOutcome open(const std::filesystem::path& folder,
                            const std::string& fileName = kDefaultProfileFileName);

    // Replaces everything with the profile at `file`, which becomes the store's file. On failure
    // nothing changes and the error is returned for the caller's alert.
    Status load(const std::filesystem::path& file);
    // Writes the current maps to the store's file; logs and returns a failure.
    Status save();
    // Writes the current maps to `file` and makes it the store's file when that worked.
    Status saveAs(const std::filesystem::path& file);

    const std::filesystem::path& fileURL() const { return fileURL_; }
    int version() const { return version_; }
    const RowMap& liveLogicTrackNames() const { return liveLogicTrackNames_; }

    const Published<RowKeyed<int>>& trackIndexToPC() const { return trackIndexToPC_; }
    const Published<RowMap>& trackIndexToName() const { return trackIndexToName_; }
    const Published<RowKeyed<int>>& trackIndexToChannel() const { return trackIndexToChannel_; }
    const Published<RowKeyed<MappingEventType>>& trackIndexToEventType() const {
        return trackIndexToEventType_;
    }
    const Published<RowKeyed<int>>& trackIndexToNote() const { return trackIndexToNote_; }
    const Published<RowMap>& oscTrackIdentityByIndex() const { return oscTrackIdentityByIndex_; }
    const Published<int>& oscInsertedTrackSerial() const { return oscInsertedTrackSerial_; }
    const Published<RowKeyed<OSCBankFocusMapping>>& oscBankFocusMappingsByTrackIndex() const {
        return oscBankFocusMappingsByTrackIndex_;
    }
    const Published<std::optional<Date>>& lastLogicSnapshotRefreshDate() const {
        return lastLogicSnapshotRefreshDate_;
    }
    const Published<RowMap>& logicTrackNames() const { return logicTrackNames_; }

    // The persistent maps as one value, and putting them all back at once (observers hear of
    // each changed map only after every map is in place).
    MappingProfileSnapshot snapshot() const;
    void restore(const MappingProfileSnapshot& snapshot);
    void restore(MappingProfileSnapshot&& snapshot);

    // Refused (logged, nothing changed) for a row outside 0...kMaxMappingRow, a value outside
    // 0...127 or a channel outside 1...16.
    Status setMIDIMapping(int row, const MIDIMapping& mapping);
    // Returns whether the row had a MIDI mapping.
    bool clearMIDIMapping(int row);
    // Every MIDI and bank mapping and every identity; the serial keeps counting.
    void clearAllMappings();

    // Stored with trackIndex = row, a fresh id when it has none, the row's identity when it has
    // none, and updatedAt = now. Refused for a bad row or an empty bank UUID.
    Status setBankMapping(int row, OSCBankFocusMapping mapping);
    bool removeBankMapping(int row);

    // The row's identity, assigned on first use.
    std::string ensureTrackIdentity(int row);
    // A new "inserted-<n>" identity (the serial is advanced and published).
    std::string makeInsertedTrackIdentity();

    void applyLogicTrackNameSnapshot(const TrackNameSnapshot& snapshot);
    void clearLogicTrackNameSnapshot();

    std::optional<MIDIMapping> midiMapping(int row) const;
    std::optional<OSCBankFocusMapping> bankMapping(int row) const;
    std::optional<std::string> trackIdentity(int row) const;
    // Rows whose bank mapping targets `uuid` (as bank or group), ascending: the iPad's query.
    std::vector<int> rowsMappedTo(const std::string& uuid) const;

  private:
    Status refuse(const std::string& what, const std::string& reason);
    void startEmpty();
    template <typename Snapshot>
    void restoreFrom(Snapshot&& snapshot);

    Dependencies deps_;
    std::filesystem::path fileURL_;
    int version_ = kMappingProfileVersion;
    RowMap liveLogicTrackNames_;
    Published<RowKeyed<int>> trackIndexToPC_;
    Published<RowMap> trackIndexToName_;
    Published<RowKeyed<int>> trackIndexToChannel_;
    Published<RowKeyed<MappingEventType>> trackIndexToEventType_;
    Published<RowKeyed<int>> trackIndexToNote_;
    Published<RowMap> oscTrackIdentityByIndex_;
    Published<int> oscInsertedTrackSerial_;
    Published<RowKeyed<OSCBankFocusMapping>> oscBankFocusMappingsByTrackIndex_;
    Published<std::optional<Date>> lastLogicSnapshotRefreshDate_;
    Published<RowMap> logicTrackNames_;
};

}  // namespace tessiva
