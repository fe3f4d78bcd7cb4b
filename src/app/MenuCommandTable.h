#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "app/MenuModel.h"

namespace tessiva {

// A menu item chosen without the menu: from a scenario step or a console line. `item` is the
// item's exact title; an item of a submenu may also be named with its parent ("Add Tracks > On").
struct MenuRequest {
    std::string item;
    // The button that answers the item's prompt ("Clear All Mappings…": "Clear" or "Cancel").
    std::optional<std::string> answer;
    // The file or folder a panel would return ("Save Mappings As…", "Choose File…", the
    // folders of "Import Articulation Sets…" and "Export Navigation Assignments…").
    std::optional<std::string> path;
};

// What a headless request may or must carry beside the title.
enum class MenuCommandInput { none, answer, optionalPath, requiredPath };

// One fixed menu item: its full title (submenu items with their parent, "Add Tracks > On") and
// the command the coordinator performs for it. Recent profiles under "Load Mappings" are named
// by file and resolved against the live menu.
struct MenuCommandTitle {
    std::string_view path;
    MenuCommand command;
    MenuCommandInput input = MenuCommandInput::none;
};

inline constexpr std::string_view kLoadMappingsSubmenuTitle = "Load Mappings";
inline constexpr std::string_view kMenuPathSeparator = " > ";

// Every item of the menu that performs something, in menu order.
inline constexpr std::array<MenuCommandTitle, 21> kMenuCommandTitles = {{
    {"Setup Guide…", MenuCommand::showSetupGuide},
    {"Add All Logic Tracks and Attempt Auto Assign", MenuCommand::addAllLogicTracksAndAutoAssign},
    {"Show Events / Debug Log", MenuCommand::showEventsDebugLog},
    {"Start AX Capture (1s)", MenuCommand::startAXCapture},
    {"Add Tracks > Off", MenuCommand::selectLearnModeOff},
    {"Add Tracks > On", MenuCommand::selectLearnModeOn},
    {"Show Mappings…", MenuCommand::showMappings},
    {"Show Events…", MenuCommand::showEvents},
    {"About Tessiva Focus…", MenuCommand::showAbout},
    {"Check for Updates…", MenuCommand::checkForUpdates},
    {"Refresh MIDI Destinations", MenuCommand::refreshMIDIDestinations},
    {"Reveal Mappings File", MenuCommand::revealMappingsFile},
    {"Clear All Mappings…", MenuCommand::clearAllMappings, MenuCommandInput::answer},
    {"Save Mappings", MenuCommand::saveMappings},
    {"Save Mappings As…", MenuCommand::saveMappingsAs, MenuCommandInput::optionalPath},
    {"Load Mappings > Choose File…", MenuCommand::chooseMappingsFile,
     MenuCommandInput::requiredPath},
    {"iPad Transfers > Import Articulation Sets…", MenuCommand::importArticulationSets,
     MenuCommandInput::optionalPath},
    {"iPad Transfers > Add Logic Tracks and Auto Assign After Import",
     MenuCommand::toggleAutoAssignAfterImport},
    {"iPad Transfers > Export Navigation Assignments…", MenuCommand::exportNavigation,
     MenuCommandInput::optionalPath},
    {"Advanced > Show Legacy MIDI Mode", MenuCommand::toggleLegacyMIDIControls},
    {"Quit Tessiva Focus", MenuCommand::quit},
}};
// Every command but loadRecentMappings (named by its file) and createProjectProfile (named by the
// project's file) has one title.
static_assert(kMenuCommandTitles.size() + 2 == kMenuCommandCount, "one title per menu command");

// "Create <project>.json from Current Mappings", the first-run item.
inline constexpr std::string_view kCreateProjectProfilePrefix = "Create ";
inline constexpr std::string_view kCreateProjectProfileSuffix = " from Current Mappings";

// "Clear All Mappings…" asks before it clears; these are its buttons.
inline constexpr std::string_view kClearAllMappingsConfirmButton = "Clear";
inline constexpr std::string_view kClearAllMappingsCancelButton = "Cancel";

// A title resolved: the command, its table row (absent for a recent profile and the first-run
// item) and, for those, the file name the live menu lists.
struct MenuTitleMatch {
    MenuCommand command;
    const MenuCommandTitle* entry = nullptr;
    std::string recentProfileName;
};

// Resolves a title as a user types it: the full path or, when only one item has it, the bare
// title of a submenu item ("On", "Choose File…"); "..." stands for "…". "Load Mappings > NAME"
// names a recent profile. Pure.
std::optional<MenuTitleMatch> menuCommandForTitle(std::string_view title);

}  // namespace tessiva
