#pragma once

#include <optional>
#include <vector>

#include "repair/RepairInputs.h"

namespace tessiva::repair {

// Explanations of a reordered track list (row count unchanged). Pure; main queue.
//
// How boundaries are chosen: the differing window is the run of units between the longest
// common prefix and the longest common suffix of baseline and capture (same rows, same names).
// Repeated names can make a wider window explain the change too, so the detectors also try
// boundaries up to `kBoundarySlack` units outside the window on either side. Explanations that
// move every mapping the same way count once. The exact rotation reports every remaining
// explanation (the engine holds when there is more than one); the swap and the mapped-range
// rotation return nothing unless exactly one remains.

inline constexpr int kBoundarySlack = 3;
// The general (scored) block move is searched only when the differing window spans at most this
// many units; a wider reorder is left to the sequence reconciler.
inline constexpr int kGeneralWindowLimit = 256;

// A contiguous run of units moved as a whole, every other anchor unchanged, every moved anchor
// at exactly its new row.
std::vector<Candidate> exactRotationCandidates(const RepairInputs& inputs);

// Exactly two rows, both mapped, whose baseline names and recorded mapping names crossed over;
// neither carries hidden rows with it.
std::optional<Candidate> crossedOverSwap(const RepairInputs& inputs);

// The names at the mapped rows are the recorded names with one contiguous run of mapped rows
// rotated; no hidden row inside the run and every anchor outside it unchanged.
std::optional<Candidate> mappedRangeRotation(const RepairInputs& inputs);

// Block moves whose projection meets no contradiction, though some rows may be hidden or
// unexplained; scored, for the 100 / 15 test.
std::vector<Candidate> generalBlockMoveCandidates(const RepairInputs& inputs);

}  // namespace tessiva::repair
