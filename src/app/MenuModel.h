#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/LearnMode.h"

namespace tessiva {

// What a menu item does when chosen. The shell (Qt, AppKit) only renders items and sends the
// command back to the coordinator.
enum class MenuCommand {
    showSetupGuide,
    addAllLogicTracksAndAutoAssign,
    showEventsDebugLog,
    startAXCapture,
    selectLearnModeOff,
    selectLearnModeOn,
    showMappings,
    showEvents,
    showAbout,
    checkForUpdates,
    refreshMIDIDestinations,
    revealMappingsFile,
    clearAllMappings,
    saveMappings,
    saveMappingsAs,
    loadRecentMappings,
    chooseMappingsFile,
    importArticulationSets,
    toggleAutoAssignAfterImport,
    exportNavigation,
    toggleLegacyMIDIControls,
    createProjectProfile,
    quit,
};
inline constexpr std::size_t kMenuCommandCount = 23;
static_assert(static_cast<std::size_t>(MenuCommand::quit) + 1 == kMenuCommandCount,
              "one name per MenuCommand");

inline constexpr std::string_view kIPadTransfersSubmenuTitle = "iPad Transfers";

// One row of the menu. Status lines and explanations have no command; separators have no title.
struct MenuItem {
    std::string title;
    std::optional<MenuCommand> command;
    bool enabled = true;
    bool checked = false;
    bool isSeparator = false;
    // Diagnostic items, shown only while the debug modifier key is held with the menu open.
    bool isDebugItem = false;
    // For loadRecentMappings: the profile path the item loads.
    std::string path;
    std::vector<MenuItem> submenu;

    static MenuItem separator() {
        MenuItem item;
        item.isSeparator = true;
        item.enabled = false;
        return item;
    }
    bool operator==(const MenuItem&) const = default;
};

// Everything the menu shows, gathered by the coordinator from the link, Logic and the profile.
struct MenuState {
    bool isIpadHandshakeConnected = false;
    std::optional<std::string> connectedIpadDeviceName;
    bool isLogicRunning = false;
    std::optional<std::string> projectTitle;
    std::optional<std::string> mappingsFileName;
    LearnMode learnMode = LearnMode::off;
    std::vector<std::string> recentMappingsProfilePaths;
    bool showLegacyMIDIControls = false;
    bool isAccessibilityTrusted = true;
    // The transfers with the iPad (their status lines are written by IPadTransfers).
    bool isArticulationSetImportRunning = false;
    bool autoAssignAfterArticulationSetImport = false;
    std::string articulationSetsStatus = "Articulation sets: not imported yet";
    std::string navigationExportStatus = "Navigation export: none yet";
    // "<project>.json" while the open project has no profile of its own and the loaded one is
    // another's: the first-run path offers to create it from the current mappings.
    std::optional<std::string> missingProjectProfileName;
};

// The status-item menu as data: items in their fixed order with exact titles, enabled and
// checked state. Pure; rebuilt whenever MenuState changes.
struct MenuModel {
    static std::vector<MenuItem> build(const MenuState& state);

    static std::string ipadStatusLine(const MenuState& state);
    static std::string logicStatusLine(const MenuState& state);
    static std::string mappingsStatusLine(const MenuState& state);
    // "Create Song.json from Current Mappings".
    static std::string createProjectProfileTitle(const std::string& fileName);

    // Finds the first item (depth first) with this command, or nullptr.
    static const MenuItem* find(const std::vector<MenuItem>& items, MenuCommand command);
};

}  // namespace tessiva
