#pragma once

namespace tessiva {

// Whether a Logic track selection only triggers existing mappings (`off`) or also captures the
// selected row into the mappings (`learn`, the menu's "Add Tracks" → "On").
enum class LearnMode { off, learn };

}  // namespace tessiva
