#include "mapping/MappingStore.h"

#include <fmt/format.h>

#include <system_error>

#include "mapping/DebugLogStore.h"
#include "runtime/AtomicFile.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace fs = std::filesystem;

namespace {

template <typename Value>
bool putRow(Published<RowKeyed<Value>>& published, int row, const Value& value) {
    return published.modify([&](RowKeyed<Value>& rows) {
        const auto found = rows.find(row);
        if (found != rows.end() && found->second == value)
            return false;
        rows.insert_or_assign(row, value);
        return true;
    });
}

template <typename Value>
bool eraseRow(Published<RowKeyed<Value>>& published, int row) {
    return published.modify([row](RowKeyed<Value>& rows) { return rows.erase(row) > 0; });
}

bool isMIDIValue(const std::optional<int>& value) {
    return !value || (*value >= 0 && *value <= 127);
}

}  // namespace

MappingStore::MappingStore(Dependencies dependencies) : deps_(dependencies) {}

ProfileReadOutcome MappingStore::open(const fs::path& folder, const std::string& fileName) {
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) {
        deps_.console.line(fmt::format("[MappingStore] Could not create mappings folder {}: {}",
                                       folder.string(), ec.message()));
        deps_.log.log("Mappings folder unavailable",
                      fmt::format("Could not create the mappings folder at {}. Error: {}",
                                  folder.string(), ec.message()));
    }
    // Saves cut short by a crash or a kill leave hidden temporary files; nothing else removes them.
    if (const int removed = removeInterruptedSaveLeftovers(folder); removed > 0) {
        deps_.console.line(fmt::format(
            "[MappingStore] Removed {} temporary file(s) left by interrupted saves", removed));
    }
    const ProfileFileChoice choice = MappingProfileFile::choose(folder, fileName);
    fileURL_ = choice.target;
    ProfileReadResult read = MappingProfileFile::read(choice.readFrom);

    switch (read.outcome) {
        case ProfileReadOutcome::loaded:
            restore(std::move(*read.snapshot));
            deps_.console.line("[MappingStore] Loaded mappings profile: " +
                               choice.readFrom.string());
            if (choice.fromLegacy && save().ok()) {
                deps_.console.line(
                    fmt::format("[MappingStore] Migrated legacy mappings profile {} to {}",
                                choice.readFrom.string(), fileURL_.string()));
                deps_.log.log("Legacy mappings profile migrated",
                              fmt::format("Read {} and saved it as {}.", choice.readFrom.string(),
                                          fileURL_.string()));
            }
            break;
        case ProfileReadOutcome::missing:
            startEmpty();
            if (save().ok()) {
                deps_.console.line("[MappingStore] Created mappings profile: " + fileURL_.string());
            }
            break;
        case ProfileReadOutcome::unreadable: {
            std::string moveError;
            const auto aside =
                MappingProfileFile::setAside(choice.readFrom, deps_.clock.date(), &moveError);
            startEmpty();
            if (aside) {
                deps_.console.line(fmt::format(
                    "[MappingStore] Unreadable mappings profile {} ({}) moved aside to {}",
                    choice.readFrom.string(), read.error, aside->string()));
                deps_.log.log("Unreadable mappings profile set aside",
                              fmt::format("The mappings profile at {} could not be read ({}). It "
                                          "was moved to {} and an empty profile was started.",
                                          choice.readFrom.string(), read.error, aside->string()));
                (void)save();
            } else {
                // Without a copy elsewhere, writing a fresh file now would destroy the old one.
                deps_.console.line(
                    fmt::format("[MappingStore] Unreadable mappings profile {} ({}) could not be "
                                "moved aside: {}",
                                choice.readFrom.string(), read.error, moveError));
                deps_.log.log("Unreadable mappings profile kept",
                              fmt::format("The mappings profile at {} could not be read ({}) nor "
                                          "moved aside ({}). Mappings start empty; the file is "
                                          "left as it is until the next save.",
                                          choice.readFrom.string(), read.error, moveError));
            }
            break;
        }
    }
    return read.outcome;
}

Status MappingStore::load(const fs::path& file) {
    ProfileReadResult read = MappingProfileFile::read(file);
    switch (read.outcome) {
        case ProfileReadOutcome::loaded:
            restore(std::move(*read.snapshot));
            fileURL_ = file;
            return Status::success();
        case ProfileReadOutcome::missing:
            return Status::failure("no such file: " + file.string());
        case ProfileReadOutcome::unreadable:
            break;
    }
    return Status::failure(read.error);
}

Status MappingStore::save() {
    Status status = MappingProfileFile::write(fileURL_, snapshot());
    if (!status.ok())
        deps_.console.line("[MappingStore] Failed to save: " + status.error());
    return status;
}

Status MappingStore::saveAs(const fs::path& file) {
    Status status = MappingProfileFile::write(file, snapshot());
    if (status.ok())
        fileURL_ = file;
    return status;
}

MappingProfileSnapshot MappingStore::snapshot() const {
    MappingProfileSnapshot s;
    s.version = version_;
    s.trackIndexToPC = *trackIndexToPC_;
    s.trackIndexToName = *trackIndexToName_;
    s.trackIndexToChannel = *trackIndexToChannel_;
    s.trackIndexToEventType = *trackIndexToEventType_;
    s.trackIndexToNote = *trackIndexToNote_;
    s.oscTrackIdentityByIndex = *oscTrackIdentityByIndex_;
    s.oscInsertedTrackSerial = *oscInsertedTrackSerial_;
    s.oscBankFocusMappingsByTrackIndex = *oscBankFocusMappingsByTrackIndex_;
    return s;
}

void MappingStore::restore(const MappingProfileSnapshot& s) {
    restoreFrom(s);
}

void MappingStore::restore(MappingProfileSnapshot&& s) {
    restoreFrom(std::move(s));
}

template <typename Snapshot>
void MappingStore::restoreFrom(Snapshot&& s) {
    version_ = s.version;
    const bool pc = trackIndexToPC_.replace(std::forward<Snapshot>(s).trackIndexToPC);
    const bool name = trackIndexToName_.replace(std::forward<Snapshot>(s).trackIndexToName);
    const bool channel =
        trackIndexToChannel_.replace(std::forward<Snapshot>(s).trackIndexToChannel);
    const bool type =
        trackIndexToEventType_.replace(std::forward<Snapshot>(s).trackIndexToEventType);
    const bool note = trackIndexToNote_.replace(std::forward<Snapshot>(s).trackIndexToNote);
    const bool identity =
        oscTrackIdentityByIndex_.replace(std::forward<Snapshot>(s).oscTrackIdentityByIndex);
    const bool serial = oscInsertedTrackSerial_.replace(s.oscInsertedTrackSerial);
    const bool bank = oscBankFocusMappingsByTrackIndex_.replace(
        std::forward<Snapshot>(s).oscBankFocusMappingsByTrackIndex);
    // Observers hear only once every map is in place, in field order.
    if (pc)
        trackIndexToPC_.notify();
    if (name)
        trackIndexToName_.notify();
    if (channel)
        trackIndexToChannel_.notify();
    if (type)
        trackIndexToEventType_.notify();
    if (note)
        trackIndexToNote_.notify();
    if (identity)
        oscTrackIdentityByIndex_.notify();
    if (serial)
        oscInsertedTrackSerial_.notify();
    if (bank)
        oscBankFocusMappingsByTrackIndex_.notify();
}

void MappingStore::startEmpty() {
    restore(MappingProfileSnapshot{});
}

Status MappingStore::refuse(const std::string& what, const std::string& reason) {
    deps_.console.line(fmt::format("[MappingStore] Refused {}: {}", what, reason));
    deps_.log.log("Mapping change refused", fmt::format("Refused {}: {}", what, reason));
    return Status::failure(reason);
}

Status MappingStore::setMIDIMapping(int row, const MIDIMapping& m) {
    const std::string what = fmt::format("MIDI mapping for row {}", row);
    if (row < 0 || row > kMaxMappingRow) {
        return refuse(what, fmt::format("row must be within 0...{}", kMaxMappingRow));
    }
    if (!isMIDIValue(m.programChange))
        return refuse(what, "program change must be within 0...127");
    if (!isMIDIValue(m.note))
        return refuse(what, "note must be within 0...127");
    if (m.channel < 1 || m.channel > 16)
        return refuse(what, "channel must be within 1...16");

    if (m.programChange) {
        putRow(trackIndexToPC_, row, *m.programChange);
    } else {
        eraseRow(trackIndexToPC_, row);
    }
    putRow(trackIndexToName_, row, m.trackName);
    putRow(trackIndexToChannel_, row, m.channel);
    putRow(trackIndexToEventType_, row, m.eventType);
    if (m.note) {
        putRow(trackIndexToNote_, row, *m.note);
    } else {
        eraseRow(trackIndexToNote_, row);
    }
    ensureTrackIdentity(row);
    return Status::success();
}

bool MappingStore::clearMIDIMapping(int row) {
    bool had = eraseRow(trackIndexToPC_, row);
    had = eraseRow(trackIndexToName_, row) || had;
    had = eraseRow(trackIndexToChannel_, row) || had;
    had = eraseRow(trackIndexToEventType_, row) || had;
    had = eraseRow(trackIndexToNote_, row) || had;
    return had;
}

void MappingStore::clearAllMappings() {
    MappingProfileSnapshot cleared;
    cleared.version = version_;
    cleared.oscInsertedTrackSerial = *oscInsertedTrackSerial_;
    restore(cleared);
}

Status MappingStore::setBankMapping(int row, OSCBankFocusMapping mapping) {
    const std::string what = fmt::format("bank focus mapping for row {}", row);
    if (row < 0 || row > kMaxMappingRow) {
        return refuse(what, fmt::format("row must be within 0...{}", kMaxMappingRow));
    }
    if (mapping.bankUUID.empty())
        return refuse(what, "the bank UUID is empty");
    mapping.trackIndex = row;
    if (mapping.id.empty())
        mapping.id = makeUUID();
    if (!mapping.trackIdentity)
        mapping.trackIdentity = ensureTrackIdentity(row);
    mapping.updatedAt = deps_.clock.date();
    putRow(oscBankFocusMappingsByTrackIndex_, row, mapping);
    return Status::success();
}

bool MappingStore::removeBankMapping(int row) {
    return eraseRow(oscBankFocusMappingsByTrackIndex_, row);
}

std::string MappingStore::ensureTrackIdentity(int row) {
    if (auto existing = trackIdentity(row))
        return *existing;
    std::string identity = fmt::format("logic-row-{}", row);
    for (const auto& [otherRow, other] : *oscTrackIdentityByIndex_) {
        if (other == identity) {
            identity = makeInsertedTrackIdentity();
            break;
        }
    }
    putRow(oscTrackIdentityByIndex_, row, identity);
    return identity;
}

std::string MappingStore::makeInsertedTrackIdentity() {
    const int serial = *oscInsertedTrackSerial_ + 1;
    oscInsertedTrackSerial_.set(serial);
    return fmt::format("inserted-{}", serial);
}

void MappingStore::applyLogicTrackNameSnapshot(const TrackNameSnapshot& snapshot) {
    if (!snapshot.namesByRow.empty() && snapshot.namesByRow.begin()->first < 0) {
        deps_.console.line(
            fmt::format("[MappingStore] Ignored Logic track-name snapshot with negative row {}",
                        snapshot.namesByRow.begin()->first));
        return;
    }
    liveLogicTrackNames_ = snapshot.namesByRow;
    logicTrackNames_.set(snapshot.namesByRow);
    lastLogicSnapshotRefreshDate_.set(deps_.clock.date());
    deps_.console.line(fmt::format(
        "[MappingStore] Applied Logic track-name snapshot rows={} changed={} removed={}",
        snapshot.namesByRow.size(), snapshot.changedRows.size(), snapshot.removedRows.size()));
}

void MappingStore::clearLogicTrackNameSnapshot() {
    const std::size_t rows = logicTrackNames_->size();
    liveLogicTrackNames_.clear();
    logicTrackNames_.set({});
    lastLogicSnapshotRefreshDate_.set(std::nullopt);
    deps_.console.line("[MappingStore] Logic track-name snapshot cleared");
    deps_.log.log("Logic track-name snapshot cleared",
                  fmt::format("The live Logic track names ({} rows) were cleared and will be "
                              "captured again on the next refresh.",
                              rows));
}

std::optional<MIDIMapping> MappingStore::midiMapping(int row) const {
    const auto pc = trackIndexToPC_->find(row);
    const auto note = trackIndexToNote_->find(row);
    const auto type = trackIndexToEventType_->find(row);
    const auto channel = trackIndexToChannel_->find(row);
    const auto name = trackIndexToName_->find(row);
    if (pc == trackIndexToPC_->end() && note == trackIndexToNote_->end() &&
        type == trackIndexToEventType_->end() && channel == trackIndexToChannel_->end() &&
        name == trackIndexToName_->end()) {
        return std::nullopt;
    }
    MIDIMapping m;
    if (pc != trackIndexToPC_->end())
        m.programChange = pc->second;
    if (note != trackIndexToNote_->end())
        m.note = note->second;
    if (type != trackIndexToEventType_->end())
        m.eventType = type->second;
    if (channel != trackIndexToChannel_->end())
        m.channel = channel->second;
    if (name != trackIndexToName_->end())
        m.trackName = name->second;
    return m;
}

std::optional<OSCBankFocusMapping> MappingStore::bankMapping(int row) const {
    const auto found = oscBankFocusMappingsByTrackIndex_->find(row);
    if (found == oscBankFocusMappingsByTrackIndex_->end())
        return std::nullopt;
    return found->second;
}

std::optional<std::string> MappingStore::trackIdentity(int row) const {
    const auto found = oscTrackIdentityByIndex_->find(row);
    if (found == oscTrackIdentityByIndex_->end())
        return std::nullopt;
    return found->second;
}

std::vector<int> MappingStore::rowsMappedTo(const std::string& uuid) const {
    std::vector<int> rows;
    if (uuid.empty())
        return rows;
    for (const auto& [row, mapping] : *oscBankFocusMappingsByTrackIndex_) {
        if (mapping.bankUUID == uuid || mapping.groupUUID == uuid)
            rows.push_back(row);
    }
    return rows;
}

}  // namespace tessiva
