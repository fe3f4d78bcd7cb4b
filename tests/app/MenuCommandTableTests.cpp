#include <gtest/gtest.h>

#include <functional>

#include "app/MenuCommandTable.h"

namespace tessiva {
namespace {

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
        {"Save Mappings As...", MenuCommand::saveMappingsAs},
        {"  Add Tracks>On ", MenuCommand::selectLearnModeOn},
        {"Load Mappings > Choose File...", MenuCommand::chooseMappingsFile},
        {"Load Mappings > Cue 12.json", MenuCommand::loadRecentMappings, "Cue 12.json"},
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
        ASSERT_EQ(match.has_value(), c.command.has_value()) << c.title;
        if (!match)
            continue;
        EXPECT_EQ(match->command, *c.command) << c.title;
        EXPECT_EQ(match->recentProfileName, c.recentProfile) << c.title;
    }
}

}  // namespace
}  // namespace tessiva
