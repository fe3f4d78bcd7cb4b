#pragma once

#include <vector>

#include "repair/RepairInputs.h"

namespace tessiva::repair {

// Insertion and deletion explanations of a changed row count: every pivot (or start row) where
// the baseline, shifted by k rows, meets the current capture without a contradiction, scored.
// Pure; main queue.
//
// Definitions the scores rest on (weights and caps are fixed; the counts are ours):
// - Further confirmation count (weight 4): how many of four independent checks pass:
//   1. no projected baseline anchor lands on a hidden row (the projection is fully seen);
//   2. every current anchor is explained: a projected baseline anchor, or (insertion) a row of
//      the inserted block;
//   3. the mapping store agrees: at least one mapped row lands on a shown row, and every mapped
//      row that does shows the name its mapping recorded;
//   4. the collapsed ownership baseline, projected the same way, confirms at least one row.
//   An exact explanation passes at least three of them (4 needs a known ownership view, 3 a
//   mapped row that stays visible), which is what lifts the weakest exact case, appending one
//   track to a one-track list (70 + 4 + 15 = 89), past 100; a partial one loses checks 1 and 2.
// - n (deletion, weight 12, cap 24): deleted rows that the collapsed ownership baseline shows as
//   rows of their own. A row shown even in the most collapsed view seen is not a stack member
//   that a collapse could hide, so its disappearance is a deletion. `exactOwnershipBlock` is
//   true when every deleted row is such a row.
//
// Holds beyond the scores (a hold only delays output; a wrong remap sends the wrong bank):
// - A deletion of the last rows that would remove or move a mapping never wins: the same capture
//   results from collapsing a Track Stack whose header is the last shown row. It stays in the
//   list, so a rival that disagrees with it is held as ambiguous.
// - An insertion after the trusted maximum never wins while mappings sit beyond that maximum:
//   those rows hide behind the last shown header, and the "new" rows may be that stack opening.
// - The end-of-list exemption from the hidden-row rule holds only while the row before the block
//   (the trusted maximum for an append, the highest shown row for a cut) is still seen with its
//   baseline name; otherwise a stack closed over the edit and the end explanation is dropped.
// - A candidate that leaves a shown anchor unexplained (neither a projected baseline anchor nor,
//   for an insertion, a row of the inserted block) is not a candidate: the capture shows more
//   than this edit, typically a stack opened or a second edit, and hidden baseline rows projected
//   onto those shown rows raise no contradiction.
// - When another exact explanation (checks 1 and 2 above both pass) would move some mapping
//   differently from the winner, the engine holds whatever the scores say: the two differ only
//   in which of identically named tracks a mapping follows, which no capture can settle, and the
//   score lead between them only weighs shifted rows against stable ones.
std::vector<Candidate> insertionCandidates(const RepairInputs& inputs, int k);
std::vector<Candidate> deletionCandidates(const RepairInputs& inputs, int k);

// Whether two candidates of one family (the engine counts such candidates as one repair)
// (insertions, or deletions when `deletion`) of k rows move every mapping the same way: no mapped
// row lies between their start rows (for deletions, up to the later block's end).
bool offsetsMoveMappingsAlike(const RepairInputs& inputs, const Candidate& a, const Candidate& b,
                              int k, bool deletion);

// The complete repair of a winning offset candidate.
Engine::AppliedRepair completedInsertion(const RepairInputs& inputs, const Candidate& winner,
                                         int k);
Engine::AppliedRepair completedDeletion(const RepairInputs& inputs, const Candidate& winner, int k);

}  // namespace tessiva::repair
