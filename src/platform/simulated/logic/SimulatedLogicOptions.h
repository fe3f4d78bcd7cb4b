#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace tessiva {

// How the user clicks a track header.
enum class SimulatedClick { plain, command, right, count };
inline constexpr std::array<std::string_view, static_cast<std::size_t>(SimulatedClick::count)>
    kSimulatedClickNames = {"plain", "command", "right"};
static_assert(kSimulatedClickNames.size() == static_cast<std::size_t>(SimulatedClick::count));

struct SimulatedLogicOptions {
    std::string projectName = "Song";
    // The selected rows read back as the previous selection until this long after a change,
    // as Logic's tree lags its screen.
    double selectionSettleDelay = 0.0;
    // Extra elements in the main window (inspector, library) before the Arrange area.
    int fillerElementCount = 0;
    // Groups between the window and the track list; the list sits at depth nesting + 1.
    int arrangeNestingDepth = 4;
    // A table described "Tracks header" without track rows, shallower than the real list.
    bool decoyTracksHeaderTable = false;
    // Logic posts nothing for arrow keys unless this is set.
    bool postSelectionNotificationsOnArrowKeys = false;
    // A click also moves the keyboard focus to the clicked row.
    bool postFocusedElementOnClick = false;
    bool rowSelectedSettable = true;
    bool containerSelectedChildrenSettable = true;
    bool rowPressable = true;
};

}  // namespace tessiva
