#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mapping/MIDIMapping.h"
#include "osc/RemoteWorkspaceSnapshot.h"
#include "runtime/Status.h"

namespace tessiva {

class Console;
class DebugLogStore;
class MappingStore;
class NotificationCenter;

// One line of the Mappings window: a Logic row with its MIDI mapping and its iPad target.
struct MappingsRow {
    int row = 0;
    // Logic's name for the row now, else the name saved with the mapping.
    std::string name;
    std::string savedName;
    std::optional<MIDIMapping> midi;
    std::optional<std::string> bankName;
    std::optional<std::string> bankUUID;
    // The saved name differs from what Logic shows at that row: the mapping may be on the wrong
    // track until the user checks it.
    bool nameOutOfSync = false;

    bool operator==(const MappingsRow&) const = default;
};

// The Mappings window's edits, applied to the mapping store: assign an iPad bank to a Logic row
// (drag and drop or the picker), change a row's MIDI values. Each edit is saved at once and
// accepted as the structural baseline, as an auto-assign link is. Main queue only; tests use it
// with a real MappingStore in a temporary folder.
class MappingsEditor {
  public:
    MappingsEditor(MappingStore& store, NotificationCenter& notifications, Console& console,
                   DebugLogStore& log);

    // Every row that has a mapping or a Logic name, in row order.
    static std::vector<MappingsRow> rows(const MappingStore& store);
    // The rows whose saved names differ from Logic's.
    static std::size_t outOfSyncCount(const std::vector<MappingsRow>& rows);

    Status assignBank(int row, const RemoteWorkspaceBank& bank,
                      const std::optional<RemoteWorkspaceSnapshot>& workspace);
    Status updateMIDI(int row, const MIDIMapping& mapping);

  private:
    Status saveAndAccept(const std::string& title, const std::string& detail);

    MappingStore& store_;
    NotificationCenter& notifications_;
    Console& console_;
    DebugLogStore& log_;
};

}  // namespace tessiva
