#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// How the user clicks a track header.
enum class SimulatedClick { plain, command, right, count };
inline constexpr std::array<std::string_view, static_cast<std::size_t>(SimulatedClick::count)>
    kSimulatedClickNames = {"plain", "command", "right"};
static_assert(kSimulatedClickNames.size() == static_cast<std::size_t>(SimulatedClick::count));

// Which Logic the simulation looks like: Logic Pro 12 as recorded live (a rail of layout items),
// or the table/outline of AXRow headers older versions are described with.
enum class SimulatedLogicVersion { logic12, logic10, count };
inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(SimulatedLogicVersion::count)>
    kSimulatedLogicVersionNames = {"12", "10"};
static_assert(kSimulatedLogicVersionNames.size() ==
              static_cast<std::size_t>(SimulatedLogicVersion::count));

// The language Logic runs in: it decides the header text, the rail's name and the window suffix.
enum class SimulatedLogicLocale { en, de, ja, ko, count };
inline constexpr std::array<std::string_view, static_cast<std::size_t>(SimulatedLogicLocale::count)>
    kSimulatedLogicLocaleNames = {"en", "de", "ja", "ko"};
static_assert(kSimulatedLogicLocaleNames.size() ==
              static_cast<std::size_t>(SimulatedLogicLocale::count));

// What Logic posts when the selection or the track list changes. Nobody has recorded which
// notification a click on the Logic 12 rail posts, so `none` (nothing) is the default; `table`
// posts the table/outline notifications (selected rows and children, row count, layout).
enum class SimulatedLogicNotifications { none, table, count };
inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(SimulatedLogicNotifications::count)>
    kSimulatedLogicNotificationsNames = {"none", "table"};
static_assert(kSimulatedLogicNotificationsNames.size() ==
              static_cast<std::size_t>(SimulatedLogicNotifications::count));

// How Logic answers reads while it works: at once, after `busyReadDelay`, or not at all
// (cannot-complete).
enum class SimulatedLogicBusy { responsive, slow, failing, count };
inline constexpr std::array<std::string_view, static_cast<std::size_t>(SimulatedLogicBusy::count)>
    kSimulatedLogicBusyNames = {"responsive", "slow", "failing"};
static_assert(kSimulatedLogicBusyNames.size() ==
              static_cast<std::size_t>(SimulatedLogicBusy::count));

// A modal Logic opens: a sheet on the main window (New Track, delete confirmation) or a dialog
// window of its own.
enum class SimulatedModalKind { sheet, dialog, count };
inline constexpr std::array<std::string_view, static_cast<std::size_t>(SimulatedModalKind::count)>
    kSimulatedModalKindNames = {"sheet", "dialog"};
static_assert(kSimulatedModalKindNames.size() ==
              static_cast<std::size_t>(SimulatedModalKind::count));

template <typename Enum, std::size_t N>
std::optional<Enum> simulatedEnumFromName(const std::array<std::string_view, N>& names,
                                          std::string_view name) {
    for (std::size_t i = 0; i < N; ++i) {
        if (names[i] == name)
            return static_cast<Enum>(i);
    }
    return std::nullopt;
}

struct SimulatedLogicOptions {
    SimulatedLogicVersion version = SimulatedLogicVersion::logic12;
    SimulatedLogicLocale locale = SimulatedLogicLocale::en;
    SimulatedLogicNotifications notifications = SimulatedLogicNotifications::none;
    std::string projectName = "Song";
    // Where the project file lives (the arrange window's AXDocument).
    std::string projectFolder = "/Users/musician/Music/Logic";
    // A changed selection reads back as the one before until this long after the change, as
    // Logic publishes it about 300-350 ms after a click; each change draws a lag within
    // ± `selectionSettleJitter` of it (seeded by `randomSeed`).
    double selectionSettleDelay = 0.35;
    double selectionSettleJitter = 0.0;
    std::uint32_t randomSeed = 1;
    // An element fetched before Logic republished a selection reads the value from this long
    // ago (never older than when it was fetched). Unset: 1.1 s on Logic 12, none on 10.
    std::optional<double> heldElementStaleness;
    // Logic 12 titles read "Song - Tracks" most of the time; set for "Song.logicx - Tracks".
    // The table/outline profile always shows the extension.
    bool titleWithExtension = false;
    // The first AXWindows read after each launch fails with cannot-complete.
    bool failFirstWindowsRead = true;
    // How long a read takes while Logic is busy and slow (see setBusy).
    double busyReadDelay = 2.0;
    // The share (0 to 1) of AXChildren reads that fail with AXError::failure (seeded).
    double childrenReadFailureShare = 0.0;
    // Logic 12: an open plug-in window is what AXMainWindow returns (unmeasured; the worse case).
    bool pluginWindowIsMain = true;
    // Logic 12: sources disagree on whether rows scrolled out of view are exposed. 0 exposes
    // every row; otherwise the rail (and "Tracks contents") list only this many rows from the
    // scroll position, and a click can reach only those.
    int exposedRailRows = 0;
    // Extra elements in the main window (inspector, library) before the Arrange area.
    int fillerElementCount = 0;
    // Table/outline profile: groups between the window and the track list; the list sits at
    // depth nesting + 1.
    int arrangeNestingDepth = 4;
    // Table/outline profile: a table described "Tracks header" without track rows, shallower
    // than the real list.
    bool decoyTracksHeaderTable = false;
    // Logic posts nothing for arrow keys unless this is set (and notifications are `table`).
    bool postSelectionNotificationsOnArrowKeys = false;
    // A click also moves the keyboard focus to the clicked row.
    bool postFocusedElementOnClick = false;
    // Whether a header reports AXSelected settable. Unset: not on Logic 12, whose headers were
    // recorded with a readable AXSelected only (it is the rail's AXSelectedChildren that moves
    // the selection there); yes on the table/outline profile.
    std::optional<bool> rowSelectedSettable;
    // Setting a header's AXSelected selects the track; false models a Logic that accepts the set
    // and selects nothing, as Logic 12 does with AXPress.
    bool rowSelectedSetSelects = true;
    bool containerSelectedChildrenSettable = true;
    // Table/outline profile: a row offers AXPress and pressing it selects the track.
    bool rowPressable = true;

    // The table/outline Logic with table notifications and a selection readable at once: the
    // Logic the observation was first built against.
    static SimulatedLogicOptions tableOutlineProfile() {
        SimulatedLogicOptions options;
        options.version = SimulatedLogicVersion::logic10;
        options.notifications = SimulatedLogicNotifications::table;
        options.selectionSettleDelay = 0.0;
        return options;
    }
};

}  // namespace tessiva
