#include <gtest/gtest.h>

#include "app/MenuModel.h"

namespace tessiva {
namespace {

std::vector<std::string> titles(const std::vector<MenuItem>& items) {
    std::vector<std::string> out;
    for (const auto& item : items)
        out.push_back(item.isSeparator ? "---" : item.title);
    return out;
}

TEST(MenuModel, ItemsInOrderWithExactTitles) {
    const auto menu = MenuModel::build(MenuState{});
    EXPECT_EQ(titles(menu),
              (std::vector<std::string>{"Setup Guide…",
                                        "Tessiva: iPad disconnected",
                                        "Add All Logic Tracks and Attempt Auto Assign",
                                        "Show Events / Debug Log",
                                        "Start AX Capture (1s)",
                                        "---",
                                        "Logic: Not detected • Project: No Logic project detected",
                                        "Mappings: No file loaded",
                                        "---",
                                        "Add Tracks",
                                        "Show Mappings…",
                                        "Show Events…",
                                        "About Tessiva Focus…",
                                        "Check for Updates…",
                                        "---",
                                        "Refresh MIDI Destinations",
                                        "Reveal Mappings File",
                                        "Clear All Mappings…",
                                        "Save Mappings",
                                        "Save Mappings As…",
                                        "Load Mappings",
                                        "iPad Transfers",
                                        "---",
                                        "Advanced",
                                        "---",
                                        "Quit Tessiva Focus"}));
    const MenuItem* learn = &menu[9];
    EXPECT_EQ(titles(learn->submenu),
              (std::vector<std::string>{
                  "Off", "On", "---", "Off: Logic track selection triggers existing mappings only.",
                  "On: Click a Logic track to add or update a row for manual bank assignment."}));
    EXPECT_TRUE(learn->submenu[0].checked);
    EXPECT_FALSE(learn->submenu[1].checked);
    EXPECT_FALSE(learn->submenu[3].enabled);  // explanations are not commands
    EXPECT_EQ(titles(menu[23].submenu), (std::vector<std::string>{"Show Legacy MIDI Mode"}));
    EXPECT_EQ(titles(menu[21].submenu),
              (std::vector<std::string>{
                  "Import Articulation Sets…", "Add Logic Tracks and Auto Assign After Import",
                  "Articulation sets: not imported yet", "---", "Export Navigation Assignments…",
                  "Navigation export: none yet"}));
    // Both transfers need a connected iPad.
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::importArticulationSets)->enabled);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::exportNavigation)->enabled);
    EXPECT_EQ(titles(menu[20].submenu), (std::vector<std::string>{"Choose File…"}));
    // Status lines are never clickable; Logic-only commands wait for Logic.
    EXPECT_FALSE(menu[1].enabled);
    EXPECT_FALSE(menu[1].command.has_value());
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::startAXCapture)->enabled);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::revealMappingsFile)->enabled);
}

TEST(MenuModel, StateChangesReachStatusLinesChecksAndRecentFiles) {
    MenuState state;
    state.isIpadHandshakeConnected = true;
    state.connectedIpadDeviceName = "Studio iPad";
    state.isLogicRunning = true;
    state.projectTitle = "Symphony.logicx - Tracks";
    state.mappingsFileName = "Symphony.json";
    state.learnMode = LearnMode::learn;
    state.showLegacyMIDIControls = true;
    state.recentMappingsProfilePaths = {"/p/Symphony.json", "/p/Cue.json"};
    const auto menu = MenuModel::build(state);
    EXPECT_EQ(menu[1].title, "Tessiva: iPad connected (Studio iPad)");
    EXPECT_EQ(menu[6].title, "Logic: Running • Project: Symphony");
    EXPECT_EQ(menu[7].title, "Mappings: Symphony.json");
    EXPECT_TRUE(MenuModel::find(menu, MenuCommand::selectLearnModeOn)->checked);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::selectLearnModeOff)->checked);
    EXPECT_TRUE(MenuModel::find(menu, MenuCommand::toggleLegacyMIDIControls)->checked);
    EXPECT_TRUE(MenuModel::find(menu, MenuCommand::startAXCapture)->enabled);
    const auto& load = menu[20].submenu;
    EXPECT_EQ(titles(load),
              (std::vector<std::string>{"Symphony.json", "Cue.json", "---", "Choose File…"}));
    EXPECT_EQ(load[1].path, "/p/Cue.json");
    EXPECT_EQ(load[1].command, MenuCommand::loadRecentMappings);

    state.connectedIpadDeviceName.reset();
    state.projectTitle.reset();
    state.isAccessibilityTrusted = false;
    EXPECT_EQ(MenuModel::ipadStatusLine(state), "Tessiva: iPad connected");
    EXPECT_EQ(MenuModel::logicStatusLine(state),
              "Logic: Accessibility permission needed • Project: No Logic project detected");
}

}  // namespace
}  // namespace tessiva
