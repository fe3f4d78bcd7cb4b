#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mapping/MIDIMapping.h"
#include "mapping/RowMap.h"

namespace tessiva {

// Which rows of a Logic track-list snapshot become new mapping rows: every named row that has
// none yet. Pure; any thread.
struct AddAllLogicTracksPlan {
    std::vector<std::pair<int, std::string>> rowsToAdd;  // row order
    int snapshotTracks = 0;
    int skippedExisting = 0;
    int skippedUnnamed = 0;
};

AddAllLogicTracksPlan planAddAllLogicTracks(const RowMap& snapshot,
                                            const std::set<int>& mappedRows);

// A new row is made as a click in Add Tracks mode makes it: Program Change row-1 (clamped to
// 0...127) on channel 1, under the track's name.
MIDIMapping newLogicTrackRow(int row, const std::string& name);

}  // namespace tessiva
