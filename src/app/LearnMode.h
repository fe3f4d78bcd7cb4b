#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tessiva {

// Whether a Logic track selection only triggers existing mappings (`off`) or also captures the
// selected row into the mappings (`learn`, the menu's "Add Tracks" → "On").
enum class LearnMode { off, learn };

inline constexpr std::array<std::string_view, 2> kLearnModeNames = {"off", "learn"};
static_assert(kLearnModeNames.size() == static_cast<std::size_t>(LearnMode::learn) + 1,
              "one name per LearnMode");

inline std::string_view learnModeName(LearnMode mode) {
    return kLearnModeNames[static_cast<std::size_t>(mode)];
}

inline std::optional<LearnMode> learnModeFromName(std::string_view name) {
    for (std::size_t i = 0; i < kLearnModeNames.size(); ++i) {
        if (kLearnModeNames[i] == name)
            return static_cast<LearnMode>(i);
    }
    return std::nullopt;
}

}  // namespace tessiva
