#include "repair/StructuralMappingTransaction.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace tessiva {

namespace {

// Everything the profile keeps for one row, with the bank mapping's own row taken out so that
// a moved mapping compares equal to where it came from.
struct RowPayload {
    std::optional<int> pc;
    std::optional<std::string> name;
    std::optional<int> channel;
    std::optional<MappingEventType> eventType;
    std::optional<int> note;
    std::optional<std::string> identity;
    std::optional<OSCBankFocusMapping> bank;

    bool operator==(const RowPayload&) const = default;
    bool empty() const { return *this == RowPayload{}; }
};

template <typename Map>
auto valueAt(const Map& map, int row) -> std::optional<typename Map::mapped_type> {
    auto found = map.find(row);
    if (found == map.end())
        return std::nullopt;
    return found->second;
}

RowPayload payloadAt(const MappingProfileSnapshot& snapshot, int row) {
    RowPayload payload{valueAt(snapshot.trackIndexToPC, row),
                       valueAt(snapshot.trackIndexToName, row),
                       valueAt(snapshot.trackIndexToChannel, row),
                       valueAt(snapshot.trackIndexToEventType, row),
                       valueAt(snapshot.trackIndexToNote, row),
                       valueAt(snapshot.oscTrackIdentityByIndex, row),
                       valueAt(snapshot.oscBankFocusMappingsByTrackIndex, row)};
    if (payload.bank)
        payload.bank->trackIndex = 0;
    return payload;
}

std::set<int> rowsOf(const MappingProfileSnapshot& snapshot) {
    std::set<int> rows = snapshot.rowsWithMIDIMappings();
    for (const auto& [row, value] : snapshot.oscTrackIdentityByIndex)
        rows.insert(row);
    for (const auto& [row, value] : snapshot.oscBankFocusMappingsByTrackIndex)
        rows.insert(row);
    return rows;
}

template <typename Map>
Map moved(const Map& map, const std::map<int, int>& remap, const std::set<int>& deleted) {
    Map result;
    for (const auto& [row, value] : map) {
        if (deleted.count(row) != 0)
            continue;
        auto to = remap.find(row);
        result.insert_or_assign(to == remap.end() ? row : to->second, value);
    }
    return result;
}

}  // namespace

MappingProfileSnapshot StructuralMappingTransaction::propose(
    const MappingProfileSnapshot& before) const {
    const std::set<int> gone(deleted.begin(), deleted.end());
    MappingProfileSnapshot after = before;
    after.trackIndexToPC = moved(before.trackIndexToPC, remap, gone);
    after.trackIndexToName = moved(before.trackIndexToName, remap, gone);
    after.trackIndexToChannel = moved(before.trackIndexToChannel, remap, gone);
    after.trackIndexToEventType = moved(before.trackIndexToEventType, remap, gone);
    after.trackIndexToNote = moved(before.trackIndexToNote, remap, gone);
    after.oscTrackIdentityByIndex = moved(before.oscTrackIdentityByIndex, remap, gone);
    after.oscBankFocusMappingsByTrackIndex =
        moved(before.oscBankFocusMappingsByTrackIndex, remap, gone);
    for (auto& [row, mapping] : after.oscBankFocusMappingsByTrackIndex)
        mapping.trackIndex = row;
    for (int row : inserted) {
        // A new Logic track owns nothing yet; its identity tells it apart from the rows that
        // shifted past it.
        if (after.oscTrackIdentityByIndex.count(row) != 0)
            continue;
        after.oscInsertedTrackSerial += 1;
        after.oscTrackIdentityByIndex[row] =
            "inserted-" + std::to_string(after.oscInsertedTrackSerial);
    }
    return after;
}

bool StructuralMappingTransaction::reproducedBy(const MappingProfileSnapshot& before,
                                                const MappingProfileSnapshot& after) const {
    if (after.version != before.version)
        return false;
    const std::set<int> gone(deleted.begin(), deleted.end());
    std::set<int> expectedRows;
    for (int row : rowsOf(before)) {
        if (gone.count(row) != 0)
            continue;
        auto to = remap.find(row);
        const int destination = to == remap.end() ? row : to->second;
        if (!expectedRows.insert(destination).second)
            return false;  // two rows on one
        if (payloadAt(after, destination) != payloadAt(before, row))
            return false;
        if (const auto bank = valueAt(after.oscBankFocusMappingsByTrackIndex, destination);
            bank && bank->trackIndex != destination)
            return false;
    }
    int serial = before.oscInsertedTrackSerial;
    for (int row : inserted) {
        if (expectedRows.count(row) != 0)
            continue;
        expectedRows.insert(row);
        RowPayload fresh;
        fresh.identity = "inserted-" + std::to_string(++serial);
        if (payloadAt(after, row) != fresh)
            return false;
    }
    if (after.oscInsertedTrackSerial != serial)
        return false;
    return rowsOf(after) == expectedRows;
}

}  // namespace tessiva
