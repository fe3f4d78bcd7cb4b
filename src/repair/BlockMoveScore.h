#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "repair/RepairInputs.h"

namespace tessiva::repair {

// Units of the baseline: each anchor and the rows after it up to the next anchor (the last unit
// is the last anchor alone). Rows before the first anchor belong to no unit and never move.
std::vector<Unit> baselineUnits(const RepairInputs& inputs);

// Two adjacent runs of units, [first, split) and [split, end), trading places.
struct BlockMove {
    int first = 0;
    int split = 0;
    int end = 0;
};

// Every row of the two runs, old row -> new row (rows that keep their place included).
std::map<int, int> denseRemapOf(const std::vector<Unit>& units, const BlockMove& move);

// Which rows a block move is said to have moved: the shorter run (the first on a tie), with its
// old first and last row and its new first row.
struct MovedBlock {
    int oldFirst = 0;
    int oldLast = 0;
    int newFirst = 0;
    int newLast = 0;
};
MovedBlock movedBlockOf(const std::vector<Unit>& units, const BlockMove& move);

// Scores a block-move explanation given as a dense row remap; absent when a projected anchor (or
// a projected ownership row) contradicts the current capture. Weights and caps are fixed; the
// counts are defined so an exact move always reaches 100 (78 + 8a + 10b + 16d >= 112 for the
// smallest one):
// - a "matches": projected baseline anchors confirmed at their projected rows (x8, cap 90);
// - b: anchors of the moved block confirmed at their new rows (x10, cap 50);
// - c: mapped rows whose recorded name stands at their new row (x4, cap 40);
// - d "visibleChanged": confirmed anchors whose row changed (x16, cap 96);
// - e: the anchors just before and just after the moved block's new place, confirmed (x24,
//   cap 48): the block's new neighbours are where the move says;
// - f "partial": projected anchors that land on hidden rows plus current anchors that the move
//   leaves unexplained (minus x30, cap 120);
// - g: in the collapsed-ownership case (the ownership view has fewer rows than the visible
//   baseline), ownership rows the move sends to hidden rows (minus x1, cap 40); +30 there when
//   every ownership row of the moved block is confirmed (`exactOwnershipBlock`);
// - h: the selection hint shows the name the move projects at its row, and it lies inside the
//   moved block's new rows (one each, x16, cap 32);
// - confirmations: +35 when the session-end anchor stands at its projected row, else +12 when the
//   highest shown row still equals the trusted maximum.
// `toleratedFirst`..`toleratedLast` (mapped-range moves only): rows whose unmapped anchors may
// disagree; they count as partial instead of ruling the move out.
std::optional<Candidate> scoredBlockMove(const RepairInputs& inputs, std::map<int, int> denseRemap,
                                         const MovedBlock& moved, std::string summary,
                                         const std::string& detailPrefix, int toleratedFirst = 0,
                                         int toleratedLast = -1);

// Keeps the first of candidates that move every mapping the same way: they are one repair.
std::vector<Candidate> withoutDuplicateRemaps(std::vector<Candidate> candidates);

}  // namespace tessiva::repair
