#include "app/MappingsEditor.h"

#include <fmt/format.h>

#include <set>

#include "autoassign/AutoAssignCoordinator.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

MappingsEditor::MappingsEditor(MappingStore& store, NotificationCenter& notifications,
                               Console& console, DebugLogStore& log)
    : store_(store), notifications_(notifications), console_(console), log_(log) {}

std::vector<MappingsRow> MappingsEditor::rows(const MappingStore& store) {
    std::set<int> indices;
    for (const auto& [row, name] : store.liveLogicTrackNames())
        indices.insert(row);
    for (const auto& [row, name] : *store.trackIndexToName())
        indices.insert(row);
    for (const auto& [row, mapping] : *store.oscBankFocusMappingsByTrackIndex())
        indices.insert(row);
    std::vector<MappingsRow> rows;
    for (int index : indices) {
        MappingsRow line;
        line.row = index;
        line.midi = store.midiMapping(index);
        const auto bank = store.bankMapping(index);
        if (bank) {
            line.bankName = bank->bankName;
            line.bankUUID = bank->bankUUID;
        }
        line.savedName = line.midi ? line.midi->trackName : bank ? bank->trackName : "";
        const auto live = store.liveLogicTrackNames().find(index);
        const bool hasLive = live != store.liveLogicTrackNames().end();
        line.name = hasLive ? live->second : line.savedName;
        line.nameOutOfSync = hasLive && !line.savedName.empty() && line.savedName != live->second;
        rows.push_back(std::move(line));
    }
    return rows;
}

std::size_t MappingsEditor::outOfSyncCount(const std::vector<MappingsRow>& rows) {
    std::size_t count = 0;
    for (const auto& row : rows)
        count += row.nameOutOfSync ? 1 : 0;
    return count;
}

Status MappingsEditor::assignBank(int row, const RemoteWorkspaceBank& bank,
                                  const std::optional<RemoteWorkspaceSnapshot>& workspace) {
    OSCBankFocusMapping mapping;
    const auto live = store_.liveLogicTrackNames().find(row);
    const auto midi = store_.midiMapping(row);
    mapping.trackName = live != store_.liveLogicTrackNames().end() ? live->second
                        : midi                                     ? midi->trackName
                                                                   : std::string();
    mapping.bankUUID = bank.uuid;
    mapping.bankName = bank.name;
    mapping.groupUUID = bank.groupUUID;
    mapping.groupName = bank.groupName;
    if (!bank.sectionName.empty())
        mapping.sectionName = bank.sectionName;
    if (workspace) {
        mapping.workspaceUUID = workspace->workspaceUUID;
        mapping.workspaceName = workspace->workspaceName;
    }
    if (Status stored = store_.setBankMapping(row, mapping); !stored)
        return stored;
    return saveAndAccept("Bank assigned",
                         fmt::format("Track {} \"{}\" now focuses bank {} ({}).", row,
                                     mapping.trackName, bank.name, bank.uuid));
}

Status MappingsEditor::updateMIDI(int row, const MIDIMapping& mapping) {
    MIDIMapping edited = mapping;
    if (edited.trackName.empty()) {
        const auto live = store_.liveLogicTrackNames().find(row);
        if (live != store_.liveLogicTrackNames().end())
            edited.trackName = live->second;
    }
    if (Status stored = store_.setMIDIMapping(row, edited); !stored)
        return stored;
    const int value = edited.eventType == MappingEventType::programChange
                          ? edited.programChange.value_or(-1)
                          : edited.note.value_or(-1);
    return saveAndAccept(
        "MIDI mapping edited",
        fmt::format("Track {} \"{}\" sends {} {} on channel {}.", row, edited.trackName,
                    rawValue(edited.eventType), value, edited.channel));
}

Status MappingsEditor::saveAndAccept(const std::string& title, const std::string& detail) {
    console_.line("[Mappings] " + title + ": " + detail);
    log_.log(title, detail);
    Status saved = store_.save();
    notifications_.post(kManualMappingSyncAcceptedNotification);
    return saved;
}

}  // namespace tessiva
