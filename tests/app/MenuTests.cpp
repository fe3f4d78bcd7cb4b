#include <gtest/gtest.h>

#include <functional>

#include "app/MenuCommandTable.h"
#include "app/MenuModel.h"

namespace tessiva {
namespace {

// The items' titles joined by " | ", a separator as "---".
std::string titles(const std::vector<MenuItem>& items) {
    std::string out;
    for (const auto& item : items)
        out += (out.empty() ? "" : " | ") + (item.isSeparator ? "---" : item.title);
    return out;
}

TEST(MenuModel, ItemsInOrderWithExactTitlesAndStateChanges) {
    const auto menu = MenuModel::build(MenuState{});
    EXPECT_EQ(
        titles(menu),
        "Setup Guide… | Tessiva: iPad disconnected | Add All Logic Tracks and Attempt Auto Assign "
        "| Show Events / Debug Log | Start AX Capture (1s) | --- | Logic: Not detected • Project: "
        "No Logic project detected | Mappings: No file loaded | --- | Add Tracks | Show Mappings… "
        "| Show Events… | About Tessiva Focus… | Check for Updates… | --- | Refresh MIDI "
        "Destinations | Reveal Mappings File | Clear All Mappings… | Save Mappings | Save Mappings "
        "As… | Load Mappings | iPad Transfers | --- | Advanced | --- | Quit Tessiva Focus");
    const MenuItem* learn = &menu[9];
    EXPECT_EQ(titles(learn->submenu),
              "Off | On | --- | Off: Logic track selection triggers existing mappings only. | On: "
              "Click a Logic track to add or update a row for manual bank assignment.");
    EXPECT_TRUE(learn->submenu[0].checked);
    EXPECT_FALSE(learn->submenu[1].checked);
    EXPECT_FALSE(learn->submenu[3].enabled);  // explanations are not commands
    EXPECT_EQ(titles(menu[23].submenu), "Show Legacy MIDI Mode");
    EXPECT_EQ(titles(menu[21].submenu),
              "Import Articulation Sets… | Add Logic Tracks and Auto Assign After Import | "
              "Articulation sets: not imported yet | --- | Export Navigation Assignments… | "
              "Navigation export: none yet");
    // Both transfers need a connected iPad.
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::importArticulationSets)->enabled);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::exportNavigation)->enabled);
    EXPECT_EQ(titles(menu[20].submenu), "Choose File…");
    // Status lines are never clickable (nor commands: every command has a title, below);
    // Logic-only commands wait for Logic.
    EXPECT_FALSE(menu[1].enabled);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::startAXCapture)->enabled);
    EXPECT_FALSE(MenuModel::find(menu, MenuCommand::revealMappingsFile)->enabled);

    // State reaches the status lines, the checks and the recent files.
    MenuState state;
    state.isIpadHandshakeConnected = true;
    state.isLogicRunning = true;
    state.projectTitle = "Symphony.logicx - Tracks";
    state.mappingsFileName = "Symphony.json";
    state.learnMode = LearnMode::learn;
    state.recentMappingsProfilePaths = {"/p/Symphony.json", "/p/Cue.json"};
    const auto changed = MenuModel::build(state);
    EXPECT_EQ(changed[7].title, "Mappings: Symphony.json");
    EXPECT_FALSE(MenuModel::find(changed, MenuCommand::selectLearnModeOff)->checked);
    EXPECT_TRUE(MenuModel::find(changed, MenuCommand::startAXCapture)->enabled);
    // Each recent file loads its own path: the coordinator's menu runner picks one by title.
    EXPECT_EQ(titles(changed[20].submenu), "Symphony.json | Cue.json | --- | Choose File…");

    state.projectTitle.reset();
    state.isAccessibilityTrusted = false;
    EXPECT_EQ(MenuModel::ipadStatusLine(state), "Tessiva: iPad connected");
    EXPECT_EQ(MenuModel::logicStatusLine(state),
              "Logic: Accessibility permission needed • Project: No Logic project detected");
}

// Every item of the real menu that performs something is reachable by its own title, alone and
// with its submenu's title, and reaches the command the menu gives it.
TEST(MenuCommandTable, EveryMenuItemIsReachableByItsTitle) {
    MenuState state;
    state.isLogicRunning = true;
    state.mappingsFileName = "Song.json";
    std::size_t reached = 0;
    std::function<void(const std::vector<MenuItem>&, const std::string&)> visit =
        [&](const std::vector<MenuItem>& items, const std::string& parent) {
            for (const auto& item : items) {
                const std::string path = parent.empty() ? item.title : parent + " > " + item.title;
                if (item.command) {
                    for (const std::string& title : {path, item.title}) {
                        const auto match = menuCommandForTitle(title);
                        ASSERT_TRUE(match) << title;
                        EXPECT_EQ(match->command, *item.command) << title;
                    }
                    ++reached;
                }
                visit(item.submenu, path);
            }
        };
    visit(MenuModel::build(state), "");
    EXPECT_EQ(reached, kMenuCommandTitles.size());
}

TEST(MenuCommandTable, ResolvesTitlesAsTyped) {
    struct Case {
        const char* title;
        std::optional<MenuCommand> command;
        const char* recentProfile = "";
    };
    const Case cases[] = {
        {"  Add Tracks>On ", MenuCommand::selectLearnModeOn},
        {"Load Mappings > ", std::nullopt},
        {"Create Film Cue.json from Current Mappings", MenuCommand::createProjectProfile,
         "Film Cue.json"},
        {"Create from Current Mappings", std::nullopt},
        {"Save Mappings As", std::nullopt},
        {"save mappings", std::nullopt},
        {"Add Tracks", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) {
        const auto match = menuCommandForTitle(c.title);
        EXPECT_EQ(match ? std::optional(match->command) : std::nullopt, c.command) << c.title;
        EXPECT_EQ(match ? match->recentProfileName : "", c.recentProfile) << c.title;
    }
}

}  // namespace
}  // namespace tessiva
